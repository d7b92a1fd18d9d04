// Tests of the XML reader: the events it raises on small inputs, including the
// lenient readings that saved scene files rely on, progress and unbalanced input.
#include "lumox/exchange/xmlparser.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace lumox {
namespace {

// Runs the parser over Text and logs every event as one line.
struct TRecorder {
  TXMLParser Parser{nullptr};
  std::vector<std::string> Log;
  std::vector<double> Progress;

  TRecorder() {
    Parser.OnTagName = [this](TXMLTag*& T) { Log.push_back("name " + T->Name); };
    Parser.OnTag = [this](TXMLTag*& T) {
      Log.push_back("tag " + T->Name + " d" + std::to_string(T->Depth) + " [" + T->Params + "]");
    };
    Parser.OnParam = [this](TXMLTag*& T) { Log.push_back("param " + T->Name); };
    Parser.OnEndTag = [this](TXMLTag*& T) { Log.push_back("end " + T->Name); };
    Parser.OnValue = [this](TXMLTag*& T) { Log.push_back("value " + T->Name + "=" + T->Value); };
    Parser.OnComment = [this](const std::string& S) { Log.push_back("comment " + S); };
    Parser.OnSpecial = [this](const std::string& S) { Log.push_back("special " + S); };
    Parser.OnProgress = [this](double P) { Progress.push_back(P); };
  }
  std::vector<std::string> Run(const std::string& Text) {
    Log.clear();
    Parser.Stream() = Text;
    Parser.execute(nullptr);
    return Log;
  }
};

using Lines = std::vector<std::string>;

TEST(XMLParserTest, LastAttributeIsAddedTwiceWhenTheTagEndsAfterItsQuote) {
  TRecorder R;
  EXPECT_EQ(R.Run("<a x=\"1\" y=\"2\">"),
            (Lines{"name a", "param a", "param a", "param a", "tag a d1 [x=1\r\ny=2\r\ny=2\r\n]"}));
  // The unterminated element stays open, with its attributes.
  TXMLTag* A = R.Parser.Current();
  ASSERT_EQ(A->Name, "a");
  std::string V;
  EXPECT_TRUE(A->GetParam("Y", V));  // names compare without regard to case
  EXPECT_EQ(V, "2");
  EXPECT_FALSE(A->GetParam("z", V));
  R.Parser.CloseOpenTags();
  EXPECT_EQ(R.Parser.Current(), R.Parser.BaseTag());
}

TEST(XMLParserTest, SlashEndsTheTagEvenInsideQuotes) {
  TRecorder R;
  EXPECT_EQ(R.Run("<a x=\"1/2\">"), (Lines{"name a", "param a", "tag a d1 [x=1\r\n]", "end a"}));
  EXPECT_EQ(R.Parser.Current(), R.Parser.BaseTag());
}

TEST(XMLParserTest, TagsWithoutACompletedLastAttributeRaiseNoTag) {
  TRecorder R;
  // A blank before '>' or "/>" after the last attribute, and "<a/>" without attributes.
  EXPECT_EQ(R.Run("<a x=\"1\" >"), (Lines{"name a", "param a"}));
  R.Parser.CloseOpenTags();
  EXPECT_EQ(R.Run("<a x=\"1\" /><b/><c />"),
            (Lines{"name a", "param a", "end a", "end ", "name c", "end c"}));
  EXPECT_EQ(R.Parser.Current(), R.Parser.BaseTag());
}

TEST(XMLParserTest, AnyEndTagClosesTheCurrentElement) {
  TRecorder R;
  std::vector<std::string> Parents;
  R.Parser.OnTag = [&](TXMLTag*& T) { Parents.push_back(T->Name + "<" + T->Parent->Name); };
  R.Run("<a><b></zz><c></c></a></a></q>");
  EXPECT_EQ(Parents, (Lines{"a<", "b<a", "c<a"}));
  EXPECT_EQ(R.Parser.Current(), R.Parser.BaseTag());  // extra end tags at depth 0 are ignored
}

TEST(XMLParserTest, TextBeforeEachLessThanBecomesTheElementValue) {
  TRecorder R;
  EXPECT_EQ(R.Run("junk<a>hello <b>in</b>\r\ntail</a>after"),
            (Lines{"name a", "tag a d1 []", "value a=hello ", "name b", "tag b d2 []", "value b=in",
                   "end b", "value a=\r\ntail", "end a"}));
  // Names end only at a blank: tabs and line ends belong to the name.
  EXPECT_EQ(R.Run("<a\tb\r\n>"), (Lines{"name a\tb\r\n", "tag a\tb\r\n d1 []"}));
}

TEST(XMLParserTest, CommentsAndSpecials) {
  TRecorder R;
  EXPECT_EQ(
      R.Run("<r><!-- x -- y --></r>"),
      (Lines{"name r", "tag r d1 []", "value r=", "comment <!-- x -- y -->", "value r=", "end r"}));
  // '>' after fewer than two '-' neither ends the comment nor is stored.
  EXPECT_EQ(R.Run("<!-- a->b -->"), (Lines{"comment <!-- a-b -->"}));
  // "<?...>" makes an element that its own '>' closes again; reading goes on as text.
  EXPECT_EQ(R.Run("<?xml v=\"1\"?><a/>"),
            (Lines{"special <?xml v=\"1\"?>", "end ", "value =", "end "}));
  EXPECT_EQ(R.Parser.Current(), R.Parser.BaseTag());
  // "<!...>" makes none, so its '>' closes the enclosing element.
  EXPECT_EQ(R.Run("<a><!DOCTYPE q></a>"),
            (Lines{"name a", "tag a d1 []", "value a=", "special <!DOCTYPE q>", "end a",
                   "value =", "end "}));
}

TEST(XMLParserTest, KindByteClosesAtOnceOrKeepsAnElementOpen) {
  TRecorder R;
  std::vector<std::string> Parents;
  R.Parser.OnTag = [&](TXMLTag*& T) {
    Parents.push_back(T->Name + "<" + T->Parent->Name);
    if (T->Name == "once") T->Kind = 1;
    if (T->Name == "keep") T->Kind = 2;
  };
  R.Run("<a><once><b></b><keep></keep><c></c></keep>");
  // "once" is closed by its own start tag; "keep" survives its first end tag only.
  EXPECT_EQ(Parents, (Lines{"a<", "once<a", "b<a", "keep<a", "c<keep"}));
  EXPECT_EQ(R.Parser.Current()->Name, "a");
}

TEST(XMLParserTest, ProgressEvery2000CharactersAndOnceAtTheEnd) {
  TRecorder R;
  std::string Text = "<a>" + std::string(4994, 'x') + "</a>";  // 5001 characters
  R.Run(Text);
  ASSERT_EQ(R.Progress.size(), 3u);
  EXPECT_DOUBLE_EQ(R.Progress[0], 2000.0 / 5002);
  EXPECT_DOUBLE_EQ(R.Progress[1], 4000.0 / 5002);
  EXPECT_DOUBLE_EQ(R.Progress[2], 5001.0 / 5002);  // n / (n + 1): the terminator counts
  // The text collected across the progress points is intact.
  EXPECT_EQ(R.Log[2], "value a=" + std::string(4994, 'x'));
}

TEST(XMLParserTest, EmptyFileGivesOneProgressOfZeroAndMissingFileThrows) {
  auto Path = std::filesystem::temp_directory_path() / "lumox_xmlparser_empty.xml";
  { std::ofstream(Path, std::ios::binary); }
  TRecorder R;
  R.Parser.FileName = Path.string();
  TObject Target;
  R.Parser.execute(&Target);
  EXPECT_EQ(R.Parser.BaseTag()->Obj, &Target);
  EXPECT_TRUE(R.Log.empty());
  EXPECT_EQ(R.Progress, std::vector<double>{0.0});
  std::filesystem::remove(Path);
  try {
    R.Parser.execute(nullptr);
    FAIL() << "no exception for a missing file";
  } catch (const Exception& E) {
    EXPECT_NE(std::string(E.what()).find(Path.string()), std::string::npos) << E.what();
  }
}

TEST(XMLParserTest, ZeroByteEndsParsingEarly) {
  TRecorder R;
  EXPECT_EQ(R.Run(std::string("<a>\0<b>", 7)), (Lines{"name a", "tag a d1 []"}));
  EXPECT_DOUBLE_EQ(R.Progress.back(), 3.0 / 8);
}

// Many elements whose attributes straddle the progress points: every attribute list
// must come out exactly as written.
TEST(XMLParserTest, LongInputKeepsEveryAttribute) {
  std::string Text = "<root>\r\n";
  std::vector<std::string> Expected;
  for (int I = 0; I < 3000; ++I) {
    std::string Long(static_cast<size_t>(I % 37), static_cast<char>('a' + I % 26));
    std::string N = std::to_string(I);
    Text += "  <E" + N + " id=\"" + N + "\" text=\"" + Long + " z\">v" + N + "</E" + N + ">\r\n";
    Expected.push_back("E" + N + "|id=" + N + "\r\ntext=" + Long + " z\r\ntext=" + Long +
                       " z\r\n|v" + N);
  }
  Text += "</root>\r\n";
  TXMLParser P(nullptr);
  std::vector<std::string> Got;
  P.OnEndTag = [&](TXMLTag*& T) {
    if (T->Depth == 2) Got.push_back(T->Name + "|" + T->Params + "|" + T->Value);
  };
  P.Stream() = Text;
  P.execute(nullptr);
  EXPECT_EQ(Got, Expected);
}

}  // namespace
}  // namespace lumox
