// Tests of the LUMGL exchange format: exact bytes of small documents, round trips of
// scenes under every writer option, value conversions, progress and failing files.
#include "lumox/exchange/lumexchange.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;

const char* const ThingModeStr[3] = {"tmA", "tmB", "tmC"};

// A render class that writes and reads one value of every kind the exchange offers.
class TTestThing : public TLumRender {
 public:
  explicit TTestThing(TComponent* AOwner) : TLumRender(AOwner) {}
  const char* ClassName() const override { return "TTestThing"; }
  int32_t Count = 7;
  double Size = 1.5;
  std::string Label = "x";
  int Mode = 0;
  uint32_t Flags = 0;
  TLumMathVector Pos{0, 0, 0};
  TComponent* Link = nullptr;
  std::string LinkName;  // what loading found for Link

  void WriteValues(TLumExchange* X) override {
    TLumRender::WriteValues(X);
    X->addtag("Count", Count, 7);
    X->addtag("Size", Size, 1.5);
    X->addtag("Label", Label, std::string("x"));
    X->addtag("Mode", Mode, ThingModeStr, 2);
    X->addsettag("Flags", Flags, ThingModeStr, 2);
    X->addtag("Pos", Pos, ZEROVEC);
    if (Link || LinkName.empty())
      X->addtag("Link", Link, nullptr);
    else  // a loaded thing writes the name it read
      X->addtag("Link", LinkName, std::string("nil"));
  }
  void ReadValues(TLumExchange* X) override {
    TLumRender::ReadValues(X);
    X->getvalue("Count", Count);
    X->getvalue("Size", Size);
    X->getvalue("Label", Label);
    Mode = X->getenums("Mode", ThingModeStr, 2);
    X->getsetvalue("Flags", Flags, ThingModeStr, 2);
    X->getvalue("Pos", Pos);
    X->getvalue("Link", LinkName);
    if (LinkName == "nil") LinkName.clear();
  }
};

void RegisterTestClasses() {
  if (!GetRenderClass("TTestThing")) RegisterRenderClass<TTestThing>();
  if (!GetRenderClass("TLumObject")) RegisterRenderClass<TLumObject>();
}

using test::ReadText, test::WriteText;

class ExchangeTest : public ::testing::Test {
 protected:
  void SetUp() override { RegisterTestClasses(); }
  test::TempDir Tmp;
  const fs::path Dir = Tmp.Path();
};

// --- the writer's bytes ----------------------------------------------------------------

TEST(ExchangeWriterTest, AttributesAfterChildrenAtEveryLevelEmptyElementsAndText) {
  TLumExchange X(nullptr);
  X.SetNoDefaultValues(true);
  X.StartTag("A");
  X.addtag("n", 1, 1);  // default: left out
  X.StartTag("B");
  X.EndTag();  // empty: removed, and no child of A
  X.StartTag("C");
  X.addtag("f", 0.1, 0.0);
  X.StartTag("D");
  X.addvalue("t");
  X.addtag("d", 4, 0);  // after the text
  X.EndTag();
  X.addtag("e", 2, ThingModeStr, 2);  // after a child: still into C's start tag
  X.addtag("z", 0, ThingModeStr, 2);  // ordinal 0: left out
  X.EndTag();
  X.addtag("k", 2, 0);  // likewise into A's, two levels up
  X.StartTag("T");
  X.addvalue("abc");
  X.EndTag();
  X.EndTag();
  EXPECT_EQ(X.Parser()->Stream(),
            "<A k=\"2\">\r\n"
            "  <C f=\"0.1\" e=\"tmC\">\r\n"
            "    <D d=\"4\">\r\n"
            "    t    </D>\r\n"
            "  </C>\r\n"
            "  <T>\r\n"
            "  abc  </T>\r\n"
            "</A>\r\n");
  EXPECT_TRUE(X.GetDepth() == 0 && X.GetAktTag()->Depth == -1);

  TLumExchange Y(nullptr);  // every attribute written, each after the first on a new line
  Y.SetParamNewLine(true);
  Y.StartTag("P");
  Y.addtag("a", 1, 1);
  Y.addtag("r", static_cast<TComponent*>(nullptr), nullptr);
  Y.StartTag("E");
  Y.EndTag();
  Y.EndTag();
  EXPECT_EQ(Y.Parser()->Stream(), "<P a=\"1\"\r\n r=\"nil\">\r\n  <E/>\r\n</P>\r\n");
}

