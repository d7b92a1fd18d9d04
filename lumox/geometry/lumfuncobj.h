// TLumFuncObj: the function surface as a scene component.
#pragma once

#include "lumox/geometry/lumcustomfuncobj.h"

namespace lumox {

class TLumFuncObj : public TLumCustomFuncObj {
 public:
  explicit TLumFuncObj(TComponent* AOwner) : TLumCustomFuncObj(AOwner) {}
  const char* ClassName() const override { return "TLumFuncObj"; }
};

// Registers TLumFuncObj with the render-class registry.
void RegisterLumfuncobjClasses();

}  // namespace lumox
