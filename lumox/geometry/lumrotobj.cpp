// Registration of the body-of-rotation component.
#include "lumox/geometry/lumrotobj.h"

#include "lumox/host/proptable.h"

namespace lumox {

void RegisterLumrotobjClasses() { RegisterRenderClass<TLumRotObj>(); }

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumrotobjProperties();
}  // namespace detail

void detail::RegisterLumrotobjProperties() {
  TLumClassTable<TLumRotObj, TLumCustomRotObj> T(
      "TLumRotObj", "Lumox Obj", "A body of rotation of the program's profile curve about Z");
  T.Creatable();
  for (const char* Name : {"OnCalcZ", "RotStartAngle", "RotSweepAngle", "TextureFlags"})
    T.Publish(Name);
  T.DefineZero("RotSweepAngle", &TLumRotObj::RotSweepAngle);
}

}  // namespace lumox
