// The Python classes of the library's classes, made at import from the property table,
// and the registry that ties each Python object to its library object: one Python
// object per library object, told through the removal notification when a component
// dies, so that a reference to a freed component raises instead of crashing.
#include <pybind11/stl.h>

#include <cctype>
#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

// A component that hears of the removal of every component Python refers to.
class TPyWatcher : public TComponent {
 public:
  TPyWatcher() : TComponent(nullptr) {}

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;
};

// The Python objects that depend on one component, and whether handlers were set on it.
struct TGuard {
  std::vector<TPyLum*> Objects;
  const char* ClassName = "";
  bool Handlers = false;
  // The component's own object, held while an owner holds the component, when it is of a
  // Python subclass (see KeepSubclassObject).
  PyObject* Kept = nullptr;
};

using TCreator = std::function<TPersistent*(TComponent* AOwner, bool& Owned, bool& Made)>;

struct TRegistry {
  std::unordered_map<TComponent*, TGuard> Guards;
  std::unordered_map<const TPersistent*, TPyLum*> Identity;
  // The components whose guard keeps an object.
  std::unordered_set<TComponent*> Kept;
  std::unordered_map<const TLumClassInfo*, PyTypeObject*> Types;
  std::unordered_map<PyTypeObject*, const TLumClassInfo*> Infos;
  // Classes of the module's own for C++ classes without a table (the application; a
  // plain TComponent is an Owner), and how their Python class makes one.
  std::unordered_map<std::type_index, PyTypeObject*> Extra;
  std::unordered_map<PyTypeObject*, TCreator> Creators;
  std::unordered_map<std::string, PyObject*> ByLibraryName;
  PyTypeObject* Base = nullptr;
  TPyWatcher* Watcher = nullptr;
  // Names, documentation and attribute tables live as long as the classes.
  std::deque<std::string> Texts;
  std::deque<std::vector<PyGetSetDef>> GetSets;
  std::deque<PyTypeObject> Records;
};

// Never freed: components may die after the interpreter (static objects at exit).
TRegistry& R() {
  static auto* Reg = new TRegistry;
  return *Reg;
}

const char* Keep(std::string S) { return R().Texts.emplace_back(std::move(S)).c_str(); }

std::string Described(const char* ClassName, const TComponent* C) {
  const std::string& Name = C->Name();
  return std::string(ClassName) + (Name.empty() ? " (unnamed)" : " \"" + Name + "\"");
}

void Attach(TPyLum* W) {
  TRegistry& Reg = R();
  Reg.Identity[W->Ptr] = W;
  if (!W->Guard) return;
  auto [It, New] = Reg.Guards.try_emplace(W->Guard);
  if (New) {
    It->second.ClassName = W->Guard->ClassName();
    W->Guard->FreeNotification(Reg.Watcher);
  }
  It->second.Objects.push_back(W);
}

void Detach(TPyLum* W) {
  TRegistry& Reg = R();
  if (auto It = Reg.Identity.find(W->Ptr); It != Reg.Identity.end() && It->second == W)
    Reg.Identity.erase(It);
  if (!W->Guard) return;
  auto It = Reg.Guards.find(W->Guard);
  if (It == Reg.Guards.end()) return;
  auto& List = It->second.Objects;
  for (size_t I = List.size(); I-- > 0;)
    if (List[I] == W) {
      List[I] = List.back();
      List.pop_back();
      break;
    }
  if (List.empty() && !It->second.Handlers) {
    W->Guard->RemoveFreeNotification(Reg.Watcher);
    Reg.Guards.erase(It);
  }
}

