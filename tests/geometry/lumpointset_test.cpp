// Tests of the point cloud: colours as points are added, point files (good and bad),
// drawn pixels through client arrays and through the cache, and the file round trip.
#include "lumox/geometry/lumpointset.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/glfixture.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

TEST(PointSetTest, FirstColouredPointWhitensTheEarlierOnes) {
  TLumPointSet S(nullptr);
  EXPECT_EQ(S.AddPoint(1, 2, 3), 0);
  EXPECT_EQ(S.AddPoint(NAN, 0, 0), -1);
  EXPECT_FALSE(S.Colored());
  EXPECT_EQ(S.AddPoint(4, 5, 6, 1.0f, 0.0f, 0.5f), 1);
  EXPECT_TRUE(S.Colored() && S.PointCount() == 2);
  EXPECT_EQ((std::array{S.GetPointColor(0), S.GetPointColor(1)}),
            (std::array<std::array<float, 4>, 2>{{{1, 1, 1, 1}, {1, 0, 0.5f, 1}}}));
  EXPECT_EQ(S.GetPoint(1).Z, 6.0);
  S.SetPointSize(0);  // ignored
  EXPECT_EQ(S.PointSize(), 1.0f);
}

TEST(PointSetTest, LoadsPointFilesAndRejectsBadLinesWithoutLosingPoints) {
  test::TempDir Dir;
  test::WriteText(Dir.File("good.xyz"),
                  "# a comment\n0 0 0\n\n1.5,2,3 255 0 127.5\r\n  -1\t-2\t-3\n");
  TLumPointSet S(nullptr);
  S.LoadFromFile(Dir.File("good.xyz"));
  ASSERT_EQ(S.PointCount(), 3);
  EXPECT_EQ((std::array{S.GetPoint(1).X, S.GetPoint(2).Z}), (std::array{1.5, -3.0}));
  EXPECT_TRUE(S.Colored());
  EXPECT_EQ((std::array{S.GetPointColor(0), S.GetPointColor(1), S.GetPointColor(2)}),
            (std::array<std::array<float, 4>, 3>{{{1, 1, 1, 1}, {1, 0, 0.5f, 1}, {1, 1, 1, 1}}}));

  const std::pair<const char*, const char*> Bad[] = {{"0 0 0\n1 2\n", "line 2"},
                                                     {"0 0 0\n\n1 2 x\n", "line 3"},
                                                     {"1 2 3 4 5 300\n", "0..255"},
                                                     {"1 2 3 4\n", "line 1"}};
  for (const auto& [Text, Expected] : Bad) {
    test::WriteText(Dir.File("bad.xyz"), Text);
    const std::string M = test::Thrown([&] { S.LoadFromFile(Dir.File("bad.xyz")); });
    EXPECT_NE(M.find(Expected), std::string::npos) << M;
    EXPECT_NE(M.find("bad.xyz"), std::string::npos) << M;
    EXPECT_EQ(S.PointCount(), 3);
  }
  EXPECT_THROW(S.LoadFromFile(Dir.File("missing.xyz")), Exception);
}

TEST(PointSetExchangeTest, PointsColoursAndSettingsRoundTrip) {
  test::TempDir Dir;
  TComponent Form(nullptr);
  auto* S = new TLumPointSet(&Form);
  S->AddPoint(0, 0, 0);
  S->AddPoint(0.1, -2, 1e-7, 0.25f, 0.5f, 1.0f, 0.75f);
  S->SetPointSize(3.5f);
  S->SetColored(false);
  test::ExpectRoundTrip(S, &Form, Dir,
                        {
                            "<Point P=\"0,0,0\" C=\"1,1,1,1\"/>",
                            "P=\"0.1,-2,1e-07\"",
                            "PointSize=\"3.5\"",
                        });
  test::ExpectAssignCopies(S, Dir);
}

class PointSetViewTest : public test::ViewTest {};

TEST_F(PointSetViewTest, PointsDrawInTheirColoursDirectAndCached) {
  auto* S = new TLumPointSet(&Form);
  S->AddPoint(0, 0, 0, 1, 0, 0);
  S->AddPoint(0.5, 0, 0, 0, 1, 0);
  S->SetPointSize(5);
  View->OnRender = [S](TLumView* V) {
    glEnable(GL_LIGHTING);  // points are drawn unlit whatever the scene says
    S->Render(V);
  };
  Frame();  // the view's own context, in which a change deletes the cached list
  for (bool Cached : {false, true}) {
    S->SetCached(Cached);
    const TBitmap B = Snapshot();
    // Red (stored as $00BBGGRR) 5 pixels wide, green, and nothing between.
    EXPECT_EQ((std::array{RGB(B, 40, 30), RGB(B, 42, 30), RGB(B, 58, 30), RGB(B, 49, 30)}),
              (std::array{0x0000FFu, 0x0000FFu, 0x00FF00u, 0u}))
        << Cached;
  }
  EXPECT_NE(S->ListId(), 0u);
  S->SetColored(false);  // the object's white colour instead
  EXPECT_EQ(S->ListId(), 0u);
  EXPECT_EQ(RGB(Snapshot(), 40, 30), 0xFFFFFFu);
}

}  // namespace
}  // namespace lumox
