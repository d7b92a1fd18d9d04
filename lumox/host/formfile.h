// Form files (.lumform): the components of an owner, each with its class, name and
// stored properties, as text a person can read and diff; written and read through the
// published-property table. docs/forms.md describes the format.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "lumox/host/proptable.h"

namespace lumox {

// A form file that cannot be read (or a form that cannot be written): the message
// names the file, the line and the property, as "app.lumform:12: Ball.Radius: ...".
class EFormError : public Exception {
 public:
  EFormError(const std::string& FileName, int Line, const std::string& Property,
             const std::string& Message);
  const std::string& FileName() const { return FFileName; }
  // From 1; 0 when the error concerns no line (writing).
  int Line() const { return FLine; }
  // The component, object and property path: "Ball.Transformation.Scale.Z".
  const std::string& Property() const { return FProperty; }
  // The message without the place.
  const std::string& Reason() const { return FReason; }

 private:
  std::string FFileName;
  int FLine;
  std::string FProperty;
  std::string FReason;
};

// Writes Owner's components (and, nested, those a node owns) with their stored
// properties. Throws EFormError when a component cannot be held by a form (a class
// without a factory, a reference to a component outside the form or without a name);
// nothing is written then.
void WriteComponentForm(TComponent* Owner, std::ostream& Stream);
std::string ComponentFormText(TComponent* Owner);
// Writes the form to a temporary file beside FileName and renames it over the file
// only when complete, so a failed save leaves the old file as it was.
void SaveComponentForm(TComponent* Owner, const std::string& FileName);

// Reads a form's components into Owner and returns them (those directly under it), in
// file order. References are resolved once every component is read, so they may point
// forward. On any error, EFormError naming SourceName, the line and the property, and
// Owner is left exactly as before: every component the read made is freed.
std::vector<TComponent*> ReadComponentForm(TComponent* Owner, std::istream& Stream,
                                           const std::string& SourceName);
std::vector<TComponent*> ReadComponentFormText(TComponent* Owner, std::string_view Text,
                                               const std::string& SourceName);
std::vector<TComponent*> LoadComponentForm(TComponent* Owner, const std::string& FileName);

// What a data entry writes its value with (TLumFormEntry::Write). Words, strings and
// numbers are items; inside a list they are separated by commas.
class TLumFormWriter {
 public:
  void WriteInteger(int64_t Value);
  void WriteFloat(double Value);
  void WriteSingle(float Value);
  void WriteBoolean(bool Value);
  void WriteString(const std::string& Value);
  // A name: a value name, GL_TRIANGLES.
  void WriteIdent(const std::string& Value);
  // A component by its name path from the form's owner ("Root.Ball"), or "#N" for the
  // N-th component that the component being written owns when it has no name; Marked
  // prefixes "@" (a node's items it only refers to). Throws EFormError for a
  // component the form cannot name.
  void WriteReference(const TComponent* Value, bool Marked = false);
  void WriteListBegin();
  void WriteListEnd();
  // The next item starts a line of its own (long lists: a point per line).
  void NewLine();

 private:
  friend class TLumFormWriterImpl;
  explicit TLumFormWriter(class TLumFormWriterImpl& Impl) : FImpl(Impl) {}
  class TLumFormWriterImpl& FImpl;
};

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