// A component Python refers to was freed: its objects (and those of its value objects)
// now say so when used.
void Freed(TComponent* C) {
  if (!PythonAlive()) return;
  TRegistry& Reg = R();
  auto It = Reg.Guards.find(C);
  if (It == Reg.Guards.end()) return;
  TGuard G = std::move(It->second);
  Reg.Guards.erase(It);
  if (G.Handlers) ForgetHandlersOf(C);
  const std::string Owner = Described(G.ClassName, C);
  for (TPyLum* W : G.Objects) {
    if (auto I = Reg.Identity.find(W->Ptr); I != Reg.Identity.end() && I->second == W)
      Reg.Identity.erase(I);
    const std::string Text =
        W->Ptr == C ? Owner : std::string("the ") + W->ClassName + " of " + Owner;
    Py_XDECREF(W->FreedText);
    W->FreedText = PyUnicode_FromString(Text.c_str());
    W->Ptr = nullptr;
    W->Guard = nullptr;
  }
  if (G.Kept) {
    Reg.Kept.erase(C);
    Py_DECREF(G.Kept);  // last: it may run Python code
  }
}

// An object of a Python subclass carries what Python gave it (its class, methods,
// attributes); were it let go while an owner keeps its component, the component would
// come back as a plain object of its library class. So while an owner holds the
// component, the registry holds the object, and the owner's root visits it for the
// collector (a cycle through it is still collected).
void KeepSubclassObject(TPyLum* W) {
  auto* C = dynamic_cast<TComponent*>(W->Ptr);
  if (!C || C != W->Guard) return;
  TRegistry& Reg = R();
  auto It = Reg.Guards.find(C);
  if (It == Reg.Guards.end()) return;
  auto* Self = reinterpret_cast<PyObject*>(W);
  const bool Keep = (Py_TYPE(Self)->tp_flags & Py_TPFLAGS_HEAPTYPE) && C->Owner();
  TGuard& G = It->second;
  if (Keep && !G.Kept) {
    Py_INCREF(Self);
    G.Kept = Self;
    Reg.Kept.insert(C);
  } else if (!Keep && G.Kept == Self) {
    G.Kept = nullptr;
    Reg.Kept.erase(C);
    Py_DECREF(Self);  // the caller holds it too
  }
}

void TPyWatcher::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove) Freed(AComponent);
}

PyTypeObject* TypeFor(TPersistent* Obj) {
  TRegistry& Reg = R();
  if (auto It = Reg.Extra.find(typeid(*Obj)); It != Reg.Extra.end()) return It->second;
  const TLumClassInfo* Info = GetClassInfo(Obj);
  if (auto It = Reg.Types.find(Info); It != Reg.Types.end()) return It->second;
  return Reg.Base;
}

PyObject* NewObject(PyTypeObject* Type, TPersistent* Ptr, TComponent* Guard, PyObject* Parent,
                    bool Owned) {
  auto* W = reinterpret_cast<TPyLum*>(Type->tp_alloc(Type, 0));
  if (!W) throw py::error_already_set();
  W->Ptr = Ptr;
  W->Guard = Guard;
  Py_XINCREF(Parent);
  W->Parent = Parent;
  W->ClassName = Ptr->ClassName();
  W->Owned = Owned;
  Attach(W);
  return reinterpret_cast<PyObject*>(W);
}

// Frees what Python owned, unless an owner took it over meanwhile.
void FreeOwned(TPersistent* Obj) {
  if (auto* C = dynamic_cast<TComponent*>(Obj)) {
    if (!C->Owner() && !C->ComponentState().Contains(csDestroying)) FreeComponent(C, true);
    return;
  }
  delete Obj;
}

namespace {
// Map's entry for the first class on Type's method resolution order that has one: a
// Python subclass finds its library class's.
template <typename TMap>
auto OnMro(PyTypeObject* Type, TMap& Map) -> decltype(&Map.begin()->second) {
  PyObject* Mro = Type->tp_mro;
  for (Py_ssize_t I = 0; Mro && I < PyTuple_GET_SIZE(Mro); ++I) {
    auto It = Map.find(reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(Mro, I)));
    if (It != Map.end()) return &It->second;
  }
  return nullptr;
}
}  // namespace

// The class a Python class (or a Python subclass of it) stands for.
const TLumClassInfo* InfoOfType(PyTypeObject* Type) {
  const TLumClassInfo* const* Info = OnMro(Type, R().Infos);
  return Info ? *Info : nullptr;
}

const TCreator* CreatorOfType(PyTypeObject* Type) { return OnMro(Type, R().Creators); }

