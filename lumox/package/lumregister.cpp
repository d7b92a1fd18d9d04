// Every unit's render classes enter the registry here, in unit order, so that the
// order does not depend on the order in which the linker runs static initialisers.
#include "lumox/package/lumregister.h"

#include "lumox/scene/lumobj.h"

namespace lumox::detail {

void RegisterUnitClasses() {
  RegisterLumobjClasses();
}

}  // namespace lumox::detail
