// TLumTexture and the module-wide cache of GL texture objects: pixel buffer, alpha
// channel, rescaling to powers of two, upload, environment and texture matrix.
#include "lumox/scene/lumtex.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumwgl.h"

namespace lumox {

const char* const TLumTexModeStr[4] = {"tmModulate", "tmDecal", "tmBlend", "tmReplace"};

namespace {

// Texture cache state: textures holding a texture object, least recently rendered first.
std::vector<TLumTexture*> TexList;
int MaxTex = 4;

constexpr GLint TexModeGL[4] = {GL_MODULATE, GL_DECAL, GL_BLEND, GL_REPLACE};

// Round to nearest with halves to even (the FPU's default rounding), clamped to a byte.
uint8_t AlphaByte(double Fraction) {
  double V = std::nearbyint(255.0 * Fraction);
  return static_cast<uint8_t>(std::clamp(V, 0.0, 255.0));
}

bool IsDesigning(const TComponent* C) { return C->ComponentState().Contains(csDesigning); }

// DeleteTexture with a context current, also outside a frame, when none is: the owning
// view's, else the process's share root. Without one GL would keep the texture object.
void DeleteTextureWithContext(TLumTexture* t) {
  TLumCustomView* V = t->TextureName() != 0 ? t->View() : nullptr;
  const bool ViewMade = V && !V->GetCurrent() && (V->SetCurrent(true), V->GetCurrent());
  const bool RootMade = t->TextureName() != 0 && MakeShareRootCurrent();
  DeleteTexture(t);
  if (RootMade) ReleaseShareRoot();
  if (ViewMade) V->SetCurrent(false);
}

}  // namespace

// --- TLumTexture ------------------------------------------------------------------------

TLumTexture::TLumTexture(TComponent* AOwner)
    : TLumRender(AOwner), FBitmap(new TBitmap), FBlendColor(new TLumColor) {
  FBitmap->OnChange = [this](TObject* Sender) { BitmapChange(Sender); };
  FBlendColor->OnChange = [this](TObject* Sender) {
    FParamsChanged = true;
    SubChange(Sender);
  };
}

TLumTexture::~TLumTexture() {
  Destroying();
  DeleteTextureWithContext(this);
  FBitmap->OnChange = nullptr;
  delete FBitmap;
  delete FBlendColor;
}

void TLumTexture::SetBitmap(TBitmap* Value) {
  if (!Value) return;
  FImageFile.clear();
  FBitmap->Assign(Value);
  Invalidate();
}

void TLumTexture::SetAlpha(float Value) {
  if (Value == FAlpha || !(Value >= 0.0f && Value <= 1.0f)) return;
  FAlpha = Value;
  if (GetValid() && !FPixels.empty() && !IsDesigning(this))
    SetAlphaChannel(FPixels.data(), FPixels.size());
  FParamsChanged = true;
  Changed();
}

void TLumTexture::SetMode(TLumTexMode Value) {
  if (Value == FMode || Value > tmReplace) return;
  FMode = Value;
  FParamsChanged = true;
  Changed();
}

void TLumTexture::SetBlendColor(TLumColor* Value) {
  if (!Value) return;
  FBlendColor->Assign(Value);
  FParamsChanged = true;
}

void TLumTexture::SetAlphaChannel(uint8_t* Pixels, size_t Size) {
  const uint8_t A = AlphaByte(FAlpha);
  for (size_t i = 3; i < Size; i += 4) Pixels[i] = A;
  Invalidate();
}

void TLumTexture::SetAlphaBitmap(TBitmap* AlphaBitmap) {
  if (!AlphaBitmap || AlphaBitmap->Empty() || FPixels.empty()) return;
  const int64_t W = FBitmap->Width(), H = FBitmap->Height();
  const int64_t OW = AlphaBitmap->Width(), OH = AlphaBitmap->Height();
  const int64_t N = W * H;
  for (int64_t i = 0; i < N; ++i) {
    const int64_t x = i % W;
    const int64_t y = H - 1 - i / W;  // buffer rows run bottom to top
    const uint32_t C =
        AlphaBitmap->GetPixel(static_cast<int>(x * OW / W), static_cast<int>(y * OH / H));
    FPixels[i * 4 + 3] =
        static_cast<uint8_t>(((C & 0xFF) + ((C >> 8) & 0xFF) + ((C >> 16) & 0xFF)) / 3);
  }
  Invalidate();
}

bool TLumTexture::SetMaskAlpha(uint32_t MaskColor, float AlphaMask, float AlphaOther) {
  if (FPixels.empty()) return false;
  const uint8_t AM = AlphaByte(AlphaMask), AO = AlphaByte(AlphaOther);
  const uint8_t R = MaskColor & 0xFF, G = (MaskColor >> 8) & 0xFF, B = (MaskColor >> 16) & 0xFF;
  for (size_t i = 0; i + 3 < FPixels.size(); i += 4) {
    const bool Masked = FPixels[i] == R && FPixels[i + 1] == G && FPixels[i + 2] == B;
    FPixels[i + 3] = Masked ? AM : AO;
  }
  Invalidate();
  return true;
}

void TLumTexture::Invalidate() {
  FNeedsUpload = true;
  FParamsChanged = true;
}

void TLumTexture::CheckMaxSize() const {
  const int Max = MaxTextureSide(), W = FBitmap->Width(), H = FBitmap->Height();
  if (Max <= 0 || (W <= Max && H <= Max)) return;
  const std::string What = FImageFile.empty()
                               ? "the bitmap of texture \"" + QuotedPart(Name()) + "\""
                               : "image file \"" + QuotedPart(FImageFile) + "\"";
  throw Exception("Cannot use " + What + " as a texture: " + std::to_string(W) + " x " +
                  std::to_string(H) + " pixels is larger than the OpenGL limit of " +
                  std::to_string(Max) + " pixels a side.");
}

bool TLumTexture::IsValidSize(int64_t n) {
  return n >= 1 && n <= (int64_t{1} << 31) && (n & (n - 1)) == 0;
}

bool TLumTexture::GetValid() const {
  return !FBitmap->Empty() && IsValidSize(FBitmap->Width()) && IsValidSize(FBitmap->Height());
}

void TLumTexture::BitmapChange(TObject*) {
  if (IsDesigning(this)) return;
  FPixels.clear();
  FPixels.shrink_to_fit();
  if (GetValid()) {
    const int W = FBitmap->Width(), H = FBitmap->Height();
    const size_t Row = static_cast<size_t>(W) * 4;
    FPixels.assign(Row * H, 0);
    // The bitmap already holds RGBA bytes top to bottom, so GL's order is a row flip.
    for (int y = 0; y < H; ++y)
      std::memcpy(FPixels.data() + Row * (H - 1 - y), FBitmap->ScanLine(y), Row);
    SetAlphaChannel(FPixels.data(), FPixels.size());
  }
  Changed();
}

void TLumTexture::ScaleBitmap(TLumCustomView*) {
  const int W = FBitmap->Width(), H = FBitmap->Height();
  // The nearest power of two in log scale: 48 becomes 64, 40 becomes 32.
  const int NW = 1 << std::lround(std::log2(static_cast<double>(W)));
  const int NH = 1 << std::lround(std::log2(static_cast<double>(H)));

  std::vector<uint8_t> Source(static_cast<size_t>(W) * H * 3);
  for (int y = 0; y < H; ++y) {
    const uint8_t* S = FBitmap->ScanLine(y);
    uint8_t* D = Source.data() + static_cast<size_t>(y) * W * 3;
    for (int x = 0; x < W; ++x) std::memcpy(D + x * 3, S + x * 4, 3);
  }
  std::vector<uint8_t> Target(static_cast<size_t>(NW) * NH * 3);
  glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  const GLint Err = gluScaleImage(GL_RGB, W, H, GL_UNSIGNED_BYTE, Source.data(), NW, NH,
                                  GL_UNSIGNED_BYTE, Target.data());
  glPopClientAttrib();
  if (Err != 0) {
    const GLubyte* Text = gluErrorString(static_cast<GLenum>(Err));
    throw Exception(std::string("gluScaleImage error ") +
                    (Text ? reinterpret_cast<const char*>(Text) : std::to_string(Err)));
  }

  // Rebuild the pixel buffer once, after the scaled rows are in place.
  TNotifyEvent Hook = std::move(FBitmap->OnChange);
  FBitmap->OnChange = nullptr;
  FBitmap->SetPixelFormat(pf24bit);
  FBitmap->SetSize(NW, NH);
  for (int y = 0; y < NH; ++y) {
    const uint8_t* S = Target.data() + static_cast<size_t>(y) * NW * 3;
    uint8_t* D = FBitmap->ScanLine(y);
    for (int x = 0; x < NW; ++x) {
      std::memcpy(D + x * 4, S + x * 3, 3);
      D[x * 4 + 3] = 255;
    }
  }
  FBitmap->OnChange = std::move(Hook);
  BitmapChange(FBitmap);
}

void TLumTexture::InitTexture() {
  if (FPixels.empty()) return;
  if (FNeedsUpload || !glIsTexture(FTextureName)) {
    glTexImage2D(GL_TEXTURE_2D, 0, 4, FBitmap->Width(), FBitmap->Height(), 0, GL_RGBA,
                 GL_UNSIGNED_BYTE, FPixels.data());
    FNeedsUpload = false;
  }
}

void TLumTexture::Changed() {
  TLumRender::Changed();
  Invalidate();
}

void TLumTexture::Assign(TPersistent* Source) {
  // Only the bitmap is copied, through its setter; Alpha, Mode and BlendColor stay.
  if (auto* T = dynamic_cast<TLumTexture*>(Source)) CopyPublished(this, T);
  TLumRender::Assign(Source);
}

void TLumTexture::DoRender(TLumCustomView* aView) {
  if (!Cached() && !FParamsChanged && IsLastRenderedTex(aView, this)) return;
  if (FBitmap->Empty()) return;
  if (FNeedsUpload) CheckMaxSize();
  if (!IsValidSize(FBitmap->Width()) || !IsValidSize(FBitmap->Height())) ScaleBitmap(aView);
  if (FTextureName == 0) AddTexture(this);

  SetLastRenderedTex(aView, this);
  glEnable(GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_2D, FTextureName);
  InitTexture();
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, TexModeGL[FMode]);
  // Deliberate: the blend colour's float bits go to the integer variant unconverted,
  // so GL sees a colour other than BlendColor; saved scenes depend on this look.
  float Params[4];
  FBlendColor->GetParams(Params);
  GLint Bits[4];
  std::memcpy(Bits, Params, sizeof(Bits));
  glTexEnviv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, Bits);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
  glMatrixMode(GL_TEXTURE);
  glLoadIdentity();
  Transformation()->Execute();
  glMatrixMode(GL_MODELVIEW);
  FParamsChanged = false;
}

