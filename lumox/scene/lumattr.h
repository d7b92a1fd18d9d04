// Render attributes (rasterisation, lighting model, blending, line and point style)
// and fog, as render-state components.
#pragma once

#include "lumox/scene/lumcomp.h"

namespace lumox {

// PROVISIONAL declaration; the render-state work completes it (issue #5).
class TLumAttributes : public TLumRender {
 public:
  explicit TLumAttributes(TComponent* AOwner) : TLumRender(AOwner) {}
  const char* ClassName() const override { return "TLumAttributes"; }
};

}  // namespace lumox
