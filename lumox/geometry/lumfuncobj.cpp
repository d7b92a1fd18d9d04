// Registration of the function surface component.
#include "lumox/geometry/lumfuncobj.h"

#include "lumox/host/proptable.h"

namespace lumox {

void RegisterLumfuncobjClasses() { RegisterRenderClass<TLumFuncObj>(); }

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumfuncobjProperties();
}  // namespace detail

void detail::RegisterLumfuncobjProperties() {
  TLumClassTable<TLumFuncObj, TLumCustomFuncObj> T(
      "TLumFuncObj", "Lumox Obj", "A surface swept from the program's curve and sweep functions");
  T.Creatable();
  for (const char* Name : {"OverDraw", "OnCalcXY", "OnCalcZ", "TextureFlags", "Stacks", "Slices"})
    T.Publish(Name);
}

}  // namespace lumox
