// The Python module's shared pieces: the object every Python instance of a library class
// is, the registry that ties those objects to the library's objects and hears of their
// removal, value conversion through the property table, and the pybind11 casters that
// let hand-written bindings take and return library objects.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <type_traits>
#include <typeindex>
#include <utility>
#include <vector>

#include "lumox/host/classes.h"
#include "lumox/host/controls.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lummath.h"

namespace lumox {
class TApplication;
class TBitmap;
class TLum3dObj;
class TLum3dPart;
class TLumCarController;
class TLumColor;
class TLumCustomView;
class TLumDXFImport;
class TLumExchange;
class TLumMaterial;
class TLumMouseController;
class TLumNode;
class TLumPersonController;
class TLumPointSet;
class TLumPresentationController;
class TLumPrimitiveObj;
class TLumRender;
class TLumTimer;
class TLumVector;
class TLumView;
}  // namespace lumox

namespace lumoxpy {

namespace py = pybind11;

// The layout of every instance of a generated class. A Python object refers to a
// library object; it never keeps a component alive on its own, except one that Python
// made without an owner (Owned), which it frees when it goes.
struct TPyLum {
  PyObject_HEAD
      // The library object; nullptr once it was freed.
      lumox::TPersistent* Ptr;
  // The component whose removal frees Ptr: Ptr itself for a component, the component
  // holding a value object otherwise; nullptr for objects that only Python holds.
  lumox::TComponent* Guard;
  // The object a value object was reached through, kept alive so that a value object
  // of an object Python owns stays valid.
  PyObject* Parent;
  PyObject* Dict;
  PyObject* WeakList;
  // "TLumSphere \"Ball\"" once freed, for the message.
  PyObject* FreedText;
  // The class name when wrapped (a dying component reports only TComponent's).
  const char* ClassName;
  // Python made it and frees it with this object (a component: while it has no owner).
  bool Owned;
};

// --- errors ---------------------------------------------------------------------------

// lumox.Error and the classes derived from it, made by RegisterErrors.
PyObject* ErrorType();
PyObject* ConvertErrorType();
// Raises lumox.Error with the text; for use inside pybind11 bindings.
[[noreturn]] void ThrowError(const std::string& Text);
[[noreturn]] void ThrowType(const std::string& Text);
void RegisterErrors(py::module_& M);
// The name of a value's Python type, for "takes ..., not float" messages.
std::string TypeName(py::handle V);
// The object an argument gives; None (nullptr) raises TypeError with the text, which
// says what the function takes ("save_scene takes the root node").
template <typename T>
T* Needed(T* Arg, const char* Text) {
  if (!Arg) throw py::type_error(Text);
  return Arg;
}
// Sets the Python exception of a C++ one (for CPython slots outside pybind11).
void RaisePython(std::exception_ptr E);

// Guards every call from Python into the library (a pybind11 call guard): a component
// freed from a Python handler may still be on the library's stack (a view freed from its
// own on_render, an object from its on_before_render), so such frees wait until the
// outermost call returns.
struct TLibraryCall {
  TLibraryCall();
  ~TLibraryCall();
  TLibraryCall(const TLibraryCall&) = delete;
  TLibraryCall& operator=(const TLibraryCall&) = delete;
};

// --- objects ----------------------------------------------------------------------------

// Whether O is an instance of a generated class.
bool IsLumObject(PyObject* O);
// The live library object of O; raises lumox.Error when it was freed and returns
// nullptr (without an error) when O is no library object.
lumox::TPersistent* Unwrap(PyObject* O);
// The Python object of a library object (a new reference; None for nullptr). Objects
// that are not components must be reached through WrapValue.
PyObject* Wrap(lumox::TPersistent* Obj);
// The Python object of Value, an object owned by From's object.
PyObject* WrapValue(lumox::TPersistent* Value, TPyLum* From);
// The generated class of a registered class.
PyTypeObject* ClassType(const lumox::TLumClassInfo* Info);
// Makes the classes of every registered class and adds them to the module, under the
// library's name and the short one.
void RegisterClasses(py::module_& M);
// The Python class of a library class name, for hand-written methods.
py::object ClassObject(const char* LibraryName);
// Adds a hand-written method (snake_case and library name) to a generated class.
template <typename F, typename... Extra>
void AddMethod(const char* LibraryName, const char* Name, const char* CppName, F&& Fn,
               const Extra&... Ex) {
  py::object Cls = ClassObject(LibraryName);
  py::cpp_function Cf(std::forward<F>(Fn), py::name(Name), py::is_method(Cls),
                      py::sibling(py::getattr(Cls, Name, py::none())),
                      py::call_guard<TLibraryCall>(), Ex...);
  Cls.attr(Name) = Cf;
  if (CppName && std::string(CppName) != Name) Cls.attr(CppName) = Cf;
}
// Adds a read-only or read-write property made of hand-written accessors.
void AddProperty(const char* LibraryName, const char* Name, const char* CppName,
                 const py::cpp_function& Get, const py::cpp_function& Set, const char* Doc);

// A class of the module's own for a C++ class without a table (the application),
// derived from the class of BaseLibraryName; Creator makes (or finds: then it clears
// Made) its object.
PyTypeObject* MakeExtraClass(py::module_& M, const char* Name, const char* BaseLibraryName,
                             const char* Doc);
void RegisterCreator(
    PyTypeObject* Type, std::type_index CppType,
    std::function<lumox::TPersistent*(lumox::TComponent*, bool& Owned, bool& Made)> Creator);
// Takes over an object made in C++ for Python: Python frees it with its object (for
// a component, while it has no owner).
PyObject* WrapOwned(lumox::TPersistent* Obj);

// The library's lowerCamel / UpperCamel names in Python's snake_case: ColorAmbient ->
// color_ambient, OnSProgress -> on_s_progress, ID -> id.
std::string SnakeCase(const std::string& Name);
// The class and enumeration names without the library's prefix: TLumSphere -> Sphere,
// TAlign -> Align; names that would not be identifiers keep "Lum" (Lum3dObj).
std::string ShortName(const std::string& LibraryName);

// --- values -----------------------------------------------------------------------------

// The Python enumeration (an IntEnum) of a library enumeration type, made on first use
// and added to the module under both names.
py::object EnumType(const std::string& TypeName, const std::vector<std::string>& Names);
// The same for a C++ enumeration with its name table.
template <size_t N>
py::object EnumType(const char* TypeName, const char* const (&Names)[N]) {
  return EnumType(TypeName, std::vector<std::string>(Names, Names + N));
}
// The enumeration member of an ordinal (an int when the ordinal has no name).
py::object EnumValue(const py::object& Enum, int64_t Ordinal);
// An ordinal from a member of Enum, a value name (case-insensitive) or an int; raises
// TypeError or ValueError naming What.
int64_t EnumOrdinal(const py::object& Enum, const std::vector<std::string>& Names, py::handle Value,
                    const std::string& What);
// A set as a frozenset of members, and back from any iterable of members, names or
// ordinals.
py::object SetValue(const py::object& Enum, uint32_t Bits);
uint32_t SetBits(const py::object& Enum, const std::vector<std::string>& Names, py::handle Value,
                 const std::string& What);
void SetModule(py::module_& M);
py::module_& Module();

// A colour channel 0..1 as a byte: clamped, NaN as 0, halves rounded up (0.5/255 -> 1).
uint8_t ChannelByte(double C);
// The colour $00BBGGRR of red, green and blue 0..1, each as ChannelByte makes it.
uint32_t RGBColor(double R, double G, double B);

// A property's value in Python, and a Python value for a property (raising TypeError or
// ValueError naming the property for values of the wrong type).
py::object ToPython(const lumox::TLumPropInfo& Prop, const lumox::TLumValue& Value, TPyLum* Self);
lumox::TLumValue FromPython(const lumox::TLumPropInfo& Prop, py::handle Value);
// "TLumSphere.Radius".
std::string PropTitle(const lumox::TLumPropInfo& Prop);

// --- events -----------------------------------------------------------------------------

// Whether events of this handler type can take Python callables.
bool HasEventAdapter(std::type_index Type);
// Puts a Python callable (None clears) into the event field at Field, a handler of type
// Type of the component Comp; What names the event in errors.
void SetEventAt(std::type_index Type, void* Field, lumox::TComponent* Comp, py::handle Callable,
                const std::string& What);
// The Python callable in an event field; None when it is empty; a callable that calls
// the C++ handler when one was set in C++.
py::object GetEventAt(std::type_index Type, void* Field);
// The garbage collector's view of handlers: the Python callables set on components
// that Root owns (at any depth), and dropping them to break a cycle.
int VisitHandlers(lumox::TComponent* Root, visitproc Visit, void* Arg);
void ClearHandlers(lumox::TComponent* Root);
// A component was freed: its handlers no longer count as held by its owners.
void ForgetHandlersOf(lumox::TComponent* Comp);
// Frees Comp now, or after the library call that runs the current handler returns;
// OnlyUnowned: then only if it has no owner (a Python object's own component).
void FreeComponent(lumox::TComponent* Comp, bool OnlyUnowned);
// Whether Python code runs under a library call (a handler, or the collector inside a
// call), so that what the library may be walking must not be freed now.
bool InHandler();
// Whether the interpreter still runs (false once it finalized: handlers of objects
// that outlive it are then left alone).
bool PythonAlive();
void RegisterEvents(py::module_& M);
// The shift state (a frozenset of ShiftStateItem) and mouse button of input, as Python
// gives and takes them.
py::object ShiftToPython(lumox::TShiftState S);
lumox::TShiftState ShiftFromPython(py::handle V);
lumox::TMouseButton ButtonFromPython(py::handle V);

// The components in Marked (a set, or a map keyed by component) that are Root or owned
// by it at any depth, found by whichever is shorter, Marked or Root's tree: the
// collector's traverse of a root costs at most its tree, however many others there are.
inline lumox::TComponent* KeyOf(lumox::TComponent* C) { return C; }
template <typename V>
lumox::TComponent* KeyOf(const std::pair<lumox::TComponent* const, V>& P) {
  return P.first;
}
template <typename TMarked>
std::vector<lumox::TComponent*> MarkedUnder(lumox::TComponent* Root, const TMarked& Marked) {
  std::vector<lumox::TComponent*> Found;
  if (Marked.empty()) return Found;
  if (Marked.size() <= static_cast<size_t>(Root->ComponentCount()) + 1) {
    for (const auto& E : Marked)
      for (lumox::TComponent* C = KeyOf(E); C; C = C->Owner())
        if (C == Root) {
          Found.push_back(KeyOf(E));
          break;
        }
    return Found;
  }
  std::vector<lumox::TComponent*> Stack{Root};
  while (!Stack.empty()) {
    lumox::TComponent* C = Stack.back();
    Stack.pop_back();
    if (Marked.count(C)) Found.push_back(C);
    for (int I = 0; I < C->ComponentCount(); ++I) Stack.push_back(C->Components(I));
  }
  return Found;
}

// --- the registry of Python objects ---------------------------------------------------

// Keeps Comp told to the module when it dies (for handlers of components without a
// Python object).
void WatchComponent(lumox::TComponent* Comp);
// Comp got or lost its owner: its object, when of a Python subclass, is then held for as
// long as the component lives, or let go.
void OwnerChanged(lumox::TComponent* Comp);

// --- hand-written parts -----------------------------------------------------------------

void RegisterMethods(py::module_& M);
void RegisterView(py::module_& M);
void RegisterFiles(py::module_& M);
void RegisterMeshes(py::module_& M);
void RegisterBounds(py::module_& M);

}  // namespace lumoxpy

