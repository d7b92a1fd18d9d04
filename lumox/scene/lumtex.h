// TLumTexture: a 2D texture made from a bitmap, bound for everything rendered after it,
// and the process-wide cache of GL texture objects that evicts the least recently rendered.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lumox/host/graphics.h"
#include "lumox/scene/lumcomp.h"

namespace lumox {

// How texels combine with the fragment colour (the texture environment mode).
enum TLumTexMode : uint8_t { tmModulate, tmDecal, tmBlend, tmReplace };
extern const char* const TLumTexModeStr[4];

class TLumTexture : public TLumRender {
 public:
  explicit TLumTexture(TComponent* AOwner);
  ~TLumTexture() override;
  const char* ClassName() const override { return "TLumTexture"; }

  TBitmap* Bitmap() const { return FBitmap; }
  // Copies the bitmap in; nullptr is ignored.
  void SetBitmap(TBitmap* Value);
  // 0..1; rewrites the alpha byte of every pixel.
  float Alpha() const { return FAlpha; }
  void SetAlpha(float Value);
  TLumTexMode Mode() const { return FMode; }
  void SetMode(TLumTexMode Value);
  TLumColor* BlendColor() const { return FBlendColor; }
  void SetBlendColor(TLumColor* Value);

  // The GL texture object, 0 while the texture holds none.
  uint32_t TextureName() const { return FTextureName; }
  // The pixel buffer: rows bottom to top, RGBA bytes; empty without a valid bitmap.
  const std::vector<uint8_t>& PixelBuffer() const { return FPixels; }

  // Sets the alpha byte of every pixel in the buffer from Alpha.
  void SetAlphaChannel(uint8_t* Pixels, size_t Size);
  // Per-pixel alpha from the grey value of another bitmap of any size.
  void SetAlphaBitmap(TBitmap* AlphaBitmap);
  // Colour-key transparency; false when there is no pixel buffer.
  bool SetMaskAlpha(uint32_t MaskColor, float AlphaMask, float AlphaOther);
  // Forces a new upload and new parameters at the next render.
  void Invalidate();
  // Rebuilds the pixel buffer from the bitmap (the bitmap's change event).
  void BitmapChange(TObject* Sender);
  // Rescales the bitmap to the nearest powers of two (log scale) through GLU.
  void ScaleBitmap(TLumCustomView* aView);

  // Throws Exception naming the image file and its size when the bitmap is wider or
  // taller than GL_MAX_TEXTURE_SIZE; does nothing before the process has a GL context.
  void CheckMaxSize() const;

  static bool IsValidSize(int64_t n);
  // A non-empty bitmap whose sides are powers of two.
  bool GetValid() const;

  void Changed() override;
  // Copies only the bitmap, then the inherited part.
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  void DoRender(TLumCustomView* aView) override;
  void DoDisable(TLumCustomView* aView) override;
  // Names this texture in the "last rendered" test of a render state.
  TLumStateKey StateKey() const { return FStateKey; }

 private:
  friend uint32_t AddTexture(TLumTexture* t);
  friend void DeleteTexture(TLumTexture* t);
  void InitTexture();

  TLumStateKey FStateKey = NewStateKey();
  TBitmap* FBitmap;
  std::string FImageFile;  // the file the scene loader read the bitmap from
  std::vector<uint8_t> FPixels;
  float FAlpha = 1.0f;
  TLumTexMode FMode = tmModulate;
  TLumColor* FBlendColor;
  uint32_t FTextureName = 0;
  bool FNeedsUpload = true;
  bool FParamsChanged = true;
};

// --- the texture cache ------------------------------------------------------------------

// Gives t a new texture object, first deleting the least recently rendered one when
// the cache is full; returns the new name.
uint32_t AddTexture(TLumTexture* t);
// Deletes t's texture object and takes it out of the cache.
void DeleteTexture(TLumTexture* t);
// The maximum number of texture objects (4 at start); below 1 is ignored.
void SetMaxTexture(int n);
int MaxTexture();
// The textures holding texture objects, least recently rendered first.
const std::vector<TLumTexture*>& TextureList();
// Marks every cached texture for a new upload (before rendering into another context).
void InvalidateTextures();
// Starts a frame in the context aView renders in: the first texture rendered after it
// renders in full.
void RedrawTextures(TLumCustomView* aView);
// The texture test of the context aView renders in (its render state's): false for the
// first test of a frame, then whether t was bound there last. Without a view: false.
bool IsLastRenderedTex(TLumCustomView* aView, TLumTexture* t);
// Makes t the most recently rendered texture of the cache and the one bound in the
// context aView renders in.
void SetLastRenderedTex(TLumCustomView* aView, TLumTexture* t);

// GL_MAX_TEXTURE_SIZE of the current context, else of the share root, kept once known;
// 0 while the process has made no context.
int MaxTextureSide();

void RegisterLumtexClasses();

}  // namespace lumox
