// Tests of the exchange's load warnings and of the texts the writer refuses: each kind
// of warning from a small file, saved files loading without warnings, attribute lines
// ended by LF, CR or CR LF, and values the format cannot carry.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "support/scenefile.h"

namespace lumox {
namespace {

struct TExpected {
  TLumLoadWarningKind Kind;
  int32_t Line;
  const char* Element;
};

struct TWarningCase {
  const char* Objects;  // the text inside <Objects>, which starts on line 3
  std::vector<TExpected> Warnings;
};

// A hand-written file (its program is not Lumox).
std::string Document(const std::string& Objects, const std::string& Eol = "\r\n") {
  return "<LUMGL version=\"1\" program=\"editor\" description=\"t\">" + Eol + "<Objects>" + Eol +
         Objects + Eol + "</Objects>" + Eol + "</LUMGL>" + Eol;
}

TEST(LoadWarningTest, EachKindNamesItsLineAndElement) {
  const TWarningCase Cases[] = {
      {"<TLUMSPHEER name=\"S\">\r\n<Color Color=\"000000FF\"/>\r\n</TLUMSPHEER>",
       {{lwUnknownClass, 3, "TLUMSPHEER"}}},
      {"<TLUMSPHERE name=\"S\">\r\n<Colour Color=\"000000FF\"/>\r\n</TLUMSPHERE>",
       {{lwUnknownElement, 4, "Colour"}}},
      {"<TLUMSPHERE name=\"S\" Radius=\"3\" Radus=\"2\"/>", {{lwUnreadAttribute, 3, "TLUMSPHERE"}}},
      {"\r\n<TLUMMATERIAL name=\"M\" Face=\"mfBoth\"/>", {{lwUnknownName, 4, "TLUMMATERIAL"}}},
      {"<TLUMBOX name=\"B\" Faces=\"bfTop,bfUp\"/>", {{lwUnknownName, 3, "TLUMBOX"}}},
      {"<TLUMSPHERE name=\"S\" Enabled=\"False\"/>", {{lwBadBoolean, 3, "TLUMSPHERE"}}},
      {"<TLUMSPHERE name=\"S\">\r\n<Color Color=\"#0000FF\"/>\r\n</TLUMSPHERE>",
       {{lwBadNumberText, 4, "Color"}}},
      {"<TLUMSPHERE name=\"S\">\r\n<Transformation>\r\n<Translation P=\"1 2 3\"/>\r\n"
       "</Transformation>\r\n</TLUMSPHERE>",
       {{lwBadNumberText, 5, "Translation"}}},
      {"<TLUMMATERIAL name=\"M\">\r\n<FDiffuse Color=\"000000FF\" Alpha=\"1\"/>\r\n</TLUMMATERIAL>",
       {{lwDiffuseNotRead, 4, "FDiffuse"}}},
      {"<TLUMSPHERE name=\"S\" Radius=\"2\" />\r\n<TLUMBOX/>",
       {{lwSkippedTag, 3, "TLUMSPHERE"}, {lwSkippedTag, 4, "TLUMBOX"}}},
      // A skipped subtree is reported once, at its top.
      {"<TLUMNODE name=\"N\" >\r\n<TLUMSPHERE name=\"S\" Radus=\"1\"/>\r\n</TLUMNODE>",
       {{lwSkippedTag, 3, "TLUMNODE"}}},
  };
  test::TempDir Dir;
  for (const TWarningCase& C : Cases) {
    test::WriteText(Dir.File("w.lumgl"), Document(C.Objects));
    TLumNode Root(nullptr);
    TLumExchange X(nullptr);
    X.SetFileName(Dir.File("w.lumgl"));
    size_t Raised = 0;
    X.OnWarning = [&](const TLumLoadWarning&) { ++Raised; };
    X.LoadfromFile(&Root);
    const auto& W = X.Warnings();
    EXPECT_EQ(Raised, W.size());
    ASSERT_EQ(W.size(), C.Warnings.size()) << C.Objects << "\n"
                                           << (W.empty() ? "" : W[0].ToString());
    for (size_t I = 0; I < W.size(); ++I) {
      const TExpected& E = C.Warnings[I];
      EXPECT_EQ(std::tuple(W[I].Kind, W[I].Line, W[I].Element),
                std::tuple(E.Kind, E.Line, std::string(E.Element)))
          << W[I].ToString();
      EXPECT_EQ(W[I].ToString().rfind(Dir.File("w.lumgl") + ":" + std::to_string(W[I].Line), 0),
                0u);
    }
  }
}

TEST(LoadWarningTest, WhatIsLoadedStaysAsTheRulesSay) {
  test::TempDir Dir;
  test::WriteText(
      Dir.File("m.lumgl"),
      Document("<TLUMMATERIAL name=\"M\" Face=\"mfBoth\" Enabled=\"no\" Cached=\"true\">\r\n"
               "<FDiffuse Color=\"000000FF\" Alpha=\"1\"/>\r\n"
               "<Ambient Color=\"FF\"/>\r\n</TLUMMATERIAL>\r\n<TLUMNODE name=\"Open\">"));
  TLumNode Root(nullptr);
  TLumExchange X(nullptr);
  X.SetFileName(Dir.File("m.lumgl"));
  X.LoadfromFile(&Root);
  ASSERT_EQ(Root.GetCount(), 2);
  auto* M = dynamic_cast<TLumMaterial*>(Root.GetItems(0));
  ASSERT_NE(M, nullptr);
  // An unknown name gives the first value, a bad boolean keeps the value, the other
  // attributes are read, "FDiffuse" is not read back, fewer than 8 digits are fine.
  EXPECT_TRUE(M->Face() == mfFront && M->Enabled() && M->Cached());
  EXPECT_EQ((std::array{M->ColorDiffuse()->Color(), M->ColorAmbient()->Color()}),
            (std::array{0xCCCCCCu, 0xFFu}));
  std::vector<TLumLoadWarningKind> Kinds;
  for (const auto& W : X.Warnings()) Kinds.push_back(W.Kind);
  // Any end tag closes the element open at the time: the node takes "</Objects>",
  // "Objects" takes "</LUMGL>", and the root is left open.
  EXPECT_EQ(Kinds, (std::vector<TLumLoadWarningKind>{lwUnknownName, lwBadBoolean, lwDiffuseNotRead,
                                                     lwUnclosedElement}));
  EXPECT_EQ(X.Warnings().back().Element, "LUMGL");
  EXPECT_EQ(X.Warnings().back().Line, 1);

  test::WriteText(Dir.File("none.lumgl"), "<LUMGL><Scene a=\"1\"></Scene></LUMGL>");
  X.SetFileName(Dir.File("none.lumgl"));
  X.LoadfromFile(&Root);
  ASSERT_EQ(X.Warnings().size(), 2u);
  EXPECT_TRUE(X.Warnings()[0].Kind == lwOutsideObjects && X.Warnings()[0].Element == "Scene");
  EXPECT_EQ(X.Warnings()[1].Line, 0);  // no "Objects" at all: about the whole file
}

// The kept saved files (every registered class under each writer option, and the demo
// with content in the classes that write child elements of their own) load without
// warnings; the materials' diffuse colour is one note for the file, and a warning per
// material in a file that another program wrote.
TEST(LoadWarningTest, SavedFilesLoadWithoutWarningsAndNoteTheDiffuseColourOnce) {
  test::TempDir Dir;
  int Files = 0;
  for (const auto& E : std::filesystem::directory_iterator(LUMOX_TEST_DATA "/saved")) {
    if (E.path().extension() != ".lumgl") continue;
    SCOPED_TRACE(E.path().string());
    ++Files;
    TLumExchange X(nullptr);
    X.SetFileName(E.path().string());
    TLumNode Loaded(nullptr);
    X.LoadfromFile(&Loaded);
    int Materials = 0;
    LumWalkItems(&Loaded, [&Materials](TLumNode*, int, TLumRender* R) {
      Materials += dynamic_cast<TLumMaterial*>(R) != nullptr;
      return true;
    });
    for (const auto& W : X.Warnings()) ADD_FAILURE() << W.ToString();
    ASSERT_EQ(X.Notes().size(), Materials ? 1u : 0u);
    if (Materials) {
      EXPECT_EQ(X.Notes()[0].Kind, lwDiffuseNotRead);
      EXPECT_EQ(X.Notes()[0].Text.rfind(std::to_string(Materials) + " material", 0), 0u)
          << X.Notes()[0].Text;
    }
    std::string Text = test::ReadText(E.path().string());
    Text.replace(Text.find("program=\"Lumox"), 15, "program=\"other");
    test::WriteText(Dir.File("other.lumgl"), Text);
    X.SetFileName(Dir.File("other.lumgl"));
    TLumNode Other(nullptr);
    X.LoadfromFile(&Other);
    EXPECT_EQ(X.Warnings().size(), static_cast<size_t>(Materials));
    EXPECT_TRUE(X.Notes().empty());
  }
  EXPECT_GE(Files, 4);
}

// One attribute per line, the lines ended by LF, CR or CR LF and not indented.
TEST(LoadWarningTest, AttributeLinesEndedByLfCrOrCrLfAllLoad) {
  test::TempDir Dir;
  for (const std::string Eol : {"\n", "\r", "\r\n"}) {
    const std::string Sphere = "<TLUMSPHERE name=\"S1\"" + Eol + "Radius=\"0.3\"" + Eol +
                               "Slices=\"7\">" + Eol + "</TLUMSPHERE>" + Eol +
                               "<TLUMSPHERE name=\"S2\" Radius=\"Z\"/>";
    test::WriteText(Dir.File("eol.lumgl"), Document(Sphere, Eol));
    TLumNode Root(nullptr);
    TLumExchange X(nullptr);
    X.SetFileName(Dir.File("eol.lumgl"));
    try {
      X.LoadfromFile(&Root);
      ADD_FAILURE() << "the bad radius raised nothing";
    } catch (const EConvertError&) {
    }
    ASSERT_EQ(Root.GetCount(), 2);
    auto* S = dynamic_cast<TLumSphere*>(Root.GetItems(0));
    EXPECT_TRUE(S->Name() == "S1" && S->Slices() == 7 && X.Warnings().empty()) << S->Name();
    EXPECT_FLOAT_EQ(S->Radius(), 0.3f);
    // Lines are counted whatever ends them.
    test::WriteText(Dir.File("eol.lumgl"), Document(Eol + "<TLUMSPHEER/>", Eol));
    X.LoadfromFile(&Root);
    ASSERT_EQ(X.Warnings().size(), 1u);
    EXPECT_EQ(X.Warnings()[0].Line, 4);
  }
}

TEST(UnwritableValueTest, SavingRefusesWhatTheReaderWouldCutKeepsTheOldFileAndLeavesNoTemporary) {
  test::TempDir Dir;
  const std::string File = Dir.File("keep.lumgl");
  test::WriteText(File, "old");
  for (const char* Bad : {"wheel/left", "say \"hi\"", "a<b", "a>b", "two\nlines", "cr\rhere"}) {
    TComponent Form(nullptr);
    TLumNode Root(nullptr);
    auto* S = new TLumSphere(&Form);
    S->SetName("Wheel");
    S->SetObjectName(Bad);
    Root.Add(S);
    TLumExchange X(nullptr);
    X.SetFileName(File);
    const std::string M = test::Thrown([&] { X.SavetoFile(&Root); });
    EXPECT_NE(M.find("component \"Wheel\" (TLumSphere)"), std::string::npos) << M;
    EXPECT_NE(M.find("property \"ObjectName\""), std::string::npos) << M;
    EXPECT_EQ(test::ReadText(File), "old");
    X.SetFileDescription(Bad);  // the file's own description likewise
    S->SetObjectName("fine");
    EXPECT_THROW(X.SavetoFile(&Root), Exception);
    EXPECT_EQ(test::ReadText(File), "old");
    EXPECT_EQ(X.State(), stReady);
    // A folder that does not exist cannot take the file either.
    X.SetFileName(Dir.File("no/such.lumgl"));
    X.SetFileDescription("");
    EXPECT_THROW(X.SavetoFile(&Root), Exception);
  }
  // No temporary left beside the old file.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Dir.Path()), {}), 1);
}

}  // namespace
}  // namespace lumox