// Sets the keyword arguments of a constructor as properties.
void SetKeywords(PyObject* Self, PyObject* Kwds) {
  PyObject *Key, *Value;
  Py_ssize_t Pos = 0;
  while (Kwds && PyDict_Next(Kwds, &Pos, &Key, &Value)) {
    // Instances take attributes of their own, so a misspelt keyword would vanish there.
    if (!PyObject_HasAttr(reinterpret_cast<PyObject*>(Py_TYPE(Self)), Key))
      ThrowType(std::string(Py_TYPE(Self)->tp_name) + " has no property " +
                std::string(py::str(Key)));
    if (PyObject_SetAttr(Self, Key, Value) < 0) throw py::error_already_set();
  }
}

// --- the slots -------------------------------------------------------------------------

PyObject* LumNew(PyTypeObject* Type, PyObject* Args, PyObject* Kwds) {
  try {
    const TLumClassInfo* Info = InfoOfType(Type);
    const TCreator* Creator = CreatorOfType(Type);
    if (!Info) ThrowType(std::string("cannot create ") + Type->tp_name);
    // The owner: the one positional argument, or owner=.
    py::handle OwnerArg = py::none();
    const Py_ssize_t NArgs = PyTuple_GET_SIZE(Args);
    if (NArgs > 1)
      ThrowType(std::string(Type->tp_name) + "() takes at most one argument, the owner");
    if (NArgs == 1) OwnerArg = PyTuple_GET_ITEM(Args, 0);
    py::dict Props = Kwds ? py::reinterpret_borrow<py::dict>(Kwds) : py::dict();
    if (Props.contains("owner")) {
      if (NArgs == 1) ThrowType("the owner was given twice");
      OwnerArg = Props["owner"];
      Props = py::dict(Props);
      PyDict_DelItemString(Props.ptr(), "owner");
    }
    TComponent* AOwner = nullptr;
    if (!OwnerArg.is_none()) {
      AOwner = dynamic_cast<TComponent*>(Unwrap(OwnerArg.ptr()));
      if (!AOwner) ThrowType("the owner must be a lumox component, not " + TypeName(OwnerArg));
    }
    TPersistent* Obj = nullptr;
    bool Owned = !AOwner;
    bool Made = true;  // false for a singleton the creator only found
    if (Creator) {
      Obj = (*Creator)(AOwner, Owned, Made);
    } else if (Info->IsComponent()) {
      Obj = Info->Create(AOwner);
    } else {
      if (AOwner) ThrowType(Info->ClassName() + " is a value object: it takes no owner");
      Obj = Info->CreateObject().release();
      Owned = true;
    }
    TRegistry& Reg = R();
    auto* C = dynamic_cast<TComponent*>(Obj);
    PyObject* Self = nullptr;
    if (auto It = Reg.Identity.find(Obj); It != Reg.Identity.end()) {
      // A singleton (the application) has its Python object already.
      Self = reinterpret_cast<PyObject*>(It->second);
      Py_INCREF(Self);
    } else {
      Self = NewObject(Type, Obj, C, nullptr, Owned);
      KeepSubclassObject(reinterpret_cast<TPyLum*>(Self));
    }
    try {
      SetKeywords(Self, Props.ptr());
    } catch (...) {
      // A bad keyword: an object this call made goes again, also from its owner; a
      // singleton it only found stays.
      if (Made && !Owned && C) delete C;
      Py_DECREF(Self);
      throw;
    }
    return Self;
  } catch (...) {
    RaisePython(std::current_exception());
    return nullptr;
  }
}

void LumDealloc(PyObject* Self) {
  auto* W = reinterpret_cast<TPyLum*>(Self);
  PyObject_GC_UnTrack(Self);
  if (W->WeakList) PyObject_ClearWeakRefs(Self);
  TPersistent* Obj = W->Ptr;
  if (Obj) Detach(W);
  W->Ptr = nullptr;
  // Freeing may run Python code (handlers go with their component); this object is
  // out of the registry by then.
  if (W->Owned && Obj) FreeOwned(Obj);
  Py_CLEAR(W->Dict);
  Py_CLEAR(W->Parent);
  Py_CLEAR(W->FreedText);
  // A static type: its instances hold no reference to it (a Python subclass's dealloc
  // releases its own class after this returns).
  Py_TYPE(Self)->tp_free(Self);
}

