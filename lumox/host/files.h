// Which files a reader may open on behalf of a file that may come from anyone: regular
// files under the file's own folder (and folders the caller adds), links resolved, up to
// a size bound; special files and kernel file systems never. Refusals say why in words
// and never tell whether a file outside the allowed folders exists.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lumox {

class TLumFileAccess {
 public:
  // Files under the folder of File (as named and with its links resolved) and under each
  // folder of Roots, of at most MaxSize bytes. Kind names File in reasons ("model").
  TLumFileAccess(const std::string& File, const std::vector<std::string>& Roots, uint64_t MaxSize,
                 const std::string& Kind = "file");

  // The path to open for Name, a name the file gives: relative names are taken from
  // From's folder (the file's own when empty), and a backslash separates folders as a
  // slash does. False, with Reason ("lies outside the model's folder", "does not
  // exist", ...), when it may not be opened.
  bool Resolve(const std::string& Name, std::string& Path, std::string& Reason,
               const std::string& From = "") const;
  // Resolve, and when the name as given does not exist, the same name matched without
  // regard to case folder by folder, then the bare file name in the file's own folder:
  // the names authors give textures on other systems.
  bool ResolveLoosely(const std::string& Name, std::string& Path, std::string& Reason) const;
  // Whether Path itself may be read: a regular file within the size bound and on no
  // special file system (the file itself passes this test, whatever folder it is in).
  static bool Readable(const std::string& Path, uint64_t MaxSize, std::string& Reason);

  const std::string& Folder() const { return FFolder; }
  uint64_t MaxSize() const { return FMaxSize; }

 private:
  bool Inside(const std::string& Absolute) const;
  std::string FFolder;                // the file's own folder, absolute
  std::vector<std::string> FAllowed;  // folders, as named and resolved, with a final '/'
  uint64_t FMaxSize;
  std::string FKind;
};

}  // namespace lumox