void TLumTexture::DoDisable(TLumCustomView* aView) {
  TLumRender::DoDisable(aView);
  glDisable(GL_TEXTURE_2D);
}

// Alpha compares with 10000.0, not its published 1; Bitmap goes to a side file and is
// written last, as that file's bare name.
void TLumTexture::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  // Deliberate: compared with 10000.0, so the alpha is in practice always written.
  Exchange->addtag("Alpha", static_cast<double>(FAlpha), 10000.0);
  Exchange->addtag("Mode", static_cast<int>(FMode), TLumTexModeStr, 3);
  FBlendColor->WriteComp(Exchange, "BlendColor");
  if (!FBitmap->Empty()) {
    namespace fs = std::filesystem;
    // Deliberately beside the scene file, not in the current folder: the attribute holds
    // the bare name and the reader looks beside the scene file first, so the scene loads
    // from wherever it is opened.
    const std::string Name = fs::path(Exchange->GetAFilename("bmp")).filename().string();
    const fs::path Dir = fs::path(Exchange->FileName()).parent_path();
    // Renamed into place only once the scene file is complete.
    const std::string File = (Dir / Name).string();
    Exchange->AddSideFile(FBitmap->SaveToTemporary(File), File);
    Exchange->addtag("Bitmap", Name, std::string());
  }
}