TEST(ExchangeWriterTest, FloatTextsAndDefaultsCompareByWrittenText) {
  TLumExchange X(nullptr);
  // Doubles in full (a Single widened to double is written as the Single: see below).
  EXPECT_EQ(X.toStr(0.1), "0.1");
  EXPECT_EQ(X.toStr(0.123456789012), "0.123456789012");
  X.SetDecimals(3);
  EXPECT_EQ(X.toStr(3.14159), "3.14");
  EXPECT_EQ(X.toStr(1234.5), "1.23e+03");
  X.SetNoDefaultValues(true);
  X.StartTag("F");
  X.addtag("same", 1.0004, 1.0);  // written as "1", like its default: left out
  X.addtag("differs", 1.01, 1.0);
  X.addtag("v", TLumMathVector{0.0001, 0, 0}, ZEROVEC);  // "0.0001,0,0"
  X.EndTag();
  EXPECT_EQ(X.Parser()->Stream(), "<F differs=\"1.01\" v=\"0.0001,0,0\"/>\r\n");
}

TEST(ExchangeWriterTest, NumbersAreTheShortestTextsThatReadBack) {
  TLumExchange X(nullptr);
  auto Reference = [](auto Value) {
    char Buf[64];
    return std::string(Buf, std::to_chars(Buf, Buf + sizeof Buf, Value).ptr);
  };
  // Whole numbers around the point where the exponent form becomes the shorter one
  // (100000 is "1e+05"), negative zero, and a spread of fractions and magnitudes.
  std::vector<float> Values{-0.0f, 0.0f,      1e5f,        -1e5f,
                            1e7f,  123456.0f, 16777216.0f, 0.5f,
                            -2.5f, 1e-7f,     3.4e38f,     std::nextafter(10000.0f, 0.0f)};
  for (int I = -10010; I <= 10010; ++I) Values.push_back(static_cast<float>(I));
  std::mt19937 Random(26);
  std::uniform_int_distribution<uint32_t> Bits;
  for (int I = 0; I < 20000; ++I) {
    const uint32_t B = Bits(Random);
    float F;
    std::memcpy(&F, &B, sizeof F);
    if (std::isfinite(F)) Values.push_back(F);
  }
  for (float F : Values) {
    ASSERT_EQ(X.toStr(F), Reference(F)) << F;
    ASSERT_EQ(X.toStr(static_cast<double>(F)), Reference(F)) << F;
  }
  EXPECT_EQ(X.toStr(0.1 + 1e-12), Reference(0.1 + 1e-12));
}

// --- reader services --------------------------------------------------------------------

TEST(ExchangeReaderTest, ConversionsOfAttributeTexts) {
  TLumExchange X(nullptr);
  int32_t I = 5;
  X.Strto("", I), X.Strto("+42", I);  // an empty text keeps the value
  EXPECT_EQ(I, 42);
  EXPECT_THROW(X.Strto("12x", I), EConvertError);
  std::string S = "keep";
  X.Strto("", S);  // so an empty text cannot replace a string
  EXPECT_EQ(S, "keep");
  double D = 0;
  X.Strto("2.5e-3", D);
  EXPECT_EQ(D, 2.5e-3);  // and "1,5" is no number
  EXPECT_THROW(X.Strto("1,5", D), EConvertError);
  TLumMathVector V{7, 8, 9};
  X.Strto("1,,x", V);  // missing and bad parts keep their values
  EXPECT_EQ(X.toStr(V), "1,8,9");
  EXPECT_EQ(X.getenumv("tmB", ThingModeStr, 2), 1);
  EXPECT_EQ(X.getenumv("TMB", ThingModeStr, 2), 0);  // names match exactly; unknown gives 0
  EXPECT_EQ(TLumExchange::hex2int("1aFz9"), 0x1AFu);
}

TEST(ExchangeReaderTest, SideFileNames) {
  TLumExchange X(nullptr);
  X.SetFileName("C:\\data\\scene.xml");
  std::vector<std::string> Names{X.GetAFilename("bmp"), X.GetAFilename("bmp")};
  X.SetFileName("/tmp/my.scene.xml");
  Names.push_back(X.GetAFilename("png"));
  X.clear();
  X.SetFileName("/tmp/noext");
  Names.push_back(X.GetAFilename("bmp"));
  EXPECT_EQ(Names, (std::vector<std::string>{"scene0.bmp", "scene1.bmp", "my2.png", "0.bmp"}));
}

