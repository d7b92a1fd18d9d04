// Registration of the library's render classes, unit by unit, in a fixed order.
#pragma once

namespace lumox::detail {

// Called once, on the first use of the render-class registry.
void RegisterUnitClasses();

}  // namespace lumox::detail
