// Tests of the XML reader: the events it raises on small inputs, including the
// lenient readings that saved scene files rely on, progress and unbalanced input.
#include "lumox/exchange/xmlparser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/scenefile.h"

namespace lumox {
namespace {

using Lines = std::vector<std::string>;

// Runs the parser over a text and logs every event as one line.
struct TRecorder {
  TXMLParser Parser{nullptr};
  Lines Log;
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
  Lines Run(const std::string& Text) {
    Log.clear();
    Progress.clear();
    Parser.CloseOpenTags();
    Parser.Stream() = Text;
    Parser.execute(nullptr);
    return Log;
  }
};

struct TCase {
  const char* Input;
  Lines Events;
  bool Balanced;  // nothing is left open at the end
};

TEST(XMLParserTest, EventsOfSmallInputs) {
  const TCase Cases[] = {
      // The last attribute, ended directly by '>', is added twice.
      {"<a x=\"1\" y=\"2\">",
       {"name a", "param a", "param a", "param a", "tag a d1 [x=1\r\ny=2\r\ny=2\r\n]"},
       false},
      // '/' ends the tag even inside quotes.
      {"<a x=\"1/2\">", {"name a", "param a", "tag a d1 [x=1\r\n]", "end a"}, true},
      // A blank after the last attribute, or "/>" without attributes: no OnTag.
      {"<a x=\"1\" >", {"name a", "param a"}, false},
      {"<a x=\"1\" /><b/><c />", {"name a", "param a", "end a", "end ", "name c", "end c"}, true},
      // Text outside elements is dropped; text before each '<' is the element's value.
      {"junk<a>hello <b>in</b>\r\ntail</a>after",
       {"name a", "tag a d1 []", "value a=hello ", "name b", "tag b d2 []", "value b=in", "end b",
        "value a=\r\ntail", "end a"},
       true},
      // Only a blank ends a name: tabs and line ends belong to it.
      {"<a\tb\r\n>", {"name a\tb\r\n", "tag a\tb\r\n d1 []"}, false},
      // Any end tag closes the current element; extra ones at depth 0 are ignored.
      {"<a></zz></a></q>", {"name a", "tag a d1 []", "value a=", "end a", "end ", "end "}, true},
      {"<r><!-- x -- y --></r>",
       {"name r", "tag r d1 []", "value r=", "comment <!-- x -- y -->", "value r=", "end r"},
       true},
      // '>' after fewer than two '-' neither ends the comment nor is stored.
      {"<!-- a->b -->", {"comment <!-- a-b -->"}, true},
      // "<?...>" makes an element that its own '>' closes again.
      {"<?xml v=\"1\"?><a/>", {"special <?xml v=\"1\"?>", "end ", "value =", "end "}, true},
      // "<!...>" makes none, so its '>' closes the enclosing element.
      {"<a><!DOCTYPE q></a>",
       {"name a", "tag a d1 []", "value a=", "special <!DOCTYPE q>", "end a", "value =", "end "},
       true},
  };
  TRecorder R;
  for (const TCase& C : Cases) {
    EXPECT_EQ(R.Run(C.Input), C.Events) << C.Input;
    EXPECT_EQ(R.Parser.Current() == R.Parser.BaseTag(), C.Balanced) << C.Input;
  }
  // A zero byte ends the run early.
  EXPECT_EQ(R.Run(std::string("<a>\0<b>", 7)), (Lines{"name a", "tag a d1 []"}));
  EXPECT_EQ(R.Progress, std::vector<double>{3.0 / 8});
  // The open element keeps its attributes; names are looked up without regard to case.
  R.Run("<a x=\"1\" y=\"2\">");
  std::string V;
  EXPECT_TRUE(R.Parser.Current()->GetParam("Y", V));
  EXPECT_EQ(V, "2");
  EXPECT_FALSE(R.Parser.Current()->GetParam("z", V));
}

TEST(XMLParserTest, KindByteClosesAtOnceOrKeepsAnElementOpen) {
  TRecorder R;
  Lines Parents;
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

// Element records are reused once closed: a new element starts without the attributes,
// text, line or object of the one before it.
TEST(XMLParserTest, ReusedElementRecordsStartEmpty) {
  TRecorder R;
  Lines Seen;
  R.Parser.OnTag = [&](TXMLTag*& T) {
    Seen.push_back(T->Name + "|" + T->Params + "|" + T->Value + "|" + std::to_string(T->Line) +
                   (T->Obj ? "|obj" : ""));
    T->Obj = &R.Parser;
  };
  R.Run("<a k=\"v\">text</a>\n<b>\n<c></c></b>");
  R.Run("<d>");
  EXPECT_EQ(Seen, (Lines{"a|k=v\r\nk=v\r\n||1", "b|||2", "c|||3", "d|||1"}));
}

// Elements whose attributes and texts straddle the progress points come out intact.
TEST(XMLParserTest, ProgressEvery2000CharactersAndOnceAtTheEnd) {
  std::string Text = "<root>";
  Lines Expected;
  for (int I = 0; I < 700; ++I) {
    std::string N = std::to_string(I), Long(static_cast<size_t>(I % 37), 'a');
    Text += "<E" + N + " t=\"" + Long + " z\">v" + N + "</E" + N + ">";
    Expected.push_back("E" + N + "|t=" + Long + " z\r\nt=" + Long + " z\r\n|v" + N);
  }
  Text += "</root>";
  TRecorder R;
  Lines Got;
  R.Parser.OnEndTag = [&](TXMLTag*& T) {
    if (T->Depth == 2) Got.push_back(T->Name + "|" + T->Params + "|" + T->Value);
  };
  R.Run(Text);
  EXPECT_EQ(Got, Expected);
  const double Size = static_cast<double>(Text.size() + 1);  // the terminator counts
  ASSERT_EQ(R.Progress.size(), Text.size() / 2000 + 1);
  for (size_t I = 0; I + 1 < R.Progress.size(); ++I)
    EXPECT_DOUBLE_EQ(R.Progress[I], 2000.0 * static_cast<double>(I + 1) / Size);
  EXPECT_DOUBLE_EQ(R.Progress.back(), static_cast<double>(Text.size()) / Size);
}

// A file is read in blocks of one buffer: elements, attributes, texts, comments and line
// ends that straddle the blocks come out as from the same text read whole, with the
// same lines and progress; a zero byte still ends the run, and a file whose first block
// holds no LF (lines ended by a lone CR) is read whole as before.
TEST(XMLParserTest, FileReadInBlocksReadsAsTheWholeText) {
  std::string Long = "\n<root>\r\n";  // a LF at once: every block size reads in blocks
  for (int I = 0; I < 300; ++I) {
    const std::string N = std::to_string(I);
    Long += "<E" + N + " a=\"" + std::string(static_cast<size_t>(I % 23), 'x') + "\" b=\"" + N +
            "\">v" + N + (I % 7 ? "\n" : "\r\n") + "<!-- c" + N + " -- -->" + "</E" + N + ">\n";
  }
  Long += "</root>\n";
  const std::string Texts[] = {Long, "<a>\r<b x=\"1\">\r</b>\r\n<c/>\r</a>\r",
                               "<a>\r<b>\r</b>\r</a>\r", "\n<a>\r<b>\r</b>\r</a>\r",
                               std::string("<a>\n<b>\0<c>\n", 12)};
  test::TempDir Dir;
  const std::string Path = Dir.File("blocks.xml");
  for (const std::string& Text : Texts) {
    TRecorder Whole;
    Lines WholeLines;
    Whole.Parser.OnTagName = [&](TXMLTag*& T) {
      WholeLines.push_back(T->Name + ":" + std::to_string(T->Line));
    };
    const Lines Expected = Whole.Run(Text);
    test::WriteText(Path, Text);
    for (size_t Block : {size_t{1}, size_t{7}, size_t{64}, size_t{1} << 20}) {
      TRecorder R;
      Lines GotLines;
      R.Parser.OnTagName = [&](TXMLTag*& T) {
        GotLines.push_back(T->Name + ":" + std::to_string(T->Line));
      };
      R.Parser.FileName = Path;
      R.Parser.ReadBlockSize = Block;
      R.Parser.execute(nullptr);
      EXPECT_EQ(R.Log, Expected) << "block " << Block;
      EXPECT_EQ(GotLines, WholeLines) << "block " << Block;
      EXPECT_EQ(R.Progress, Whole.Progress) << "block " << Block;
    }
  }
  // What a handler raises comes out as it is, read whole or in blocks.
  for (size_t Block : {size_t{4}, size_t{1} << 20}) {
    TXMLParser P(nullptr);
    P.OnTag = [](TXMLTag*&) { throw EConvertError("bad value"); };
    P.FileName = Path;
    P.ReadBlockSize = Block;
    try {
      P.execute(nullptr);
      ADD_FAILURE() << "nothing raised, block " << Block;
    } catch (const EConvertError& E) {
      EXPECT_STREQ(E.what(), "bad value");
    }
  }
}

TEST(XMLParserTest, EmptyFileGivesOneProgressOfZeroAndMissingFileThrows) {
  test::TempDir Dir;
  const std::string Path = Dir.File("empty.xml");
  test::WriteText(Path, "");
  TRecorder R;
  R.Parser.FileName = Path;
  TObject Target;
  R.Parser.execute(&Target);
  EXPECT_EQ(R.Parser.BaseTag()->Obj, &Target);
  EXPECT_TRUE(R.Log.empty());
  EXPECT_EQ(R.Progress, std::vector<double>{0.0});
  std::filesystem::remove(Path);
  // The buffer was emptied, so the file is read again.
  const std::string M = test::Thrown([&] { R.Parser.execute(nullptr); });
  EXPECT_NE(M.find(Path), std::string::npos) << M;
}

}  // namespace
}  // namespace lumox
