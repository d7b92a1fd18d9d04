// Values between Python and the property table: numbers, strings, enumerations as
// Python IntEnums, sets as frozensets of their members, colours, owned value objects
// and component references; and the module's exceptions.
#include <charconv>
#include <cmath>
#include <map>

#include "lumox/host/formfile.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

py::module_* GModule = nullptr;
PyObject* GError = nullptr;
PyObject* GConvertError = nullptr;
PyObject* GFormError = nullptr;

struct TEnumInfo {
  py::object Type;
  std::vector<std::string> Names;
  std::vector<py::object> Members;
};
// By library type name, and by Python class.
std::map<std::string, TEnumInfo*>& EnumsByName() {
  static auto* M = new std::map<std::string, TEnumInfo*>;
  return *M;
}
std::map<PyObject*, TEnumInfo*>& EnumsByType() {
  static auto* M = new std::map<PyObject*, TEnumInfo*>;
  return *M;
}

TEnumInfo& InfoOf(const py::object& Enum) {
  auto It = EnumsByType().find(Enum.ptr());
  if (It == EnumsByType().end()) throw std::logic_error("not a lumox enumeration");
  return *It->second;
}

// The double nearest to the shortest text of a float, so that 0.1f reads back as 0.1.
double SingleAsDouble(float F) {
  if (!std::isfinite(F)) return F;
  char Buf[32];
  auto R = std::to_chars(Buf, Buf + sizeof Buf, F);
  double D = F;
  std::from_chars(Buf, R.ptr, D);
  return D;
}

bool IsNumpyBool(py::handle V) { return std::string(TypeName(V)) == "numpy.bool_"; }

int64_t AsInteger(const TLumPropInfo& Prop, py::handle V) {
  if (!PyIndex_Check(V.ptr()) || PyFloat_Check(V.ptr()))
    ThrowType(PropTitle(Prop) + " takes an integer, not " + TypeName(V));
  int Overflow = 0;
  py::object I = py::reinterpret_steal<py::object>(PyNumber_Index(V.ptr()));
  if (!I) throw py::error_already_set();
  const long long N = PyLong_AsLongLongAndOverflow(I.ptr(), &Overflow);
  if (Overflow) {
    PyErr_SetString(GConvertError, (PropTitle(Prop) + " cannot take " + std::string(py::str(V)) +
                                    ": out of its type's range")
                                       .c_str());
    throw py::error_already_set();
  }
  return N;
}

double AsFloat(const TLumPropInfo& Prop, py::handle V) {
  if (PyUnicode_Check(V.ptr()) || PyBytes_Check(V.ptr()) ||
      !(PyFloat_Check(V.ptr()) || PyLong_Check(V.ptr()) || PyNumber_Check(V.ptr())))
    ThrowType(PropTitle(Prop) + " takes a number, not " + TypeName(V));
  const double D = PyFloat_AsDouble(V.ptr());
  if (D == -1.0 && PyErr_Occurred()) throw py::error_already_set();
  return D;
}

// A TColor from an int, or from (r, g, b) with components 0..1.
uint32_t AsColor(const TLumPropInfo& Prop, py::handle V) {
  if (PyIndex_Check(V.ptr()) && !PyFloat_Check(V.ptr())) {
    const int64_t N = AsInteger(Prop, V);
    if (N < 0 || N > 0xFFFFFFFFLL) {
      PyErr_SetString(GConvertError,
                      (PropTitle(Prop) + " cannot take " + std::to_string(N)).c_str());
      throw py::error_already_set();
    }
    return static_cast<uint32_t>(N);
  }
  if (PySequence_Check(V.ptr()) && !PyUnicode_Check(V.ptr()) && py::len(V) == 3) {
    py::sequence S = py::reinterpret_borrow<py::sequence>(V);
    return RGBColor(AsFloat(Prop, S[0]), AsFloat(Prop, S[1]), AsFloat(Prop, S[2]));
  }
  ThrowType(PropTitle(Prop) + " takes a colour $00BBGGRR as an int or (r, g, b), not " +
            TypeName(V));
}

}  // namespace

uint8_t ChannelByte(double C) {
  return static_cast<uint8_t>(std::lround(std::isnan(C) ? 0.0 : std::clamp(C, 0.0, 1.0) * 255.0));
}

