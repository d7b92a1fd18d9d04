// libFuzzer target: a form file read into an owner; what reads must write, and writing
// and reading again must settle: the second written text reads back to itself. (The
// first may differ where a form leaves a value out on purpose: a texture's alpha of 0.)
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "lumox/lumox.h"

using namespace lumox;

namespace {

// Reads Text into a new owner and writes it again.
std::string Again(const std::string& Text) {
  TComponent Form(nullptr);
  ReadComponentFormText(&Form, Text, "again.lumform");
  return ComponentFormText(&Form);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string In(reinterpret_cast<const char*>(Data), Size);
  TComponent Form(nullptr);
  try {
    ReadComponentFormText(&Form, In, "in.lumform");
  } catch (const EFormError&) {
    if (Form.ComponentCount() != 0) {
      std::fprintf(stderr, "a failed read left %d components\n", Form.ComponentCount());
      std::abort();
    }
    return 0;  // a clean refusal of a bad file
  }
  std::string Second, Third;
  try {
    Second = Again(ComponentFormText(&Form));
    Third = Again(Second);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "a form that was read does not write and read back: %s\n", E.what());
    std::abort();
  }
  if (Third != Second) {
    std::fprintf(stderr, "a form written again differs:\n%s\n---\n%s\n", Second.c_str(),
                 Third.c_str());
    std::abort();
  }
  return 0;
}
