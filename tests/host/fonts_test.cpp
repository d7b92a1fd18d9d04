// Font lookup: the default family, the stand-in for a missing family, styles, and
// files that cannot be loaded.
#include "lumox/host/fonts.h"

#include <ft2build.h>
#include <gtest/gtest.h>
#include FT_FREETYPE_H

#include "support/scenefile.h"

namespace lumox {
namespace {

TEST(FontsTest, MissingFamilyFallsBackToDejaVuSans) {
  for (const char* Family : {"", "DejaVu Sans", "dejavu sans", "No Such Family Anywhere"}) {
    SCOPED_TRACE(Family);
    const TFontMatch M = FindFont(Family, false, false);
    EXPECT_EQ(M.Family, "DejaVu Sans");
    EXPECT_FALSE(M.Bold);
    std::unique_ptr<TFontFace> Face = TFontFace::Load(Family, false, false);
    ASSERT_NE(Face->Face(), nullptr);
    EXPECT_STREQ(Face->Face()->family_name, "DejaVu Sans");
    // The face renders glyphs: 'A' has an outline with points.
    ASSERT_EQ(FT_Set_Pixel_Sizes(Face->Face(), 0, 16), 0);
    ASSERT_EQ(FT_Load_Char(Face->Face(), 'A', FT_LOAD_NO_BITMAP), 0);
    EXPECT_GT(Face->Face()->glyph->outline.n_points, 3);
  }
}

TEST(FontsTest, BoldStyleFindsTheBoldFace) {
  std::unique_ptr<TFontFace> Face = TFontFace::Load("DejaVu Sans", true, false);
  EXPECT_TRUE(Face->Match().Bold);
  EXPECT_NE(Face->Face()->style_flags & FT_STYLE_FLAG_BOLD, 0);
}

TEST(FontsTest, UnloadableFileThrowsNamingIt) {
  const std::string M =
      test::Thrown([] { TFontFace::LoadFile(LUMOX_TEST_DATA "/scenes/no-such-font.ttf"); });
  EXPECT_NE(M.find("no-such-font.ttf"), std::string::npos) << M;
  EXPECT_THROW(TFontFace::LoadFile(""), Exception);
}

}  // namespace
}  // namespace lumox