// --- casters ------------------------------------------------------------------------------

namespace lumoxpy {

// The Python names of the classes that hand-written signatures use, for docstrings and
// the stubs.
template <typename T>
inline constexpr auto PyNameOf = py::detail::const_name("lumox.Persistent");
// One line a class: PyNameOf<Type> is "lumox." Name.
#define LUMOXPY_PY_NAME(Type, Name) \
  template <>                       \
  inline constexpr auto PyNameOf<Type> = py::detail::const_name("lumox." Name)
LUMOXPY_PY_NAME(lumox::TComponent, "Component");
LUMOXPY_PY_NAME(lumox::TLumCustomView, "CustomView");
LUMOXPY_PY_NAME(lumox::TLumView, "View");
LUMOXPY_PY_NAME(lumox::TLumRender, "Render");
LUMOXPY_PY_NAME(lumox::TLumNode, "Node");
LUMOXPY_PY_NAME(lumox::TLumVector, "Vector");
LUMOXPY_PY_NAME(lumox::TLumColor, "Color");
LUMOXPY_PY_NAME(lumox::TLumTimer, "Timer");
LUMOXPY_PY_NAME(lumox::TBitmap, "Bitmap");
LUMOXPY_PY_NAME(lumox::TLum3dObj, "Lum3dObj");
LUMOXPY_PY_NAME(lumox::TLum3dPart, "Lum3dPart");
LUMOXPY_PY_NAME(lumox::TLumPointSet, "PointSet");
LUMOXPY_PY_NAME(lumox::TLumPrimitiveObj, "PrimitiveObj");
LUMOXPY_PY_NAME(lumox::TLumMaterial, "Material");
LUMOXPY_PY_NAME(lumox::TLumExchange, "Exchange");
LUMOXPY_PY_NAME(lumox::TLumDXFImport, "DXFImport");
LUMOXPY_PY_NAME(lumox::TLumCarController, "CarController");
LUMOXPY_PY_NAME(lumox::TLumPersonController, "PersonController");
LUMOXPY_PY_NAME(lumox::TLumMouseController, "MouseController");
LUMOXPY_PY_NAME(lumox::TLumPresentationController, "PresentationController");
LUMOXPY_PY_NAME(lumox::TApplication, "Application");
#undef LUMOXPY_PY_NAME

}  // namespace lumoxpy

