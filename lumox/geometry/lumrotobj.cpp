// Registration of the body-of-rotation component.
#include "lumox/geometry/lumrotobj.h"

#include "lumox/host/proptable.h"
#include "lumox/package/lumregister.h"

namespace lumox {

void RegisterLumrotobjClasses() { RegisterRenderClass<TLumRotObj>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumrotobjProperties() {
  TLumClassTable<TLumRotObj, TLumCustomRotObj> T(
      "TLumRotObj", "Lumox Obj", "A body of rotation of the program's profile curve about Z");
  T.Creatable();
  for (const char* Name : {"OnCalcZ", "RotStartAngle", "RotSweepAngle", "TextureFlags"})
    T.Publish(Name);
  T.DefineZero("RotSweepAngle", &TLumRotObj::RotSweepAngle);
}

}  // namespace lumox
