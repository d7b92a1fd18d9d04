// TBitmap: RGBA pixels and image files through stb_image and stb_image_write.
#include "lumox/host/graphics.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#include <stb_image.h>
#include <stb_image_write.h>
#pragma GCC diagnostic pop

#include "lumox/host/formfile.h"
#include "lumox/host/proptable.h"

namespace lumox {

// --- files ---------------------------------------------------------------------------

std::string ResolveWritePath(const std::string& FileName) {
  namespace fs = std::filesystem;
  std::error_code Ec;
  if (!fs::is_symlink(FileName, Ec)) return FileName;
  const fs::path Target = fs::weakly_canonical(fs::path(FileName), Ec);
  return Ec ? FileName : Target.string();
}

std::string QuotedPart(const std::string& Text) {
  return Text.size() <= 80 ? Text : Text.substr(0, 77) + "...";
}

std::string WriteTemporaryBeside(const std::string& FileName, const void* Data, size_t Size) {
  return WriteTemporaryBeside(FileName, {std::string_view(static_cast<const char*>(Data), Size)});
}

namespace {

// Writes every piece to Fd, many pieces to a call; returns 0 or the error.
int WritePieces(int Fd, const std::vector<std::string_view>& Pieces) {
  constexpr size_t Batch = IOV_MAX;
  iovec Vec[Batch];
  size_t Next = 0;  // the first piece not yet in Vec
  size_t Done = 0;  // bytes of Pieces[Next - Count] already written
  while (Next < Pieces.size()) {
    size_t Count = 0;
    for (size_t I = Next; I < Pieces.size() && Count < Batch; ++I) {
      if (Pieces[I].empty()) continue;
      Vec[Count++] = {const_cast<char*>(Pieces[I].data()), Pieces[I].size()};
    }
    if (Count == 0) break;
    Vec[0].iov_base = static_cast<char*>(Vec[0].iov_base) + Done;
    Vec[0].iov_len -= Done;
    const ssize_t N = ::writev(Fd, Vec, static_cast<int>(Count));
    if (N < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    // Past the pieces written whole; a piece written in part goes on from where it stopped.
    size_t Left = static_cast<size_t>(N);
    while (Next < Pieces.size() && Left >= Pieces[Next].size() - Done) {
      Left -= Pieces[Next].size() - Done;
      Done = 0;
      ++Next;
    }
    Done += Left;
  }
  return 0;
}

}  // namespace

std::string WriteTemporaryBeside(const std::string& FileName,
                                 const std::vector<std::string_view>& Pieces) {
  namespace fs = std::filesystem;
  const fs::path Target(ResolveWritePath(FileName));
  fs::path Dir = Target.parent_path();
  if (Dir.empty()) Dir = ".";
  // Appended piece by piece: GCC 12 at -O3 takes the inlined insert of "." + name for
  // an overlapping copy (a false -Wrestrict).
  std::string Hidden = ".";
  Hidden += Target.filename().string();
  Hidden += ".XXXXXX";
  std::string Temp = (Dir / Hidden).string();
  const int Fd = ::mkstemp(Temp.data());
  if (Fd < 0)
    throw Exception("Cannot write file \"" + QuotedPart(FileName) + "\": " + std::strerror(errno) +
                    ".");
  int Error = WritePieces(Fd, Pieces);
  if (!Error && ::fsync(Fd) != 0) Error = errno;
  if (::close(Fd) != 0 && !Error) Error = errno;
  if (Error) {
    ::unlink(Temp.c_str());
    throw Exception("Cannot write file \"" + QuotedPart(FileName) + "\": " + std::strerror(Error) +
                    ".");
  }
  // The file keeps the old one's permissions, or gets the usual ones for a new file
  // rather than mkstemp's private ones.
  const mode_t Mask = ::umask(0);
  ::umask(Mask);
  std::error_code Ec;
  fs::permissions(Temp, static_cast<fs::perms>(0666 & ~Mask), Ec);
  if (fs::exists(Target, Ec)) fs::permissions(Temp, fs::status(Target, Ec).permissions(), Ec);
  return Temp;
}

void ReplaceWithTemporary(const std::string& Temp, const std::string& FileName) {
  if (std::rename(Temp.c_str(), ResolveWritePath(FileName).c_str()) == 0) return;
  const int Error = errno;
  ::unlink(Temp.c_str());
  throw Exception("Cannot write file \"" + QuotedPart(FileName) + "\": " + std::strerror(Error) +
                  ".");
}

// --- TBitmap ----------------------------------------------------------------------------

TBitmap::TBitmap(const TBitmap& Other)
    : TPersistent(),
      FWidth(Other.FWidth),
      FHeight(Other.FHeight),
      FPixelFormat(Other.FPixelFormat),
      FPixels(Other.FPixels) {}

TBitmap::TBitmap(TBitmap&& Other) noexcept
    : TPersistent(),
      FWidth(Other.FWidth),
      FHeight(Other.FHeight),
      FPixelFormat(Other.FPixelFormat),
      FPixels(std::move(Other.FPixels)) {
  Other.FWidth = Other.FHeight = 0;
}

TBitmap& TBitmap::operator=(const TBitmap& Other) {
  if (this != &Other) Assign(const_cast<TBitmap*>(&Other));
  return *this;
}

TBitmap& TBitmap::operator=(TBitmap&& Other) noexcept {
  if (this == &Other) return *this;
  FWidth = Other.FWidth;
  FHeight = Other.FHeight;
  FPixelFormat = Other.FPixelFormat;
  FPixels = std::move(Other.FPixels);
  Other.FWidth = Other.FHeight = 0;
  Changed();
  return *this;
}

void TBitmap::SetSize(int AWidth, int AHeight) {
  if (AWidth < 0) AWidth = 0;
  if (AHeight < 0) AHeight = 0;
  if (AWidth == FWidth && AHeight == FHeight) return;
  FWidth = AWidth;
  FHeight = AHeight;
  FPixels.assign(static_cast<size_t>(FWidth) * FHeight * 4, 0);
  Changed();
}

void TBitmap::SetPixelFormat(TPixelFormat Value) {
  StoreChanged(FPixelFormat, Value, [this] { Changed(); });
}

uint32_t TBitmap::GetRGBA(int X, int Y) const {
  if (X < 0 || Y < 0 || X >= FWidth || Y >= FHeight) return 0;
  const uint8_t* P = ScanLine(Y) + static_cast<size_t>(X) * 4;
  return P[0] | (P[1] << 8) | (P[2] << 16) | (static_cast<uint32_t>(P[3]) << 24);
}

void TBitmap::SetRGBA(int X, int Y, uint32_t RGBA) {
  if (X < 0 || Y < 0 || X >= FWidth || Y >= FHeight) return;
  uint8_t* P = ScanLine(Y) + static_cast<size_t>(X) * 4;
  P[0] = RGBA & 0xFF;
  P[1] = (RGBA >> 8) & 0xFF;
  P[2] = (RGBA >> 16) & 0xFF;
  P[3] = (RGBA >> 24) & 0xFF;
}

uint32_t TBitmap::GetPixel(int X, int Y) const { return GetRGBA(X, Y) & 0xFFFFFF; }

void TBitmap::SetPixel(int X, int Y, uint32_t Color) {
  SetRGBA(X, Y, (Color & 0xFFFFFF) | 0xFF000000u);
}

void TBitmap::Fill(uint32_t Color) {
  const uint32_t V = (Color & 0xFFFFFF) | 0xFF000000u;
  for (int Y = 0; Y < FHeight; ++Y)
    for (int X = 0; X < FWidth; ++X) SetRGBA(X, Y, V);
  Changed();
}

void TBitmap::Changed() {
  if (OnChange) OnChange(this);
}

void TBitmap::Assign(TPersistent* Source) {
  auto* B = dynamic_cast<TBitmap*>(Source);
  if (!B) {
    TPersistent::Assign(Source);
    return;
  }
  FWidth = B->FWidth;
  FHeight = B->FHeight;
  FPixelFormat = B->FPixelFormat;
  FPixels = B->FPixels;
  Changed();
}

void TBitmap::LoadFromFile(const std::string& FileName, int MaxSide) {
  struct stat St;
  if (stat(FileName.c_str(), &St) != 0)
    throw Exception("Cannot open image file \"" + QuotedPart(FileName) +
                    "\": " + std::strerror(errno) + ".");
  if (!S_ISREG(St.st_mode))
    throw Exception("Cannot open image file \"" + FileName + "\": not a regular file.");
  int W = 0, H = 0, N = 0;
  if (stbi_info(FileName.c_str(), &W, &H, &N) &&
      static_cast<int64_t>(W) * static_cast<int64_t>(H) > MaxImagePixels)
    throw Exception("Cannot read image file \"" + QuotedPart(FileName) +
                    "\": " + std::to_string(W) + " x " + std::to_string(H) +
                    " pixels is larger than the limit of " + std::to_string(MaxImagePixels) +
                    " pixels.");
  if (MaxSide > 0 && (W > MaxSide || H > MaxSide))
    throw Exception("Cannot read image file \"" + QuotedPart(FileName) +
                    "\": " + std::to_string(W) + " x " + std::to_string(H) +
                    " pixels is larger than the OpenGL limit of " + std::to_string(MaxSide) +
                    " pixels a side.");
  stbi_uc* Data = stbi_load(FileName.c_str(), &W, &H, &N, 4);
  if (!Data)
    throw Exception("Cannot read image file \"" + FileName + "\": " + stbi_failure_reason() + ".");
  FWidth = W;
  FHeight = H;
  FPixels.assign(Data, Data + static_cast<size_t>(W) * H * 4);
  stbi_image_free(Data);
  FPixelFormat = N == 4 ? pf32bit : pf24bit;
  Changed();
}

void TBitmap::LoadFromMemory(const void* Data, size_t Size, const std::string& Name, int MaxSide) {
  const auto* Bytes = static_cast<const stbi_uc*>(Data);
  const int Length = static_cast<int>(std::min<size_t>(Size, INT32_MAX));
  int W = 0, H = 0, N = 0;
  if (!stbi_info_from_memory(Bytes, Length, &W, &H, &N))
    throw Exception("Cannot read image " + Name + ": " + stbi_failure_reason() + ".");
  if (static_cast<int64_t>(W) * static_cast<int64_t>(H) > MaxImagePixels)
    throw Exception("Cannot read image " + Name + ": " + std::to_string(W) + " x " +
                    std::to_string(H) + " pixels is larger than the limit of " +
                    std::to_string(MaxImagePixels) + " pixels.");
  if (MaxSide > 0 && (W > MaxSide || H > MaxSide))
    throw Exception("Cannot read image " + Name + ": " + std::to_string(W) + " x " +
                    std::to_string(H) + " pixels is larger than the OpenGL limit of " +
                    std::to_string(MaxSide) + " pixels a side.");
  stbi_uc* Pixels = stbi_load_from_memory(Bytes, Length, &W, &H, &N, 4);
  if (!Pixels) throw Exception("Cannot read image " + Name + ": " + stbi_failure_reason() + ".");
  FWidth = W;
  FHeight = H;
  FPixels.assign(Pixels, Pixels + static_cast<size_t>(W) * H * 4);
  stbi_image_free(Pixels);
  FPixelFormat = N == 4 ? pf32bit : pf24bit;
  Changed();
}

void TBitmap::SaveToFile(const std::string& FileName) const {
  ReplaceWithTemporary(SaveToTemporary(FileName), FileName);
}

std::string TBitmap::Encode(const std::string& FileName) const {
  if (Empty())
    throw Exception("Cannot write image file \"" + QuotedPart(FileName) +
                    "\": the bitmap is empty.");
  auto Ends = [&FileName](std::string_view Ext) {
    return FileName.size() >= Ext.size() &&
           SameText(std::string_view(FileName).substr(FileName.size() - Ext.size()), Ext);
  };
  const bool Png = Ends(".png"), Jpeg = Ends(".jpg") || Ends(".jpeg");
  const int Comp = FPixelFormat == pf32bit ? 4 : 3;
  std::vector<uint8_t> Rgb;
  const uint8_t* Data = FPixels.data();
  if (Comp == 3) {
    Rgb.resize(static_cast<size_t>(FWidth) * FHeight * 3);
    for (size_t I = 0, N = static_cast<size_t>(FWidth) * FHeight; I < N; ++I)
      std::memcpy(&Rgb[I * 3], &FPixels[I * 4], 3);
    Data = Rgb.data();
  }
  std::string Encoded;
  auto Append = [](void* Context, void* Bytes, int Size) {
    static_cast<std::string*>(Context)->append(static_cast<const char*>(Bytes),
                                               static_cast<size_t>(Size));
  };
  const int Ok =
      Png    ? stbi_write_png_to_func(Append, &Encoded, FWidth, FHeight, Comp, Data, FWidth * Comp)
      : Jpeg ? stbi_write_jpg_to_func(Append, &Encoded, FWidth, FHeight, Comp, Data, 90)
             : stbi_write_bmp_to_func(Append, &Encoded, FWidth, FHeight, Comp, Data);
  if (!Ok)
    throw Exception("Cannot write image file \"" + QuotedPart(FileName) +
                    "\": the image could not be encoded.");
  return Encoded;
}

std::string TBitmap::SaveToTemporary(const std::string& FileName) const {
  // Encoded in memory, then written whole through a checked temporary file.
  const std::string Encoded = Encode(FileName);
  return WriteTemporaryBeside(FileName, Encoded.data(), Encoded.size());
}

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the registry of class tables (proptable.cpp).
void RegisterGraphicsProperties();
}  // namespace detail

void detail::RegisterGraphicsProperties() {
  TLumClassTable<TBitmap, TPersistent> T("TBitmap", "", "An image of RGBA pixels");
  T.Creatable();
  T.Integer("Width", &TBitmap::Width, nullptr, NoStoredDefault, "Width in pixels");
  T.Integer("Height", &TBitmap::Height, nullptr, NoStoredDefault, "Height in pixels");
  // The pixels: width, height, then one row of RGBA bytes in hexadecimal per line,
  // top row first.
  T.DefineData(
      "Data", "Width, height and the RGBA pixels, a row per line",
      [](const TBitmap* B) { return !B->Empty(); },
      [](const TBitmap* B, TLumFormWriter& W) {
        static const char Hex[] = "0123456789ABCDEF";
        W.WriteListBegin();
        W.WriteInteger(B->Width());
        W.WriteInteger(B->Height());
        std::string Row;
        for (int Y = 0; Y < B->Height(); ++Y) {
          const uint8_t* P = B->ScanLine(Y);
          Row.resize(size_t(B->Width()) * 8);
          for (size_t I = 0; I < Row.size() / 2; ++I) {
            Row[I * 2] = Hex[P[I] >> 4];
            Row[I * 2 + 1] = Hex[P[I] & 15];
          }
          W.NewLine();
          W.WriteString(Row);
        }
        W.WriteListEnd();
      },
      [](TBitmap* B, TLumFormReader& R) {
        R.ReadListBegin();
        const int64_t W = R.ReadInteger(), H = R.ReadInteger();
        const int64_t Max = TBitmap::MaxImagePixels;
        if (W < 1 || H < 1 || W > Max || H > Max || W * H > Max)
          R.Error("an image of " + std::to_string(W) + " x " + std::to_string(H) +
                  " pixels is refused");
        // The rows are read before the pixels are made, so that a short file cannot ask
        // for a large image.
        std::vector<std::string> Rows;
        while (!R.EndOfList()) {
          Rows.push_back(R.ReadString());
          if (Rows.back().size() != size_t(W) * 8)
            R.Error("a row of the image has the wrong length");
        }
        if (int64_t(Rows.size()) != H) R.Error("the image has not as many rows as its height");
        std::vector<uint8_t> Pixels(size_t(W * H * 4));
        for (size_t Y = 0; Y < Rows.size(); ++Y) {
          const std::string& Row = Rows[Y];
          for (size_t I = 0; I < Row.size() / 2; ++I) {
            unsigned V = 0;
            auto Res = std::from_chars(Row.data() + I * 2, Row.data() + I * 2 + 2, V, 16);
            if (Res.ptr != Row.data() + I * 2 + 2) R.Error("a row of the image is not hexadecimal");
            Pixels[Y * size_t(W) * 4 + I] = uint8_t(V);
          }
        }
        R.ReadListEnd();
        B->SetSize(int(W), int(H));
        std::copy(Pixels.begin(), Pixels.end(), B->Pixels());
        B->Changed();
      });
}

}  // namespace lumox