namespace pybind11::detail {

// Library objects pass as the module's objects: a freed one raises lumox.Error, None
// passes as nullptr.
template <typename T>
struct type_caster<T, std::enable_if_t<std::is_base_of_v<lumox::TObject, T>>> {
  T* value = nullptr;
  static constexpr auto name = lumoxpy::PyNameOf<T>;
  template <typename T_>
  using cast_op_type = pybind11::detail::cast_op_type<T_>;

  bool load(handle Src, bool) {
    if (Src.is_none()) {
      value = nullptr;
      return true;
    }
    lumox::TPersistent* P = lumoxpy::Unwrap(Src.ptr());
    if (!P) return false;
    value = dynamic_cast<T*>(P);
    return value != nullptr;
  }
  static handle cast(const T* Src, return_value_policy, handle) {
    auto* Obj = const_cast<T*>(Src);
    if constexpr (std::is_base_of_v<lumox::TPersistent, T>)
      return lumoxpy::Wrap(static_cast<lumox::TPersistent*>(Obj));
    else
      return lumoxpy::Wrap(dynamic_cast<lumox::TPersistent*>(Obj));
  }
  static handle cast(const T& Src, return_value_policy P, handle H) { return cast(&Src, P, H); }
  operator T*() { return value; }
  operator T&() {
    if (!value) throw reference_cast_error();
    return *value;
  }
};

// Points and vectors as (x, y, z) tuples; any sequence of three numbers passes in.
template <>
struct type_caster<lumox::TLumMathVector> {
  PYBIND11_TYPE_CASTER(lumox::TLumMathVector, const_name("tuple[float, float, float]"));
  bool load(handle Src, bool);
  static handle cast(const lumox::TLumMathVector& V, return_value_policy, handle) {
    return make_tuple(V.X, V.Y, V.Z).release();
  }
};

}  // namespace pybind11::detail