// Bitmap names an image file, looked for beside the scene file first, not a value.
void TLumTexture::ReadValues(TLumExchange* Exchange) {
  TLumRender::ReadValues(Exchange);
  SetAlpha(Exchange->getvalueor("Alpha", FAlpha));
  SetMode(static_cast<TLumTexMode>(Exchange->getenums("Mode", TLumTexModeStr, 3)));
  std::string Name;
  if (Exchange->GetParamText("Bitmap", Name) && !Name.empty()) {
    namespace fs = std::filesystem;
    std::error_code Ec;
    fs::path File(Name);
    if (File.is_relative()) {
      // A relative name is looked for beside the scene file, then in the current folder.
      const fs::path Beside = fs::path(Exchange->FileName()).parent_path() / File;
      if (!Exchange->FileName().empty() && fs::is_regular_file(Beside, Ec)) File = Beside;
    }
    if (!fs::is_regular_file(File, Ec)) throw Exception("Texture bitmap file not found: " + Name);
    TBitmap Loaded;
    Loaded.LoadFromFile(File.string(), MaxTextureSide());
    SetBitmap(&Loaded);
    FImageFile = File.string();
  }
}

TObject* TLumTexture::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (SameText(Tag->Name, "BlendColor")) {
    FBlendColor->ReadValues(Exchange);
    return FBlendColor;
  }
  return TLumRender::ReadComp(Exchange, Tag);
}

