// libFuzzer target: a DXF drawing read into an object, whose mesh is then counted and
// bounded; a refusal is an Exception, anything else is a find.
#include "fuzzscene.h"
#include "lumox/lumox.h"

using namespace lumox;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  // A million vertices keeps every drawing inside the fuzzer's memory limit.
  static const bool Bounded = (SetMaxMeshCount(int64_t{1} << 20), true);
  (void)Bounded;
  const std::string In = fuzz::WriteInput(Data, Size, "in.dxf");
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumDXFImport D(&Form);
  D.SetFileName(In);
  D.SetTarget(Root);
  try {
    D.Execute();
  } catch (const Exception&) {
    return 0;  // a clean refusal, naming the file and the line
  }
  LumCountMeshes(Root);
  LumWorldBounds(Root);
  return 0;
}
