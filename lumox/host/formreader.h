// Reading form files (the reading half of the form-file unit, lumox/host/formfile.h):
// the functions that read a form into an owner, and the reader data entries use.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {

// Reads a form's components into Owner and returns them (those directly under it), in
// file order. References are resolved once every component is read, so they may point
// forward. On any error, EFormError naming SourceName, the line and the property, and
// Owner is left exactly as before: every component the read made is freed.
std::vector<TComponent*> ReadComponentForm(TComponent* Owner, std::istream& Stream,
                                           const std::string& SourceName);
std::vector<TComponent*> ReadComponentFormText(TComponent* Owner, std::string_view Text,
                                               const std::string& SourceName);
std::vector<TComponent*> LoadComponentForm(TComponent* Owner, const std::string& FileName);

// What a data entry reads its value with (TLumFormEntry::Read); each call reads one
// item, and a comma after it. Wrong input throws EFormError naming the place.
class TLumFormReader {
 public:
  int64_t ReadInteger();
  double ReadFloat();
  float ReadSingle();
  bool ReadBoolean();
  std::string ReadString();
  std::string ReadIdent();
  // Reads a reference; Apply receives the component once every component is read.
  // Returns whether it was marked with "@".
  bool ReadReference(std::function<void(TComponent*)> Apply);
  void ReadListBegin();
  // Whether the list's ")" comes next.
  bool EndOfList();
  void ReadListEnd();
  [[noreturn]] void Error(const std::string& Message) const;
  // The line being read.
  int Line() const;

 private:
  friend class TLumFormReaderImpl;
  explicit TLumFormReader(class TLumFormReaderImpl& Impl) : FImpl(Impl) {}
  class TLumFormReaderImpl& FImpl;
};

}  // namespace lumox