// The component whose handlers this object holds for the collector: a component Python
// made and that still has no owner (owned components' handlers count as held by the
// object of the outermost owner).
TComponent* HandlerRoot(TPyLum* W) {
  if (!W->Owned || !W->Ptr) return nullptr;
  auto* C = dynamic_cast<TComponent*>(W->Ptr);
  return C && !C->Owner() ? C : nullptr;
}

// Py_VISIT needs its arguments named visit and arg. The class is not visited: ours are
// static, and a Python subclass's traverse visits its own class before calling this.
int LumTraverse(PyObject* Self, visitproc visit, void* arg) {
  auto* W = reinterpret_cast<TPyLum*>(Self);
  Py_VISIT(W->Dict);
  Py_VISIT(W->Parent);
  if (TComponent* Root = HandlerRoot(W)) {
    for (TComponent* C : MarkedUnder(Root, R().Kept)) Py_VISIT(R().Guards[C].Kept);
    return VisitHandlers(Root, visit, arg);
  }
  return 0;
}

int LumClear(PyObject* Self) {
  auto* W = reinterpret_cast<TPyLum*>(Self);
  Py_CLEAR(W->Dict);
  // Parent stays: it keeps the object Ptr lies in alive.
  if (TComponent* Root = HandlerRoot(W)) ClearHandlers(Root);
  return 0;
}

PyObject* LumRepr(PyObject* Self) {
  auto* W = reinterpret_cast<TPyLum*>(Self);
  const std::string Type = Py_TYPE(Self)->tp_name;
  std::string Text;
  if (!W->Ptr) {
    Text = "<" + Type + " (freed)>";
  } else if (auto* C = dynamic_cast<TComponent*>(W->Ptr)) {
    Text = "<" + Type + (C->Name().empty() ? "" : " \"" + C->Name() + "\"") + ">";
  } else {
    Text = "<" + Type + ">";
  }
  return PyUnicode_FromString(Text.c_str());
}

// --- properties from the table -----------------------------------------------------

PyObject* PropGet(PyObject* Self, void* Closure) {
  try {
    TLibraryCall Call;
    const auto& Prop = *static_cast<const TLumPropInfo*>(Closure);
    auto* W = reinterpret_cast<TPyLum*>(Self);
    TPersistent* Obj = Unwrap(Self);
    if (Prop.Kind == pkEvent)
      return GetEventAt(Prop.EventType, Prop.EventField(Obj)).release().ptr();
    return ToPython(Prop, Prop.GetValue(Obj), W).release().ptr();
  } catch (...) {
    RaisePython(std::current_exception());
    return nullptr;
  }
}

int PropSet(PyObject* Self, PyObject* Value, void* Closure) {
  try {
    TLibraryCall Call;
    const auto& Prop = *static_cast<const TLumPropInfo*>(Closure);
    if (!Value) ThrowType(PropTitle(Prop) + " cannot be deleted");
    TPersistent* Obj = Unwrap(Self);
    if (Prop.Kind == pkEvent) {
      SetEventAt(Prop.EventType, Prop.EventField(Obj), dynamic_cast<TComponent*>(Obj), Value,
                 PropTitle(Prop));
      return 0;
    }
    if (Prop.Kind == pkObject && !IsLumObject(Value)) {
      // A plain value for an owned object (a tuple for a vector, a colour): the object
      // takes it through its own properties.
      py::object Target = py::reinterpret_steal<py::object>(
          WrapValue(Prop.GetObject(Obj), reinterpret_cast<TPyLum*>(Self)));
      if (Target.is_none() || !py::hasattr(Target, "assign"))
        ThrowType(PropTitle(Prop) + " takes a " + Prop.TypeName + ", not " + TypeName(Value));
      Target.attr("assign")(py::handle(Value));
      return 0;
    }
    Prop.SetValue(Obj, FromPython(Prop, Value));
    return 0;
  } catch (...) {
    RaisePython(std::current_exception());
    return -1;
  }
}

