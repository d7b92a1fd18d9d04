// libFuzzer target: a document loaded and rendered for one frame in one headless
// view that lives as long as the process.
#include <exception>

#include "fuzzscene.h"
#include "lumox/lumox.h"

using namespace lumox;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
  // Never freed: the view must outlive the library's own statics at exit.
  static TComponent* Keep = new TComponent(nullptr);
  static TLumView* View = [] {
    auto* V = new TLumView(Keep);
    V->SetBounds(48, 32);
    auto* Camera = new TLumPerspectiveCamera(Keep);
    V->SetCamera(Camera);
    SetRenderDiagnostics([](const std::string&) {});
    // A quarter of a million vertices per mesh keeps every input inside the fuzzer's
    // memory limit; the default bound costs gigabytes under the address sanitizer.
    SetMaxMeshCount(int64_t{1} << 18);
    return V;
  }();
  const std::string In = fuzz::WriteInput(Data, Size, "render.lumgl");
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumExchange X(&Form);
  X.SetFileName(In);
  try {
    X.LoadfromFile(Root);
  } catch (const Exception&) {
    return 0;
  }
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  try {
    View->Paint();  // into the view's own pbuffer: no context is made per input
  } catch (const Exception&) {
    // a mesh over the size limit refuses the frame
  }
  View->OnRender = nullptr;
  return 0;
}