// --- round trips ----------------------------------------------------------------------------

struct TOptions {
  bool NoDefaults;
  bool NewLine;
  int Decimals;
  const char* Locale;  // LC_NUMERIC while saving and loading
};

class RoundTripTest : public ExchangeTest, public ::testing::WithParamInterface<TOptions> {};

// Every value of a tree, floats exact: the tree saved with all attributes written.
std::string Dump(TLumNode* Root, const fs::path& P) {
  TLumExchange X(nullptr);
  X.SetFileName(P.string());
  X.SavetoFile(Root);
  return ReadText(P);
}

// Root: a thing with every value changed, a thing with none, an object, and a nested
// node holding another thing and object. Awkward values need all digits.
void BuildScene(TComponent* Form, TLumNode* Root, bool Awkward) {
  auto New = [&](TLumRender* R, const char* Name, TLumNode* Into) {
    R->SetName(Name);
    Into->Add(R);
    return R;
  };
  auto* T1 = static_cast<TTestThing*>(New(new TTestThing(Form), "T1", Root));
  T1->SetEnabled(false), T1->SetCached(true), T1->Transformation()->SetOrder(toScaTraRot);
  T1->Transformation()->Rotation()->SetValues(30, Awkward ? 45.123f : 45.5f, 300);
  T1->Transformation()->Scale()->SetValues(2, 0, Awkward ? 1.0f / 3 : -0.25f);
  T1->Count = -123456, T1->Size = Awkward ? 1.0 / 3 : 0.125;
  T1->Label = "a label, with blanks", T1->Mode = 2, T1->Flags = 0b101;
  T1->Pos = Awkward ? TLumMathVector{1e-7, -2.0 / 3, 12345.678} : TLumMathVector{1, -2, 0.5};
  New(new TTestThing(Form), "T2", Root);
  auto* O1 = static_cast<TLumObject*>(New(new TLumObject(Form), "O1", Root));
  O1->SetObjectName("Pretty name"), O1->Color()->SetColor(0x123456);
  O1->Color()->SetAlpha(Awkward ? 0.3f : 0.25f);
  T1->Link = O1;
  auto* Sub = static_cast<TLumNode*>(New(new TLumNode(Form), "Sub", Root));
  Sub->Transformation()->Translation()->SetValues(Awkward ? 0.1f : 0.5f, -7, 1e-3f);
  static_cast<TTestThing*>(New(new TTestThing(Form), "T3", Sub))->Label = "y";
  New(new TLumObject(Form), "O2", Sub);
}

TEST_P(RoundTripTest, LoadGivesBackEveryValue) {
  const TOptions O = GetParam();
  const std::string OldLocale = std::setlocale(LC_NUMERIC, nullptr);
  if (!std::setlocale(LC_NUMERIC, O.Locale))
    GTEST_SKIP() << "the locale " << O.Locale
                 << " is missing: generate it (tools/bootstrap --test does)";
  char Probe[8];
  std::snprintf(Probe, sizeof Probe, "%.1f", 1.5);  // "1,5" under de_DE: the locale is in force
  TComponent Form(nullptr);
  TLumNode Root(nullptr);
  BuildScene(&Form, &Root, O.Decimals == 0);
  TLumExchange X(nullptr);
  X.SetNoDefaultValues(O.NoDefaults), X.SetParamNewLine(O.NewLine), X.SetDecimals(O.Decimals);
  X.SetFileDescription("round trip");
  X.SetFileName((Dir / "scene.xml").string());
  std::vector<double> Saving;
  X.OnSProgress = [&](double P) { Saving.push_back(P); };
  X.SavetoFile(&Root);
  // One step per item written; the nested node's own step goes past the leaf count.
  EXPECT_EQ(Saving, (std::vector<double>{0.2, 0.4, 0.6, 0.8, 1.0, 1.0}));
  EXPECT_TRUE(X.Parser()->Stream().empty());  // the text is not kept once written

  TLumExchange Y(nullptr);
  Y.SetFileName(X.FileName());
  TLumNode Loaded(nullptr);
  std::vector<double> Loading;
  Y.OnSProgress = [&](double P) { Loading.push_back(P); };
  Y.LoadfromFile(&Loaded);
  // Loading reports the characters read, every 2000 and at the end.
  const double N = static_cast<double>(fs::file_size(Dir / "scene.xml"));
  ASSERT_EQ(Loading.size(), static_cast<size_t>(N / 2000) + 1);
  EXPECT_DOUBLE_EQ(Loading.back(), N / (N + 1));
  EXPECT_TRUE(Y.FileDescription() == "round trip" && Y.State() == stReady);
  EXPECT_EQ(Dump(&Loaded, Dir / "a.xml"), Dump(&Root, Dir / "b.xml"));
  if (std::string(Probe) == "1,5" && O.Decimals == 3) {  // floats still use '.'
    EXPECT_NE(ReadText(Dir / "scene.xml").find("Size=\"0.125\""), std::string::npos);
    EXPECT_NE(ReadText(Dir / "scene.xml").find("P=\"0.5,-7,0.001\""), std::string::npos);
  }
  std::setlocale(LC_NUMERIC, OldLocale.c_str());
}