std::string PropDoc(const TLumPropInfo& P) {
  std::string Doc = P.Description;
  if (!Doc.empty() && Doc.back() != '.') Doc += '.';
  Doc += "\n\n" + P.Name + ": " + P.TypeText();
  if (P.Range) Doc += ", accepts " + P.Range->ToString() + " (other values are ignored)";
  if (P.Kind != pkEvent && P.Kind != pkObject && P.HasDefault)
    Doc += ", default " + P.DefaultText();
  if (P.ReadOnly && P.Kind != pkEvent) Doc += ", read-only";
  if (P.Kind == pkObject) Doc += "; assigning copies the values in";
  return Doc + ".";
}

std::vector<PyGetSetDef>& GetSetsOf(const TLumClassInfo* Info) {
  auto& Defs = R().GetSets.emplace_back();
  auto Inherited = [&](const TLumPropInfo* P) {
    if (!Info->Parent()) return false;
    for (const TLumPropInfo* Q : Info->Parent()->Properties())
      if (Q == P) return true;
    return false;
  };
  std::vector<std::string> Used;
  auto Add = [&](const std::string& Name, const TLumPropInfo* P) {
    for (const auto& U : Used)
      if (U == Name) return;
    Used.push_back(Name);
    const bool Writable = P->Kind == pkEvent || !P->ReadOnly;
    Defs.push_back(PyGetSetDef{Keep(Name), PropGet, Writable ? PropSet : nullptr, Keep(PropDoc(*P)),
                               const_cast<void*>(static_cast<const void*>(P))});
  };
  for (const TLumPropInfo* P : Info->Properties()) {
    if (Inherited(P)) continue;
    Add(SnakeCase(P->Name), P);
    Add(P->Name, P);
  }
  Defs.push_back(PyGetSetDef{nullptr, nullptr, nullptr, nullptr, nullptr});
  return Defs;
}

// The type records of the generated classes: static types (no instance holds a
// reference to its class), filled here and readied once, living as long as the process.
PyTypeObject* MakeType(const std::string& Name, const std::string& Doc, PyTypeObject* Base,
                       std::vector<PyGetSetDef>* GetSets) {
  PyTypeObject* Type = &R().Records.emplace_back();
  Py_SET_REFCNT(reinterpret_cast<PyObject*>(Type), 1);
  Type->tp_name = Keep("lumox." + Name);
  Type->tp_basicsize = sizeof(TPyLum);
  Type->tp_doc = Keep(Doc);
  Type->tp_base = Base;
  if (GetSets) Type->tp_getset = GetSets->data();
  Type->tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  if (!Base) {
    // Derived classes inherit these (the collector's flag with traverse and clear).
    Type->tp_flags |= Py_TPFLAGS_HAVE_GC;
    Type->tp_new = LumNew;
    Type->tp_dealloc = LumDealloc;
    Type->tp_traverse = LumTraverse;
    Type->tp_clear = LumClear;
    Type->tp_repr = LumRepr;
    Type->tp_dictoffset = offsetof(TPyLum, Dict);
    Type->tp_weaklistoffset = offsetof(TPyLum, WeakList);
  }
  if (PyType_Ready(Type) < 0) throw py::error_already_set();
  // Readying marks a static type immutable; the module adds methods to its classes
  // afterwards, and Python code may add its own, as to any class.
  Type->tp_flags &= ~Py_TPFLAGS_IMMUTABLETYPE;
  return Type;
}

std::string ClassDoc(const TLumClassInfo* Info) {
  std::string Doc = Info->Description();
  if (!Doc.empty() && Doc.back() != '.') Doc += '.';
  Doc += "\n\nThe library's " + Info->ClassName();
  if (!Info->PalettePage().empty()) Doc += ", on the palette page \"" + Info->PalettePage() + "\"";
  Doc += ".";
  if (Info->IsComponent())
    Doc += Info->CanCreate()
               ? " Made with an owner that frees it (lumox.Owner()); made without one, it "
                 "belongs to its Python object and goes with it. Keyword arguments set "
                 "properties."
               : " Not made directly: only its descendants are.";
  else if (Info->CanCreateObject())
    Doc +=
        " A value object: made alone it belongs to its Python object; reached through a "
        "component's property it belongs to that component.";
  return Doc;
}

