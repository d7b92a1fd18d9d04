// The rule for files that other files name: allowed folders, resolved links, regular
// files within a size bound, no kernel file systems; and names matched as their authors
// meant them (backslashes, case).
#include "lumox/host/files.h"

#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "lumox/host/classes.h"

namespace lumox {

namespace fs = std::filesystem;

namespace {

fs::path Absolute(const fs::path& P) {
  std::error_code Ec;
  fs::path A = fs::absolute(P, Ec);
  return (Ec ? P : A).lexically_normal();
}

fs::path Resolved(const fs::path& P) {
  std::error_code Ec;
  fs::path C = fs::weakly_canonical(P, Ec);
  return Ec ? P : C;
}

std::string WithSlash(std::string S) {
  if (S.empty() || S.back() != '/') S += '/';
  return S;
}

// Kernel and device file systems: their "regular" files are no data a model can hold.
bool SpecialFileSystem(const std::string& Path) {
  for (const char* Prefix : {"/proc/", "/sys/", "/dev/"})
    if (Path.rfind(Prefix, 0) == 0) return true;
  struct statfs F {};
  if (statfs(Path.c_str(), &F) != 0) return false;
  switch (static_cast<unsigned long>(F.f_type)) {
    case 0x9fa0:      // proc
    case 0x62656572:  // sysfs
    case 0x1cd1:      // devpts
    case 0x64626720:  // debugfs
    case 0x74726163:  // tracefs
    case 0x27e0eb:    // cgroup
    case 0x63677270:  // cgroup2
    case 0x73636673:  // securityfs
    case 0xcafe4a11:  // bpf
      return true;
    default:
      return false;
  }
}

// Entry Name of Dir, or one whose name differs from it only in case.
bool FindLoosely(const fs::path& Dir, const std::string& Name, fs::path& Found) {
  std::error_code Ec;
  if (fs::exists(Dir / Name, Ec)) return Found = Dir / Name, true;
  for (fs::directory_iterator It(Dir, Ec), End; !Ec && It != End; It.increment(Ec))
    if (SameText(It->path().filename().string(), Name)) return Found = It->path(), true;
  return false;
}

}  // namespace

TLumFileAccess::TLumFileAccess(const std::string& File, const std::vector<std::string>& Roots,
                               uint64_t MaxSize, const std::string& Kind)
    : FMaxSize(MaxSize), FKind(Kind) {
  const fs::path F = Absolute(File);
  FFolder = F.parent_path().string();
  auto Allow = [this](const fs::path& Dir) {
    for (const fs::path& D : {Absolute(Dir), Resolved(Absolute(Dir))}) {
      const std::string S = WithSlash(D.string());
      if (std::find(FAllowed.begin(), FAllowed.end(), S) == FAllowed.end()) FAllowed.push_back(S);
    }
  };
  Allow(F.parent_path());
  Allow(Resolved(F).parent_path());
  for (const std::string& R : Roots)
    if (!R.empty()) Allow(R);
}

bool TLumFileAccess::Inside(const std::string& Absolute) const {
  return std::any_of(FAllowed.begin(), FAllowed.end(),
                     [&](const std::string& A) { return Absolute.rfind(A, 0) == 0; });
}

bool TLumFileAccess::Readable(const std::string& Path, uint64_t MaxSize, std::string& Reason) {
  struct stat St {};
  if (stat(Path.c_str(), &St) != 0) {
    Reason = errno == ENOENT || errno == ENOTDIR ? "does not exist" : std::strerror(errno);
    return false;
  }
  if (!S_ISREG(St.st_mode) || SpecialFileSystem(Path)) {
    Reason = S_ISDIR(St.st_mode) ? "is a folder" : "is not a regular file";
    return false;
  }
  if (static_cast<uint64_t>(St.st_size) > MaxSize) {
    Reason = "is " + std::to_string(St.st_size) + " bytes, more than the bound of " +
             std::to_string(MaxSize) + " bytes";
    return false;
  }
  return true;
}

bool TLumFileAccess::Resolve(const std::string& Name, std::string& Path, std::string& Reason,
                             const std::string& From) const {
  std::string N = Name;
  std::replace(N.begin(), N.end(), '\\', '/');
  if (N.empty() || N.find('\0') != std::string::npos) {
    Reason = "is no file name";
    return false;
  }
  fs::path P(N);
  if (P.is_relative()) P = (From.empty() ? fs::path(FFolder) : Absolute(From).parent_path()) / P;
  P = Absolute(P);
  // Outside is said before anything is looked up, so that the answer is the same
  // whether such a file exists or not.
  const std::string Outside = "lies outside the " + FKind + "'s folder";
  if (!Inside(P.string())) return Reason = Outside, false;
  const fs::path C = Resolved(P);
  if (!Inside(C.string())) return Reason = Outside, false;
  if (!Readable(C.string(), FMaxSize, Reason)) return false;
  Path = C.string();
  return true;
}

bool TLumFileAccess::ResolveLoosely(const std::string& Name, std::string& Path,
                                    std::string& Reason) const {
  if (Resolve(Name, Path, Reason)) return true;
  const std::string First = Reason;
  std::string Ignored;
  // Relative names folder by folder without regard to case, where the name lies within
  // the allowed folders (nothing outside them is looked at); a name from the root of a
  // Windows drive ("\\..\\maps\\x.jpg") is taken as meant from the file's folder.
  auto Loosely = [&](std::string N) {
    std::replace(N.begin(), N.end(), '\\', '/');
    const fs::path Rel = fs::path(N).lexically_normal();
    if (!Rel.is_relative() || Rel.empty() || !Inside(Absolute(fs::path(FFolder) / Rel).string()))
      return false;
    fs::path Dir = FFolder;
    for (const fs::path& Part : Rel) {
      if (Part == "..")
        Dir = Dir.parent_path();
      else if (Part != "." && !FindLoosely(Dir, Part.string(), Dir))
        return false;
    }
    return Resolve(Dir.string(), Path, Ignored);
  };
  if (Loosely(Name)) return true;
  if (Name.size() > 1 && Name[0] == '\\' && Name[1] != '\\' && Loosely(Name.substr(1))) return true;
  // The bare name beside the file: paths of the author's own machine.
  std::string N = Name;
  std::replace(N.begin(), N.end(), '\\', '/');
  const std::string Bare = fs::path(N).filename().string();
  fs::path Beside;
  if (!Bare.empty() && Bare != ".." && Bare != "." && FindLoosely(FFolder, Bare, Beside) &&
      Resolve(Beside.string(), Path, Ignored))
    return true;
  Reason = First;
  return false;
}

}  // namespace lumox
