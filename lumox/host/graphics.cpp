// TBitmap: RGBA pixels and image files through stb_image and stb_image_write.
#include "lumox/host/graphics.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
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

namespace lumox {

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
  if (Value == FPixelFormat) return;
  FPixelFormat = Value;
  Changed();
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

void TBitmap::LoadFromFile(const std::string& FileName) {
  struct stat St;
  if (stat(FileName.c_str(), &St) != 0)
    throw Exception("Cannot open image file \"" + FileName + "\": " + std::strerror(errno) + ".");
  if (!S_ISREG(St.st_mode))
    throw Exception("Cannot open image file \"" + FileName + "\": not a regular file.");
  int W = 0, H = 0, N = 0;
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

void TBitmap::SaveToFile(const std::string& FileName) const {
  if (Empty()) throw Exception("Cannot write image file \"" + FileName + "\": the bitmap is empty.");
  const std::string Temp = FileName + ".tmp";
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
  const int Ok = Png    ? stbi_write_png(Temp.c_str(), FWidth, FHeight, Comp, Data, FWidth * Comp)
                 : Jpeg ? stbi_write_jpg(Temp.c_str(), FWidth, FHeight, Comp, Data, 90)
                        : stbi_write_bmp(Temp.c_str(), FWidth, FHeight, Comp, Data);
  if (!Ok || std::rename(Temp.c_str(), FileName.c_str()) != 0) {
    const int Err = errno;
    std::remove(Temp.c_str());
    throw Exception("Cannot write image file \"" + FileName + "\"" +
                    (Err ? std::string(": ") + std::strerror(Err) : std::string()) + ".");
  }
}

}  // namespace lumox