void AddClass(py::module_& M, PyTypeObject* Type, const std::string& Short,
              const std::string& Library) {
  TRegistry& Reg = R();
  M.attr(Short.c_str()) = py::handle(reinterpret_cast<PyObject*>(Type));
  if (Library != Short) M.attr(Library.c_str()) = py::handle(reinterpret_cast<PyObject*>(Type));
  Reg.ByLibraryName[Library] = reinterpret_cast<PyObject*>(Type);
}

}  // namespace

// --- the interface ------------------------------------------------------------------------

std::string SnakeCase(const std::string& Name) {
  std::string S;
  for (size_t I = 0; I < Name.size(); ++I) {
    const char C = Name[I];
    const bool Upper = std::isupper(static_cast<unsigned char>(C));
    if (Upper && I > 0) {
      const char Prev = Name[I - 1];
      const bool PrevLower = std::islower(static_cast<unsigned char>(Prev)) ||
                             std::isdigit(static_cast<unsigned char>(Prev));
      const bool NextLower =
          I + 1 < Name.size() && std::islower(static_cast<unsigned char>(Name[I + 1]));
      // ColorAmbient -> color_ambient; OnSProgress -> on_s_progress; ID -> id.
      if (PrevLower || (std::isupper(static_cast<unsigned char>(Prev)) && NextLower)) S += '_';
    }
    S += static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
  }
  return S;
}

std::string ShortName(const std::string& LibraryName) {
  auto UpperAt = [&](size_t I) {
    return I < LibraryName.size() && (std::isupper(static_cast<unsigned char>(LibraryName[I])) ||
                                      std::isdigit(static_cast<unsigned char>(LibraryName[I])));
  };
  std::string S = LibraryName;
  if (LibraryName.rfind("TLum", 0) == 0 && UpperAt(4))
    S = LibraryName.substr(4);
  else if (LibraryName.rfind("T", 0) == 0 && UpperAt(1))
    S = LibraryName.substr(1);
  if (!S.empty() && std::isdigit(static_cast<unsigned char>(S[0]))) S = "Lum" + S;
  return S;
}

bool IsLumObject(PyObject* O) { return R().Base && PyObject_TypeCheck(O, R().Base); }

TPersistent* Unwrap(PyObject* O) {
  if (!IsLumObject(O)) return nullptr;
  auto* W = reinterpret_cast<TPyLum*>(O);
  if (W->Ptr) return W->Ptr;
  py::str Text = W->FreedText ? py::reinterpret_borrow<py::str>(W->FreedText)
                              : py::str(std::string("the ") + W->ClassName);
  ThrowError(std::string(Text) + " was freed");
}

PyObject* Wrap(TPersistent* Obj) {
  if (!Obj) return py::none().release().ptr();
  TRegistry& Reg = R();
  if (auto It = Reg.Identity.find(Obj); It != Reg.Identity.end()) {
    Py_INCREF(It->second);
    return reinterpret_cast<PyObject*>(It->second);
  }
  auto* C = dynamic_cast<TComponent*>(Obj);
  if (!C) ThrowError(std::string("a ") + Obj->ClassName() + " reached outside its component");
  return NewObject(TypeFor(Obj), Obj, C, nullptr, false);
}

PyObject* WrapValue(TPersistent* Value, TPyLum* From) {
  if (!Value) return py::none().release().ptr();
  if (dynamic_cast<TComponent*>(Value)) return Wrap(Value);
  TRegistry& Reg = R();
  if (auto It = Reg.Identity.find(Value); It != Reg.Identity.end()) {
    Py_INCREF(It->second);
    return reinterpret_cast<PyObject*>(It->second);
  }
  return NewObject(TypeFor(Value), Value, From->Guard, reinterpret_cast<PyObject*>(From), false);
}

