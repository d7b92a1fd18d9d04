// TLumRotObj: the body of rotation as a scene component.
#pragma once

#include "lumox/geometry/lumcustomrotobj.h"

namespace lumox {

class TLumRotObj : public TLumCustomRotObj {
 public:
  explicit TLumRotObj(TComponent* AOwner) : TLumCustomRotObj(AOwner) {}
  const char* ClassName() const override { return "TLumRotObj"; }
};

// Registers TLumRotObj with the render-class registry.
void RegisterLumrotobjClasses();

}  // namespace lumox
