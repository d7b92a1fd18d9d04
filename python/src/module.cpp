// The extension module lumox._lumox: the classes made from the property table, the
// hand-written parts, and a capsule through which other extensions (the benchmark's)
// reach the objects.
#include "lumox/package/lumpackage.h"
#include "lumoxpy.h"

namespace lumoxpy {

namespace {

// What an extension of the same build may call: from a Python object to its library
// object (raising for a freed one) and back.
struct TCApi {
  lumox::TPersistent* (*Unwrap)(PyObject*);
  PyObject* (*Wrap)(lumox::TPersistent*);
};
const TCApi GCApi{&Unwrap, &Wrap};

// Every enumeration and set the table names gets its Python enumeration at import.
void RegisterTableEnums() {
  for (const lumox::TLumClassInfo* Info : lumox::GetClassInfos())
    for (const lumox::TLumPropInfo* P : Info->Properties())
      if (P->Kind == lumox::pkEnumeration || P->Kind == lumox::pkSet)
        EnumType(P->TypeName, P->Names);
}

}  // namespace

}  // namespace lumoxpy

PYBIND11_MODULE(_lumox, M) {
  using namespace lumoxpy;
  M.doc() =
      "Lumox: components for interactive 3D scenes drawn with OpenGL, headless through EGL. "
      "Every class of the library is here with its published properties (snake_case, and "
      "the library's names too), made from the library's property table.";
  SetModule(M);
  RegisterErrors(M);
  RegisterClasses(M);
  RegisterTableEnums();
  RegisterEvents(M);
  RegisterMethods(M);
  RegisterView(M);
  RegisterFiles(M);
  RegisterMeshes(M);
  RegisterBounds(M);
  M.attr("__version__") = lumox::LumoxVersion();
  M.attr("_C_API") = py::capsule(&GCApi, "lumox._lumox._C_API");
}