PyObject* WrapOwned(TPersistent* Obj) {
  auto* C = dynamic_cast<TComponent*>(Obj);
  return NewObject(TypeFor(Obj), Obj, C, nullptr, true);
}

PyTypeObject* ClassType(const TLumClassInfo* Info) {
  auto It = R().Types.find(Info);
  return It == R().Types.end() ? nullptr : It->second;
}

py::object ClassObject(const char* LibraryName) {
  auto It = R().ByLibraryName.find(LibraryName);
  if (It == R().ByLibraryName.end())
    throw std::logic_error(std::string("no Python class for ") + LibraryName);
  return py::reinterpret_borrow<py::object>(It->second);
}

void AddProperty(const char* LibraryName, const char* Name, const char* CppName,
                 const py::cpp_function& Get, const py::cpp_function& Set, const char* Doc) {
  py::object Cls = ClassObject(LibraryName);
  py::object Prop = py::module_::import("builtins")
                        .attr("property")(Get, Set ? py::object(Set) : py::none(), py::none(), Doc);
  Cls.attr(Name) = Prop;
  if (CppName && std::string(CppName) != Name) Cls.attr(CppName) = Prop;
}

void OwnerChanged(TComponent* Comp) {
  if (auto It = R().Identity.find(Comp); It != R().Identity.end()) KeepSubclassObject(It->second);
}

void WatchComponent(TComponent* Comp) {
  TRegistry& Reg = R();
  auto [It, New] = Reg.Guards.try_emplace(Comp);
  if (New) {
    It->second.ClassName = Comp->ClassName();
    Comp->FreeNotification(Reg.Watcher);
  }
  It->second.Handlers = true;
}

void RegisterClasses(py::module_& M) {
  TRegistry& Reg = R();
  Reg.Watcher = new TPyWatcher;  // lives as long as the process
  std::vector<std::string> Taken;
  auto Free = [&](const std::string& Name) {
    for (const auto& T : Taken)
      if (T == Name) return false;
    return !py::hasattr(M, Name.c_str());
  };
  for (const TLumClassInfo* Info : GetClassInfos()) {
    std::string Short = ShortName(Info->ClassName());
    // A short name taken already (TLumComponent after TComponent) keeps "Lum".
    if (!Free(Short)) Short = "Lum" + Short;
    if (!Free(Short)) Short = Info->ClassName();
    Taken.push_back(Short);
    PyTypeObject* Base = Info->Parent() ? ClassType(Info->Parent()) : nullptr;
    PyTypeObject* Type = MakeType(Short, ClassDoc(Info), Base, &GetSetsOf(Info));
    if (!Base) Reg.Base = Type;
    Reg.Types[Info] = Type;
    Reg.Infos[Type] = Info;
    AddClass(M, Type, Short, Info->ClassName());
  }
  if (!Reg.Base) throw std::logic_error("the property table has no TPersistent");

  // A plain component is an owner: lumox.Owner() frees what it owns when its with block
  // ends (or when it goes, made without an owner itself).
  PyTypeObject* Component = ClassType(FindClassInfo("TComponent"));
  PyTypeObject* Owner = MakeType(
      "Owner",
      "A plain component that owns others and frees them: as a context manager, on leaving "
      "the with block.",
      Component, nullptr);
  Reg.Extra[typeid(TComponent)] = Owner;
  Reg.Creators[Owner] = [](TComponent* AOwner, bool&, bool&) { return new TComponent(AOwner); };
  AddClass(M, Owner, "Owner", "Owner");
}

void RegisterCreator(PyTypeObject* Type, std::type_index CppType,
                     std::function<TPersistent*(TComponent*, bool&, bool&)> Creator) {
  R().Extra[CppType] = Type;
  R().Creators[Type] = std::move(Creator);
}

PyTypeObject* MakeExtraClass(py::module_& M, const char* Name, const char* BaseLibraryName,
                             const char* Doc) {
  auto* Base = reinterpret_cast<PyTypeObject*>(ClassObject(BaseLibraryName).ptr());
  PyTypeObject* Type = MakeType(Name, Doc, Base, nullptr);
  AddClass(M, Type, Name, Name);
  return Type;
}

}  // namespace lumoxpy