INSTANTIATE_TEST_SUITE_P(Options, RoundTripTest,
                         ::testing::Values(TOptions{false, false, 0, "C"},
                                           TOptions{true, false, 0, "C"},
                                           TOptions{true, true, 0, "de_DE.UTF-8"},
                                           TOptions{false, true, 3, "de_DE.UTF-8"},
                                           TOptions{true, false, 3, "C"},
                                           TOptions{true, true, 9, "C"}));

// --- failures ------------------------------------------------------------------------------

TEST_F(ExchangeTest, TruncatedAndUnbalancedFilesLoadWhatTheyCan) {
  TComponent Form(nullptr);
  TLumNode Root(nullptr);
  BuildScene(&Form, &Root, true);
  TLumExchange X(nullptr);
  X.SetFileName((Dir / "full.xml").string());
  X.SavetoFile(&Root);
  const std::string Full = ReadText(Dir / "full.xml");
  const fs::path Cut = Dir / "cut.xml";
  X.SetFileName(Cut.string());
  int Previous = 0;
  for (size_t Len = 0; Len <= Full.size(); Len += 7) {
    WriteText(Cut, Full.substr(0, Len));
    TLumNode Target(nullptr);
    EXPECT_NO_THROW(X.LoadfromFile(&Target)) << Len;
    EXPECT_GE(Target.GetCount(), Previous);  // a longer prefix never loads less
    EXPECT_LE(Target.GetCount(), Root.GetCount());
    Previous = Target.GetCount();
  }
}

// --- sample files ----------------------------------------------------------------------------

std::string SceneFile(const char* Name) { return std::string(LUMOX_TEST_DATA) + "/scenes/" + Name; }

TEST(SceneFileTest, MalformedValuesNameFileElementAndAttributeAndKeepEarlierObjects) {
  RegisterTestClasses();
  TLumExchange X(nullptr);
  for (const char* Bad : {"bad/malformed_integer.xml", "bad/malformed_float.xml",
                          "bad/duplicate_name.xml", "bad/missing.xml"}) {
    TLumNode Target(nullptr);
    X.SetFileName(SceneFile(Bad));
    try {
      X.LoadfromFile(&Target);
      ADD_FAILURE() << "no error for " << Bad;
    } catch (const Exception& E) {
      const std::string M = E.what();
      EXPECT_NE(M.find(X.FileName()), std::string::npos) << M;
      if (std::string(Bad) == "bad/malformed_integer.xml") {
        EXPECT_NE(M.find("element \"TLUMOBJECT\" (line 4)"), std::string::npos) << M;
        EXPECT_NE(M.find("attribute \"ObjectID\": 'two'"), std::string::npos) << M;
        // The first object was loaded and the bad one created before its values failed.
        ASSERT_EQ(Target.GetCount(), 2);
        EXPECT_EQ(dynamic_cast<TLumObject*>(Target.GetItems(0))->ObjectID(), 1);
      }
    }
    EXPECT_EQ(X.State(), stReady);
  }
  // After the failures the same exchange loads a good file: "<?xml?>", a comment, a
  // nested node and an unknown class that is skipped.
  TLumNode Target(nullptr);
  X.SetFileName(SceneFile("good/two_objects_and_group.xml"));
  X.LoadfromFile(&Target);
  EXPECT_EQ(X.FileDescription(), "sample");
  ASSERT_EQ(Target.GetCount(), 2);
  auto* Red = dynamic_cast<TLumObject*>(Target.GetItems(0));
  EXPECT_EQ(Red->Transformation()->Rotation()->Y(), 45);
  EXPECT_EQ(dynamic_cast<TLumNode*>(Target.GetItems(1))->GetCount(), 1);
}

}  // namespace
}  // namespace lumox