uint32_t RGBColor(double R, double G, double B) {
  return ChannelByte(R) | uint32_t(ChannelByte(G)) << 8 | uint32_t(ChannelByte(B)) << 16;
}

// --- errors ---------------------------------------------------------------------------------

PyObject* ErrorType() { return GError; }
PyObject* ConvertErrorType() { return GConvertError; }

std::string TypeName(py::handle V) { return Py_TYPE(V.ptr())->tp_name; }

void ThrowError(const std::string& Text) {
  PyErr_SetString(GError ? GError : PyExc_RuntimeError, Text.c_str());
  throw py::error_already_set();
}

void ThrowType(const std::string& Text) {
  PyErr_SetString(PyExc_TypeError, Text.c_str());
  throw py::error_already_set();
}

namespace {

void RaiseFormError(const EFormError& E) {
  py::object Exc = py::reinterpret_borrow<py::object>(GFormError)(E.what());
  Exc.attr("file_name") = E.FileName();
  Exc.attr("line") = E.Line();
  Exc.attr("property") = E.Property();
  Exc.attr("reason") = E.Reason();
  PyErr_SetObject(GFormError, Exc.ptr());
}

// The library's exceptions; false for others.
bool RaiseLumox(std::exception_ptr P) {
  try {
    std::rethrow_exception(P);
  } catch (const EFormError& E) {
    RaiseFormError(E);
  } catch (const EConvertError& E) {
    PyErr_SetString(GConvertError, E.what());
  } catch (const Exception& E) {
    PyErr_SetString(GError, E.what());
  } catch (...) {
    return false;
  }
  return true;
}

}  // namespace

void RaisePython(std::exception_ptr P) {
  if (RaiseLumox(P)) return;
  try {
    std::rethrow_exception(P);
  } catch (py::error_already_set& E) {
    E.restore();
  } catch (const py::builtin_exception& E) {
    E.set_error();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& E) {
    PyErr_SetString(PyExc_RuntimeError, E.what());
  } catch (...) {
    PyErr_SetString(PyExc_RuntimeError, "an unknown C++ exception");
  }
}

void RegisterErrors(py::module_& M) {
  GError = PyErr_NewExceptionWithDoc(
      "lumox.Error",
      "A failure of the library, with its message (a file that cannot be read, a freed "
      "component used, ...).",
      nullptr, nullptr);
  py::tuple ConvertBases =
      py::make_tuple(py::handle(GError), py::handle(PyExc_TypeError), py::handle(PyExc_ValueError));
  GConvertError = PyErr_NewExceptionWithDoc(
      "lumox.ConvertError",
      "A value a property cannot take: of the wrong class, or outside its type (an "
      "enumeration ordinal without a name). Also a TypeError and a ValueError.",
      ConvertBases.ptr(), nullptr);
  GFormError = PyErr_NewExceptionWithDoc(
      "lumox.FormError",
      "A form file that cannot be read or a form that cannot be written; file_name, line "
      "(from 1, 0 for none), property and reason say where and why.",
      GError, nullptr);
  if (!GError || !GConvertError || !GFormError) throw py::error_already_set();
  M.attr("Error") = py::handle(GError);
  M.attr("ConvertError") = py::handle(GConvertError);
  M.attr("FormError") = py::handle(GFormError);
  py::register_exception_translator([](std::exception_ptr P) {
    if (P && !RaiseLumox(P)) std::rethrow_exception(P);
  });
}

// --- enumerations and sets --------------------------------------------------------------------

void SetModule(py::module_& M) { GModule = new py::module_(M); }
py::module_& Module() { return *GModule; }

