// libFuzzer target: a document loaded into a node, saved again, and the saved file
// loaded once more, which must succeed: whatever the library writes, it reads.
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "fuzzscene.h"
#include "lumox/lumox.h"

using namespace lumox;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  const std::string In = fuzz::WriteInput(Data, Size, "in.lumgl");
  const std::string Out = (fuzz::WorkDir() / "out.lumgl").string();
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumExchange X(&Form);
  X.SetFileName(In);
  try {
    X.LoadfromFile(Root);
  } catch (const Exception&) {
    return 0;  // a clean refusal of a bad file
  }
  try {
    X.SetFileName(Out);
    X.SavetoFile(Root);
  } catch (const Exception&) {
    return 0;  // e.g. a node that holds itself
  }
  auto* Again = new TLumNode(&Form);
  try {
    X.SetFileName(Out);
    X.LoadfromFile(Again);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "a saved scene does not load: %s\n", E.what());
    std::abort();
  }
  return 0;
}
