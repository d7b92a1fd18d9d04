// Test helpers for files: a temporary folder that removes itself, whole-file reads and
// writes, the message of a thrown Exception, and a save-then-load round trip of one
// component through a scene file.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string>

#include "lumox/exchange/lumexchange.h"
#include "lumox/scene/lumobj.h"

namespace lumox::test {

// A new folder under /tmp, removed with everything in it at the end of the scope.
class TempDir {
 public:
  TempDir() {
    char Name[] = "/tmp/lumox-test-XXXXXX";
    if (!mkdtemp(Name)) throw std::runtime_error("cannot create a temporary folder");
    FPath = Name;
  }
  ~TempDir() {
    std::error_code Ec;
    std::filesystem::remove_all(FPath, Ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& Path() const { return FPath; }
  std::string File(const std::string& Name) const { return (FPath / Name).string(); }

 private:
  std::filesystem::path FPath;
};

inline std::string ReadText(const std::string& FileName) {
  std::ifstream In(FileName, std::ios::binary);
  std::stringstream S;
  S << In.rdbuf();
  return S.str();
}

inline void WriteText(const std::string& FileName, const std::string& Text) {
  std::ofstream(FileName, std::ios::binary) << Text;
}

// The message of the Exception that Run throws; "(nothing thrown)" when it returns.
template <typename F>
std::string Thrown(F&& Run) {
  try {
    Run();
  } catch (const Exception& E) {
    return E.what();
  }
  return "(nothing thrown)";
}

// Writes Source as the only object of FileName.
inline void SaveComponent(TLumComponent* Source, const std::string& FileName,
                          bool NoDefaultValues = false) {
  TLumExchange Ex(nullptr);
  Ex.SetFileName(FileName);
  Ex.SetNoDefaultValues(NoDefaultValues);
  Ex.SaveObj(Source);
  Ex.SavetoFile(nullptr);
}

// Loads FileName into a new node owned by Owner and returns the node's first item as
// a T, or nullptr.
template <typename T>
T* LoadComponent(TComponent* Owner, const std::string& FileName) {
  auto* Node = new TLumNode(Owner);
  TLumExchange Ex(nullptr);
  Ex.SetFileName(FileName);
  Ex.LoadfromFile(Node);
  return Node->GetCount() > 0 ? dynamic_cast<T*>(Node->GetItems(0)) : nullptr;
}

// The text of FileName after saving Source into it.
inline std::string SavedText(TLumComponent* Source, const std::string& FileName,
                             bool NoDefaultValues = false) {
  SaveComponent(Source, FileName, NoDefaultValues);
  return ReadText(FileName);
}

// Saves Source with and without default values: each text must hold every one of
// Attributes, and loading it and saving what was loaded must give the same text again.
// Returns what was loaded from the text without default values, or nullptr.
template <typename T>
T* ExpectRoundTrip(T* Source, TComponent* Owner, const TempDir& Dir,
                   std::initializer_list<const char*> Attributes) {
  T* Loaded = nullptr;
  for (bool NoDefaults : {false, true}) {
    SCOPED_TRACE(NoDefaults ? "without defaults" : "with defaults");
    const std::string Saved = SavedText(Source, Dir.File("a.xml"), NoDefaults);
    for (const char* A : Attributes) EXPECT_NE(Saved.find(A), std::string::npos) << A;
    Loaded = LoadComponent<T>(Owner, Dir.File("a.xml"));
    if (!Loaded) {
      ADD_FAILURE() << "nothing loaded for " << Source->ClassName();
      return nullptr;
    }
    EXPECT_STREQ(Loaded->ClassName(), Source->ClassName());
    EXPECT_EQ(Saved, SavedText(Loaded, Dir.File("b.xml"), NoDefaults));
  }
  return Loaded;
}

// A copy made by Assign saves the same text as Source.
template <typename T>
void ExpectAssignCopies(T* Source, const TempDir& Dir) {
  T Copy(nullptr);
  Copy.Assign(Source);
  EXPECT_EQ(SavedText(&Copy, Dir.File("c.xml")), SavedText(Source, Dir.File("d.xml")));
}

}  // namespace lumox::test
