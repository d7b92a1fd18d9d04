// Values written and read from the class tables: value objects without a format of their
// own, reading every attribute before any setter, and the elements the exchange offers
// to the object that reads them.
#include <gtest/gtest.h>

#include "lumox/geometry/lumprimclasses.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/host/proptable.h"
#include "support/propvalues.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

TEST(TableExchangeTest, TextureFlagsAndTheirVectorLoadBackThroughTheTable) {
  test::TempDir Dir;
  TComponent Owner(nullptr);
  auto* Box = new TLumBox(&Owner);
  Box->SetName("B");
  Box->SetNode(new TLumNode(&Owner));  // as the loaded one is
  Box->SetWidth(0.5f);
  Box->SetFaces(TBoxFaces{bfTop, bfBottom});
  TLumTextureFlags* F = Box->TextureFlags();
  F->SetMode(txSphereZ);
  F->SetShiftX(0.25);
  F->SetScaleY(-2);
  F->ParamVector()->SetValues(1, 2, 3);
  for (bool NoDefaults : {false, true}) {
    SCOPED_TRACE(NoDefaults ? "without defaults" : "with defaults");
    const std::string File = Dir.File(NoDefaults ? "b1.lumgl" : "b0.lumgl");
    const std::string Text = test::SavedText(Box, File, NoDefaults);
    EXPECT_NE(Text.find("<ParamVector P=\"1,2,3\"/>"), std::string::npos) << Text;
    TComponent Back(nullptr);
    auto* Loaded = test::LoadComponent<TLumBox>(&Back, File);
    ASSERT_NE(Loaded, nullptr);
    test::ExpectSameValues(Loaded, Box, "Box");
  }
}

TEST(TableExchangeTest, ABadValueLeavesEveryValueOfItsClassAsItWas) {
  test::TempDir Dir;
  const std::string File = Dir.File("bad.lumgl");
  test::WriteText(File,
                  "<LUMGL><Objects name=\"R\">\n"
                  "<TLUMCYLINDER name=\"C\" BaseRadius=\"2\" Height=\"3\" Slices=\"many\">"
                  "</TLUMCYLINDER>\n</Objects></LUMGL>\n");
  TComponent Owner(nullptr);
  auto* Node = new TLumNode(&Owner);
  TLumExchange Ex(nullptr);
  Ex.SetFileName(File);
  const std::string Message = test::Thrown([&] { Ex.LoadfromFile(Node); });
  EXPECT_NE(Message.find("bad.lumgl"), std::string::npos) << Message;
  EXPECT_NE(Message.find("line 2"), std::string::npos) << Message;
  // The cylinder stays in the node with its defaults: no value was set before the bad one.
  ASSERT_EQ(Node->GetCount(), 1);
  auto* C = dynamic_cast<TLumCylinder*>(Node->GetItems(0));
  ASSERT_NE(C, nullptr);
  EXPECT_EQ(C->BaseRadius(), 1.0);
  EXPECT_EQ(C->Height(), 1.0);
  EXPECT_EQ(C->Slices(), 10);
}

// The order of the entries shows in the kept saved bytes of every render class; a camera
// is none.
TEST(TableExchangeTest, EntriesHaveTheFormatsDefaults) {
  // A Single's default compares as the number its shortest text reads as.
  const TLumPropInfo* Near = FindClassInfo("TLumCamera")->FindProperty("ViewNear");
  ASSERT_NE(Near, nullptr);
  EXPECT_EQ(std::get<double>(Near->ExchangeDefault), 0.1);
  // Inherited entries belong to the class that declares them.
  EXPECT_TRUE(FindClassInfo("TLumPerspectiveCamera")->ExchangeEntries().size() == 1u);
}

}  // namespace
}  // namespace lumox