// --- the texture cache ------------------------------------------------------------------

int MaxTextureSide() {
  // The driver's limit holds for the whole process: asked once, not at every upload.
  static std::atomic<int> Known{0};
  if (const int K = Known.load(std::memory_order_relaxed)) return K;
  GLint Max = 0;
  // Whatever context is current first (a toolkit's included): switching to the share
  // root in the middle of a toolkit's frame would leave it with no context.
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &Max);  // left 0 with no context current
  if (Max <= 0 && MakeShareRootCurrent()) {
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &Max);
    ReleaseShareRoot();
  }
  if (Max > 0) Known.store(Max, std::memory_order_relaxed);
  return Max;
}

uint32_t AddTexture(TLumTexture* t) {
  if (static_cast<int>(TexList.size()) >= MaxTex && !TexList.empty())
    DeleteTexture(TexList.front());
  TexList.push_back(t);
  GLuint Name = 0;
  glGenTextures(1, &Name);
  t->FTextureName = Name;
  return Name;
}

void DeleteTexture(TLumTexture* t) {
  auto It = std::find(TexList.begin(), TexList.end(), t);
  if (It != TexList.end()) TexList.erase(It);
  if (t->FTextureName != 0) {
    GLuint Name = t->FTextureName;
    glDeleteTextures(1, &Name);
  }
  t->FTextureName = 0;
  // Its object is gone from whatever context bound it: no context may skip it as bound.
  t->Invalidate();
}

void SetMaxTexture(int n) {
  if (n < 1) return;
  while (static_cast<int>(TexList.size()) > n) DeleteTextureWithContext(TexList.front());
  MaxTex = n;
}

int MaxTexture() { return MaxTex; }

const std::vector<TLumTexture*>& TextureList() { return TexList; }

void InvalidateTextures() {
  for (TLumTexture* t : TexList) t->Invalidate();
}

void RedrawTextures(TLumCustomView* aView) {
  if (aView) aView->RenderState().RedrawTextures();
}

bool IsLastRenderedTex(TLumCustomView* aView, TLumTexture* t) {
  return aView && t && aView->RenderState().IsLastTexture(t->StateKey());
}

void SetLastRenderedTex(TLumCustomView* aView, TLumTexture* t) {
  auto It = std::find(TexList.begin(), TexList.end(), t);
  if (It != TexList.end()) std::rotate(It, It + 1, TexList.end());
  if (aView && t) aView->RenderState().SetLastTexture(t->StateKey());
}

void RegisterLumtexClasses() { RegisterRenderClass<TLumTexture>(); }

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumtexProperties();
}  // namespace detail

void detail::RegisterLumtexProperties() {
  TLumClassTable<TLumTexture, TLumRender> T("TLumTexture", "Lumox",
                                            "A 2D texture from a bitmap for what follows");
  T.Creatable();
  T.Object("Bitmap", &TLumTexture::Bitmap, &TLumTexture::SetBitmap, "The image")
      .Exchange()
      .Copied();
  T.Single("Alpha", &TLumTexture::Alpha, &TLumTexture::SetAlpha, 1.0f,
           "Opacity of every pixel, 0..1")
      .Range(TLumRange::Between(0, 1))
      .Exchange();
  T.Enum("Mode", "TLumTexMode", &TLumTexture::Mode, &TLumTexture::SetMode, TLumTexModeStr,
         tmModulate, "How texels combine with the fragment's colour")
      .Exchange();
  T.Object("BlendColor", &TLumTexture::BlendColor, &TLumTexture::SetBlendColor,
           "The colour of the blend mode")
      .Exchange();
  for (const char* Name : {"View", "Transformation", "OnBeforeRender", "OnAfterRender"})
    T.Publish(Name);
  // Written when it is not 0, as the texture defines it; so an alpha of 0 is left out of
  // form files and loads as 1 (docs/forms.md says so).
  T.DefineZeroWhen("Alpha", [](const TLumTexture* X) { return X->Alpha() != 0.0f; });
}

}  // namespace lumox