py::object EnumType(const std::string& TypeName, const std::vector<std::string>& Names) {
  auto& ByName = EnumsByName();
  if (auto It = ByName.find(TypeName); It != ByName.end()) {
    if (It->second->Names == Names) return It->second->Type;
    throw std::logic_error(TypeName + " has two different name tables");
  }
  std::string Short = ShortName(TypeName);
  if (py::hasattr(Module(), Short.c_str())) Short = TypeName;
  py::list Members;
  for (size_t I = 0; I < Names.size(); ++I) Members.append(py::make_tuple(Names[I], I));
  py::object Enum = py::module_::import("enum").attr("IntEnum")(
      Short, Members, py::arg("module") = "lumox", py::arg("qualname") = Short);
  Enum.attr("__doc__") = "The library's " + TypeName + ": " + [&] {
    std::string S;
    for (const auto& N : Names) S += (S.empty() ? "" : ", ") + N;
    return S;
  }() + ".";
  auto* Info = new TEnumInfo{Enum, Names, {}};
  for (size_t I = 0; I < Names.size(); ++I) Info->Members.push_back(Enum.attr(Names[I].c_str()));
  ByName[TypeName] = Info;
  EnumsByType()[Enum.ptr()] = Info;
  Module().attr(Short.c_str()) = Enum;
  if (Short != TypeName) Module().attr(TypeName.c_str()) = Enum;
  return Enum;
}

py::object EnumValue(const py::object& Enum, int64_t Ordinal) {
  const TEnumInfo& Info = InfoOf(Enum);
  if (Ordinal >= 0 && static_cast<size_t>(Ordinal) < Info.Members.size())
    return Info.Members[static_cast<size_t>(Ordinal)];
  return py::int_(Ordinal);
}

int64_t EnumOrdinal(const py::object& Enum, const std::vector<std::string>& Names, py::handle Value,
                    const std::string& What) {
  const std::string EnumName = py::str(Enum.attr("__name__"));
  if (py::isinstance(Value, Enum)) return Value.cast<int64_t>();
  if (py::isinstance(Value, py::module_::import("enum").attr("Enum")))
    ThrowType(What + " takes a " + EnumName + ", not a " + TypeName(Value));
  if (PyUnicode_Check(Value.ptr())) {
    const std::string S = Value.cast<std::string>();
    for (size_t K = 0; K < Names.size(); ++K)
      if (SameText(Names[K], S)) return static_cast<int64_t>(K);
    PyErr_SetString(GConvertError, (What + " (" + EnumName + ") has no value named " + S).c_str());
    throw py::error_already_set();
  }
  if (PyIndex_Check(Value.ptr()) && !PyFloat_Check(Value.ptr())) {
    auto Index = py::reinterpret_steal<py::object>(PyNumber_Index(Value.ptr()));
    if (!Index) throw py::error_already_set();
    int Overflow = 0;
    const long long K = PyLong_AsLongLongAndOverflow(Index.ptr(), &Overflow);
    if (K == -1 && PyErr_Occurred()) throw py::error_already_set();
    if (Overflow || K < 0 || static_cast<unsigned long long>(K) >= Names.size()) {
      PyErr_SetString(GConvertError, (What + " (" + EnumName + ") cannot take the value " +
                                      std::string(py::str(Index)))
                                         .c_str());
      throw py::error_already_set();
    }
    return K;
  }
  ThrowType(What + " takes a " + EnumName + ", not " + TypeName(Value));
}

py::object SetValue(const py::object& Enum, uint32_t Bits) {
  const TEnumInfo& Info = InfoOf(Enum);
  py::set S;
  for (size_t K = 0; K < Info.Members.size() && K < 32; ++K)
    if (Bits & (uint32_t{1} << K)) S.add(Info.Members[K]);
  return py::reinterpret_steal<py::object>(PyFrozenSet_New(S.ptr()));
}

uint32_t SetBits(const py::object& Enum, const std::vector<std::string>& Names, py::handle Value,
                 const std::string& What) {
  if (PyUnicode_Check(Value.ptr()) || PyBytes_Check(Value.ptr()) ||
      !py::isinstance<py::iterable>(Value))
    ThrowType(What + " takes a set of " + std::string(py::str(Enum.attr("__name__"))) +
              " members, not " + TypeName(Value));
  uint32_t Bits = 0;
  for (py::handle Item : Value) {
    const int64_t K = EnumOrdinal(Enum, Names, Item, What);
    if (K < 32) Bits |= uint32_t{1} << K;
  }
  return Bits;
}

// --- property values -----------------------------------------------------------------------

std::string PropTitle(const TLumPropInfo& Prop) {
  return (Prop.Declarer ? Prop.Declarer->ClassName() + "." : std::string()) + Prop.Name;
}

