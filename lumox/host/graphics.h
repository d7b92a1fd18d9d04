// TBitmap: an image of RGBA pixels that reads and writes image files (BMP, PNG,
// JPEG and what stb_image decodes; writes BMP, PNG and JPEG).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {

// Bits per pixel the bitmap reports; pixels are always kept as RGBA bytes.
enum TPixelFormat : uint8_t {
  pfDevice,
  pf1bit,
  pf4bit,
  pf8bit,
  pf15bit,
  pf16bit,
  pf24bit,
  pf32bit
};

// Files are replaced whole: the new contents go to a temporary file beside the old
// one, every write and the close checked, and only a complete file is renamed over
// it. A name that is a symbolic link is written through to the file it names.
// The path a file is written at: FileName itself, or the file its link names.
std::string ResolveWritePath(const std::string& FileName);
// Writes Size bytes to a new temporary file beside FileName and returns its path;
// throws Exception naming FileName (and leaves no temporary) when it cannot.
std::string WriteTemporaryBeside(const std::string& FileName, const void* Data, size_t Size);
// The same for contents made of Pieces in order, written as they lie (no joined copy).
std::string WriteTemporaryBeside(const std::string& FileName,
                                 const std::vector<std::string_view>& Pieces);
// Renames a temporary made by WriteTemporaryBeside over FileName (through a link);
// throws Exception naming FileName, and removes the temporary, when it cannot.
void ReplaceWithTemporary(const std::string& Temp, const std::string& FileName);
// At most 80 characters of Text, for quoting a value in a message.
std::string QuotedPart(const std::string& Text);

class TBitmap : public TPersistent {
 public:
  TBitmap() = default;
  TBitmap(int AWidth, int AHeight) { SetSize(AWidth, AHeight); }
  // Bitmaps are values: copies take size, format and pixels, not OnChange.
  TBitmap(const TBitmap& Other);
  TBitmap(TBitmap&& Other) noexcept;
  TBitmap& operator=(const TBitmap& Other);
  TBitmap& operator=(TBitmap&& Other) noexcept;
  const char* ClassName() const override { return "TBitmap"; }

  // Called after every change of size or pixels made through this interface.
  TNotifyEvent OnChange;

  int Width() const { return FWidth; }
  int Height() const { return FHeight; }
  bool Empty() const { return FWidth <= 0 || FHeight <= 0; }
  // Resizes; the pixels are cleared to transparent black. Negative sizes count as 0.
  void SetSize(int AWidth, int AHeight);
  void SetWidth(int AWidth) { SetSize(AWidth, FHeight); }
  void SetHeight(int AHeight) { SetSize(FWidth, AHeight); }
  TPixelFormat PixelFormat() const { return FPixelFormat; }
  // Records the format (24-bit bitmaps drop alpha when written as BMP); pixels stay RGBA.
  void SetPixelFormat(TPixelFormat Value);

  // RGBA bytes, rows from top to bottom, Width * 4 bytes per row.
  uint8_t* Pixels() { return FPixels.data(); }
  const uint8_t* Pixels() const { return FPixels.data(); }
  uint8_t* ScanLine(int Row) { return FPixels.data() + static_cast<size_t>(Row) * FWidth * 4; }
  const uint8_t* ScanLine(int Row) const {
    return FPixels.data() + static_cast<size_t>(Row) * FWidth * 4;
  }
  // A pixel as a host colour value $00BBGGRR (alpha dropped); 0 outside the image.
  uint32_t GetPixel(int X, int Y) const;
  void SetPixel(int X, int Y, uint32_t Color);
  // A pixel as RGBA bytes packed R | G << 8 | B << 16 | A << 24; 0 outside.
  uint32_t GetRGBA(int X, int Y) const;
  void SetRGBA(int X, int Y, uint32_t RGBA);
  // Fills every pixel with an opaque host colour.
  void Fill(uint32_t Color);
  // Tells OnChange that pixels were written directly.
  void Changed();

  // Copies size, format and pixels of another bitmap (not its OnChange).
  void Assign(TPersistent* Source) override;

  // Reads an image file; throws Exception naming the file when it cannot. The size is
  // read before the pixels are decoded: an image of more than MaxImagePixels, or wider or
  // taller than MaxSide when that is above 0, is refused.
  void LoadFromFile(const std::string& FileName, int MaxSide = 0);
  // The same for an image file held in memory (Size bytes at Data); Name says in
  // messages which image it is ("embedded in \"model.glb\"").
  void LoadFromMemory(const void* Data, size_t Size, const std::string& Name, int MaxSide = 0);
  static constexpr int64_t MaxImagePixels = int64_t{1} << 26;
  // Writes PNG for a ".png" name, JPEG (quality 90) for ".jpg" and ".jpeg", BMP
  // otherwise. The file is written to a temporary
  // beside it and renamed into place; throws Exception naming the file on failure.
  void SaveToFile(const std::string& FileName) const;
  // The bytes of the image file SaveToFile would write for FileName.
  std::string Encode(const std::string& FileName) const;
  // Writes the file SaveToFile would write to a temporary beside FileName and returns
  // the temporary's path, for ReplaceWithTemporary once everything else is written.
  std::string SaveToTemporary(const std::string& FileName) const;

 private:
  int FWidth = 0;
  int FHeight = 0;
  TPixelFormat FPixelFormat = pf32bit;
  std::vector<uint8_t> FPixels;
};

}  // namespace lumox
