// The material render-state component.
#pragma once

#include "lumox/scene/lumcomp.h"

namespace lumox {

// PROVISIONAL declaration; the render-state work completes it (issue #5).
class TLumMaterial : public TLumRender {
 public:
  explicit TLumMaterial(TComponent* AOwner) : TLumRender(AOwner) {}
  const char* ClassName() const override { return "TLumMaterial"; }
};

}  // namespace lumox