py::object ToPython(const TLumPropInfo& Prop, const TLumValue& V, TPyLum* Self) {
  switch (Prop.Kind) {
    case pkInteger:
      return py::int_(std::get<int64_t>(V));
    case pkEnumeration:
      return EnumValue(EnumType(Prop.TypeName, Prop.Names), std::get<int64_t>(V));
    case pkCardinal:
    case pkColor:
      return py::int_(std::get<uint32_t>(V));
    case pkSet:
      return SetValue(EnumType(Prop.TypeName, Prop.Names), std::get<uint32_t>(V));
    case pkSingle:
      return py::float_(SingleAsDouble(std::get<float>(V)));
    case pkDouble:
      return py::float_(std::get<double>(V));
    case pkBoolean:
      return py::bool_(std::get<bool>(V));
    case pkString: {
      const std::string& S = std::get<std::string>(V);
      return py::reinterpret_steal<py::object>(
          PyUnicode_DecodeUTF8(S.data(), static_cast<Py_ssize_t>(S.size()), "replace"));
    }
    case pkObject:
      return py::reinterpret_steal<py::object>(WrapValue(std::get<TPersistent*>(V), Self));
    case pkComponent:
      return py::reinterpret_steal<py::object>(Wrap(std::get<TComponent*>(V)));
    case pkEvent:
      break;
  }
  return py::none();
}

TLumValue FromPython(const TLumPropInfo& Prop, py::handle V) {
  switch (Prop.Kind) {
    case pkInteger:
      return AsInteger(Prop, V);
    case pkCardinal:
      return AsInteger(Prop, V);  // the table checks the range
    case pkColor:
      return AsColor(Prop, V);
    case pkSingle:
      return static_cast<float>(AsFloat(Prop, V));
    case pkDouble:
      return AsFloat(Prop, V);
    case pkBoolean:
      if (PyBool_Check(V.ptr()) || IsNumpyBool(V)) return PyObject_IsTrue(V.ptr()) == 1;
      ThrowType(PropTitle(Prop) + " takes True or False, not " + TypeName(V));
    case pkEnumeration:
      return EnumOrdinal(EnumType(Prop.TypeName, Prop.Names), Prop.Names, V, PropTitle(Prop));
    case pkSet:
      return SetBits(EnumType(Prop.TypeName, Prop.Names), Prop.Names, V, PropTitle(Prop));
    case pkString:
      if (!PyUnicode_Check(V.ptr()))
        ThrowType(PropTitle(Prop) + " takes a str, not " + TypeName(V));
      return V.cast<std::string>();
    case pkComponent: {
      if (V.is_none()) return static_cast<TComponent*>(nullptr);
      auto* C = dynamic_cast<TComponent*>(Unwrap(V.ptr()));
      if (!C)
        ThrowType(PropTitle(Prop) + " takes a " + ShortName(Prop.TypeName) + " or None, not " +
                  TypeName(V));
      return C;
    }
    case pkObject: {
      TPersistent* P = Unwrap(V.ptr());
      if (!P)
        ThrowType(PropTitle(Prop) + " takes a " + ShortName(Prop.TypeName) + ", not " +
                  TypeName(V));
      return P;
    }
    case pkEvent:
      break;
  }
  ThrowType(PropTitle(Prop) + " takes no value");
}

}  // namespace lumoxpy

// --- casters -----------------------------------------------------------------------------------

namespace pybind11::detail {

bool type_caster<lumox::TLumMathVector>::load(handle Src, bool) {
  if (!PySequence_Check(Src.ptr()) || PyUnicode_Check(Src.ptr())) return false;
  const Py_ssize_t N = PySequence_Size(Src.ptr());
  if (N != 3) {
    PyErr_Clear();
    return false;
  }
  double C[3];
  for (Py_ssize_t K = 0; K < 3; ++K) {
    object Item = reinterpret_steal<object>(PySequence_GetItem(Src.ptr(), K));
    if (!Item || PyUnicode_Check(Item.ptr())) {
      PyErr_Clear();
      return false;
    }
    C[K] = PyFloat_AsDouble(Item.ptr());
    if (C[K] == -1.0 && PyErr_Occurred()) {
      PyErr_Clear();
      return false;
    }
  }
  value = lumox::TLumMathVector{C[0], C[1], C[2]};
  return true;
}

}  // namespace pybind11::detail
