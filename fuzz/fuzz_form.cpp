// libFuzzer target: a form file read into an owner; what reads must write, and the
// written form must read back to the same text.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "lumox/lumox.h"

using namespace lumox;

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
  std::string Text, Again;
  try {
    Text = ComponentFormText(&Form);
    TComponent Back(nullptr);
    ReadComponentFormText(&Back, Text, "out.lumform");
    Again = ComponentFormText(&Back);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "a form that was read does not write and read back: %s\n", E.what());
    std::abort();
  }
  if (Again != Text) {
    std::fprintf(stderr, "a form written again differs:\n%s\n---\n%s\n", Text.c_str(),
                 Again.c_str());
    std::abort();
  }
  return 0;
}
