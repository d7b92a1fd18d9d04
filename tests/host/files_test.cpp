// The rule for files that other files name: inside the file's folder or an added one,
// links resolved, regular files within the bound; outside names refused alike whether
// they exist or not; names matched by backslash and case.
#include "lumox/host/files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/scenefile.h"

namespace lumox {
namespace {

namespace fs = std::filesystem;

class FileAccessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(Dir.Path() / "model" / "Tex");
    fs::create_directories(Dir.Path() / "shared");
    test::WriteText(Dir.File("model/m.obj"), "v 0 0 0\n");
    test::WriteText(Dir.File("model/Tex/Wood.PNG"), "png");
    test::WriteText(Dir.File("shared/s.png"), "png");
    test::WriteText(Dir.File("secret.txt"), "secret");
  }
  test::TempDir Dir;
  std::string Path, Reason;
};

TEST_F(FileAccessTest, OnlyFilesUnderTheFilesFolderOrAnAddedOne) {
  const TLumFileAccess A(Dir.File("model/m.obj"), {}, 1000, "model");
  EXPECT_TRUE(A.Resolve("Tex/Wood.PNG", Path, Reason)) << Reason;
  EXPECT_EQ(Path, Dir.File("model/Tex/Wood.PNG"));
  EXPECT_TRUE(A.Resolve("Tex\\Wood.PNG", Path, Reason)) << Reason;  // a backslash separates
  // Outside the folder: refused with one reason, whether the file is there or not.
  std::string There, Missing;
  EXPECT_FALSE(A.Resolve("../secret.txt", Path, There));
  EXPECT_FALSE(A.Resolve("../nothing.txt", Path, Missing));
  EXPECT_FALSE(A.Resolve(Dir.File("secret.txt"), Path, Reason));
  EXPECT_EQ(There, Missing);
  EXPECT_EQ(There, "lies outside the model's folder");
  EXPECT_FALSE(A.Resolve("../shared/s.png", Path, Reason));
  // A folder given by the caller widens the rule.
  const TLumFileAccess Wide(Dir.File("model/m.obj"), {Dir.File("shared")}, 1000, "model");
  EXPECT_TRUE(Wide.Resolve("../shared/s.png", Path, Reason)) << Reason;
  EXPECT_FALSE(Wide.Resolve("../secret.txt", Path, Reason));
}

TEST_F(FileAccessTest, LinksAreFollowedBeforeTheFolderIsChecked) {
  fs::create_symlink(Dir.File("secret.txt"), Dir.File("model/link.txt"));
  fs::create_symlink(Dir.File("model"), Dir.File("alias"));
  const TLumFileAccess A(Dir.File("model/m.obj"), {}, 1000, "model");
  EXPECT_FALSE(A.Resolve("link.txt", Path, Reason));
  EXPECT_EQ(Reason, "lies outside the model's folder");
  // A model opened through a linked folder still reads beside itself.
  const TLumFileAccess B(Dir.File("alias/m.obj"), {}, 1000, "model");
  EXPECT_TRUE(B.Resolve("Tex/Wood.PNG", Path, Reason)) << Reason;
}

TEST_F(FileAccessTest, SpecialFilesFoldersAndLargeFilesAreRefusedEvenWhenAllowed) {
  const TLumFileAccess Everything(Dir.File("model/m.obj"), {"/"}, 1000, "model");
  for (const char* Name : {"/dev/zero", "/proc/self/environ", "/proc/self/status", "/dev/null"}) {
    EXPECT_FALSE(Everything.Resolve(Name, Path, Reason)) << Name;
    EXPECT_EQ(Reason, "is not a regular file") << Name;
  }
  EXPECT_FALSE(Everything.Resolve(Dir.File("model/Tex"), Path, Reason));
  EXPECT_EQ(Reason, "is a folder");
  const TLumFileAccess Small(Dir.File("model/m.obj"), {}, 2, "model");
  EXPECT_FALSE(Small.Resolve("Tex/Wood.PNG", Path, Reason));
  EXPECT_EQ(Reason, "is 3 bytes, more than the bound of 2 bytes");
  EXPECT_FALSE(Small.Resolve("Tex/none.png", Path, Reason));
  EXPECT_EQ(Reason, "does not exist");
}

TEST_F(FileAccessTest, LooseNamesMatchCaseFolderByFolderAndTheBareNameBeside) {
  test::WriteText(Dir.File("model/beside.jpg"), "jpg");
  const TLumFileAccess A(Dir.File("model/m.obj"), {}, 1000, "model");
  EXPECT_FALSE(A.Resolve("tex/wood.png", Path, Reason));
  EXPECT_TRUE(A.ResolveLoosely("tex\\WOOD.png", Path, Reason)) << Reason;
  EXPECT_EQ(Path, Dir.File("model/Tex/Wood.PNG"));
  EXPECT_TRUE(A.ResolveLoosely("C:\\Users\\bob\\maps\\BESIDE.JPG", Path, Reason)) << Reason;
  EXPECT_EQ(Path, Dir.File("model/beside.jpg"));
  // An outside name stays refused as outside, even when its bare name is not beside.
  EXPECT_FALSE(A.ResolveLoosely("../secret.txt", Path, Reason));
  EXPECT_EQ(Reason, "lies outside the model's folder");
}

}  // namespace
}  // namespace lumox
