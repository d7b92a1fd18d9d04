// Form files (.lumform): the components of an owner, each with its class, name and
// stored properties, as text a person can read and diff; written and read through the
// published-property table (reading in formreader.h, which this header includes).
// docs/forms.md describes the format.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "lumox/host/formreader.h"
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

}  // namespace lumox
