// Every unit's render classes and class tables enter their registries here, in unit
// order, so that the order does not depend on the order in which the linker runs
// static initialisers.
#include "lumox/package/lumregister.h"

#include "lumox/geometry/lum3dobj.h"
#include "lumox/geometry/lumfuncobj.h"
#include "lumox/geometry/lumgeom.h"
#include "lumox/geometry/lumpolygon.h"
#include "lumox/geometry/lumpointset.h"
#include "lumox/geometry/lumrotobj.h"
#include "lumox/geometry/lumshape.h"
#include "lumox/geometry/lumtext.h"
#include "lumox/geometry/lumtube.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lumclip.h"
#include "lumox/scene/lumlight.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumobj.h"
#include "lumox/scene/lumtex.h"

namespace lumox::detail {

void RegisterUnitClasses() {
  RegisterLumobjClasses();
  RegisterLummatClasses();
  RegisterLumattrClasses();
  RegisterLumlightClasses();
  RegisterLumtexClasses();
  RegisterLumclipClasses();
  RegisterLumgeomClasses();
  RegisterLumshapeClasses();
  RegisterLumfuncobjClasses();
  RegisterLumrotobjClasses();
  RegisterLumpolygonClasses();
  RegisterLumpointsetClasses();
  RegisterLumtubeClasses();
  RegisterLum3dobjClasses();
  RegisterLumtextClasses();
}

// Ancestors before descendants: each table extends its parent's finished one.
void RegisterUnitPropertyTables() {
  RegisterLumclassProperties();
  RegisterLumcompProperties();
  RegisterLumobjProperties();
  RegisterLummatProperties();
  RegisterLumattrProperties();
  RegisterLumlightProperties();
  RegisterLumtexProperties();
  RegisterLumclipProperties();
  RegisterLumcamProperties();
  RegisterLumcntrlProperties();
  RegisterLumtimerProperties();
  RegisterLumcanvasviewProperties();
  RegisterLumviewProperties();
  RegisterLumprimclassesProperties();
  RegisterLumprimitiveobjProperties();
  RegisterLumgeomProperties();
  RegisterLumshapeProperties();
  RegisterLumcustomfuncobjProperties();
  RegisterLumfuncobjProperties();
  RegisterLumcustomrotobjProperties();
  RegisterLumrotobjProperties();
  RegisterLumpolygonProperties();
  RegisterLumpointsetProperties();
  RegisterLumtubeProperties();
  RegisterLum3dobjProperties();
  RegisterLumtextProperties();
  RegisterLumexchangeProperties();
  RegisterLumdxfimportProperties();
}

}  // namespace lumox::detail
