// Registration of the library's render classes and class tables, unit by unit, in a
// fixed order.
#pragma once

namespace lumox::detail {

// Called once, on the first use of the render-class registry.
void RegisterUnitClasses();
// Called once, on the first use of the class tables (host/proptable.h).
void RegisterUnitPropertyTables();

// Each unit's class tables, registered at the end of its source file.
void RegisterLumclassProperties();
void RegisterLumcompProperties();
void RegisterLumobjProperties();
void RegisterLummatProperties();
void RegisterLumattrProperties();
void RegisterLumlightProperties();
void RegisterLumtexProperties();
void RegisterLumclipProperties();
void RegisterLumcamProperties();
void RegisterLumcntrlProperties();
void RegisterLumtimerProperties();
void RegisterLumcanvasviewProperties();
void RegisterLumviewProperties();
void RegisterLumprimclassesProperties();
void RegisterLumprimitiveobjProperties();
void RegisterLumgeomProperties();
void RegisterLumshapeProperties();
void RegisterLumcustomfuncobjProperties();
void RegisterLumfuncobjProperties();
void RegisterLumcustomrotobjProperties();
void RegisterLumrotobjProperties();
void RegisterLumpolygonProperties();
void RegisterLumpointsetProperties();
void RegisterLumtubeProperties();
void RegisterLum3dobjProperties();
void RegisterLumtextProperties();
void RegisterLumexchangeProperties();
void RegisterLumdxfimportProperties();

}  // namespace lumox::detail
