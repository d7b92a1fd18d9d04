// Python callables as the library's event handlers. A handler holds its callable in a
// cell shared by the handler's copies; the cells let the garbage collector see the
// callables a Python-owned component tree holds, so that a cycle through a handler (a
// view whose OnRender refers to the view) is collected like any other.
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "lumox/control/lumtimer.h"
#include "lumox/exchange/xmlparser.h"
#include "lumox/geometry/lumcustomfuncobj.h"
#include "lumox/host/forms.h"
#include "lumox/view/lumview.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

bool GAlive = true;

struct TCell {
  PyObject* Fn;      // strong; nullptr once the collector cleared it
  TComponent* Comp;  // the component it was set on; nullptr once that one was freed
  int Users = 0;     // handlers (copies) holding the cell
  size_t Slot = 0;   // where it is in its component's list
  std::string What;  // the event, for errors: "TLumView.OnKeyDown"
};

// The cells of each component, so that the collector and a freed component look only
// at their own.
std::unordered_map<TComponent*, std::vector<TCell*>>& CellsOf() {
  static auto* M = new std::unordered_map<TComponent*, std::vector<TCell*>>;
  return *M;
}

void AddCell(TCell* C) {
  auto& List = CellsOf()[C->Comp];
  C->Slot = List.size();
  List.push_back(C);
}

void RemoveCell(TCell* C) {
  auto It = CellsOf().find(C->Comp);
  if (It == CellsOf().end()) return;
  auto& List = It->second;
  List[C->Slot] = List.back();
  List[C->Slot]->Slot = C->Slot;
  List.pop_back();
  if (List.empty()) CellsOf().erase(It);
}

void Drop(TCell* C) {
  if (C->Comp) RemoveCell(C);
  // After the interpreter finalized, a handler of a component that outlived it keeps
  // its callable: there is nobody left to free it to.
  if (GAlive) Py_XDECREF(C->Fn);
  delete C;
}

// A counted reference to a cell, copied with the handler.
class TCellRef {
 public:
  explicit TCellRef(TCell* C) : FCell(C) { ++C->Users; }
  TCellRef(const TCellRef& Other) : FCell(Other.FCell) { ++FCell->Users; }
  TCellRef& operator=(const TCellRef&) = delete;
  ~TCellRef() {
    if (--FCell->Users == 0) Drop(FCell);
  }
  TCell* operator->() const { return FCell; }

 private:
  TCell* FCell;
};

// --- frees that wait for the library to return ----------------------------------------------

// Python handlers running now (nested), and calls from Python into the library.
int GHandlerDepth = 0;
int GCallDepth = 0;

struct TPendingFree {
  TComponent* Comp;
  bool OnlyUnowned;  // a Python object's own component: freed only if still without owner
};

// Hears of pending components that something else freed meanwhile.
class TPendingWatcher : public TComponent {
 public:
  TPendingWatcher() : TComponent(nullptr) {}
  std::vector<TPendingFree> Pending;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    if (Operation != opRemove) return;
    for (size_t I = Pending.size(); I-- > 0;)
      if (Pending[I].Comp == AComponent) Pending.erase(Pending.begin() + I);
  }
};

TPendingWatcher& PendingWatcher() {
  static auto* W = new TPendingWatcher;  // lives as long as the process
  return *W;
}

void FreePending() {
  TPendingWatcher& W = PendingWatcher();
  while (!W.Pending.empty() && GHandlerDepth == 0 && GCallDepth == 0) {
    const TPendingFree P = W.Pending.back();
    W.Pending.pop_back();
    P.Comp->RemoveFreeNotification(&W);
    if (P.OnlyUnowned && (P.Comp->Owner() || P.Comp->ComponentState().Contains(csDestroying)))
      continue;
    delete P.Comp;
  }
}

// Calls the cell's callable with the arguments Build makes (a tuple); None when it was
// cleared or Python is gone. The depth rises before the arguments are made: making them
// allocates, which may run the collector, and a component it frees must wait.
template <typename B>
py::object CallCell(const TCellRef& Cell, B&& Build) {
  if (!GAlive || !Cell->Fn) return py::none();
  py::object Fn = py::reinterpret_borrow<py::object>(Cell->Fn);
  ++GHandlerDepth;
  struct TLeave {
    ~TLeave() { --GHandlerDepth; }
  } Leave;
  py::tuple Args = Build();
  return Fn(*Args);
}

[[noreturn]] void WrongResult(const TCellRef& Cell, py::handle R, const char* Expected) {
  PyErr_Clear();
  ThrowType(Cell->What + " returns " + Expected + " or None, not " + TypeName(R));
}

// A handler's result as T; one of another type or out of T's range raises TypeError
// naming the event and what it returns.
template <typename T>
T Returned(const TCellRef& Cell, const py::object& R, const char* Expected) {
  py::detail::make_caster<T> Caster;
  bool Fits;
  if constexpr (std::is_same_v<T, bool>)
    Fits = Caster.load(R, true);  // Python's truth of numbers, not of strings
  else if constexpr (std::is_integral_v<T>)
    Fits = PyIndex_Check(R.ptr()) && !PyBool_Check(R.ptr()) && Caster.load(R, false);
  else
    Fits = Caster.load(R, true);
  if (!Fits) WrongResult(Cell, R, Expected);
  return py::detail::cast_op<T>(std::move(Caster));
}

const char* const ShiftNames[] = {"ssShift", "ssAlt",    "ssCtrl",  "ssLeft",
                                  "ssRight", "ssMiddle", "ssDouble"};
const char* const ButtonNames[] = {"mbLeft", "mbRight", "mbMiddle"};

py::object Shift(TShiftState S) { return ShiftToPython(S); }
py::object Button(TMouseButton B) { return EnumValue(EnumType("TMouseButton", ButtonNames), B); }
py::object Sender(TObject* S) {
  return py::reinterpret_steal<py::object>(Wrap(dynamic_cast<TPersistent*>(S)));
}

// One functor type per event type, each calling Python with the arguments as Python
// takes them; reference arguments come back as the callable's result.
struct TNotify {
  TCellRef Cell;
  void operator()(TObject* S) const {
    CallCell(Cell, [&] { return py::make_tuple(Sender(S)); });
  }
};
struct TRender {
  TCellRef Cell;
  void operator()(TLumCustomView* V) const {
    CallCell(Cell, [&] { return py::make_tuple(Sender(V)); });
  }
};
struct TViewRender {
  TCellRef Cell;
  void operator()(TLumView* V) const {
    CallCell(Cell, [&] { return py::make_tuple(Sender(V)); });
  }
};
struct TFunction {
  TCellRef Cell;
  TLumMathVector operator()(const TLumMathVector& Old, double Value) const {
    py::object R = CallCell(Cell, [&] { return py::make_tuple(Old, Value); });
    if (R.is_none()) return Old;
    return Returned<TLumMathVector>(Cell, R, "a point (x, y, z)");
  }
};
struct TProgress {
  TCellRef Cell;
  void operator()(double Progress) const {
    CallCell(Cell, [&] { return py::make_tuple(Progress); });
  }
};
struct TTimer {
  TCellRef Cell;
  void operator()(TObject* S, int32_t Lag) const {
    CallCell(Cell, [&] { return py::make_tuple(Sender(S), Lag); });
  }
};
struct TKey {
  TCellRef Cell;
  void operator()(TObject* S, uint16_t& Key, TShiftState Sh) const {
    py::object R = CallCell(Cell, [&] { return py::make_tuple(Sender(S), Key, Shift(Sh)); });
    if (!R.is_none()) Key = Returned<uint16_t>(Cell, R, "a key code 0..65535");
  }
};
struct TKeyPress {
  TCellRef Cell;
  void operator()(TObject* S, char32_t& Key) const {
    py::object R = CallCell(Cell, [&] {
      return py::make_tuple(
          Sender(S), py::reinterpret_steal<py::str>(PyUnicode_FromOrdinal(static_cast<int>(Key))));
    });
    if (R.is_none()) return;
    if (!PyUnicode_Check(R.ptr())) WrongResult(Cell, R, "a character (str)");
    const std::u32string K = R.cast<std::u32string>();
    Key = K.empty() ? U'\0' : K[0];
  }
};
struct TMouse {
  TCellRef Cell;
  void operator()(TObject* S, TMouseButton B, TShiftState Sh, int X, int Y) const {
    CallCell(Cell, [&] { return py::make_tuple(Sender(S), Button(B), Shift(Sh), X, Y); });
  }
};
struct TMouseMove {
  TCellRef Cell;
  void operator()(TObject* S, TShiftState Sh, int X, int Y) const {
    CallCell(Cell, [&] { return py::make_tuple(Sender(S), Shift(Sh), X, Y); });
  }
};
struct TWheel {
  TCellRef Cell;
  void operator()(TObject* S, TShiftState Sh, int Delta, int X, int Y, bool& Handled) const {
    py::object R =
        CallCell(Cell, [&] { return py::make_tuple(Sender(S), Shift(Sh), Delta, X, Y); });
    if (!R.is_none()) Handled = Returned<bool>(Cell, R, "True, False");
  }
};
struct TWheelUpDown {
  TCellRef Cell;
  void operator()(TObject* S, TShiftState Sh, int X, int Y, bool& Handled) const {
    py::object R = CallCell(Cell, [&] { return py::make_tuple(Sender(S), Shift(Sh), X, Y); });
    if (!R.is_none()) Handled = Returned<bool>(Cell, R, "True, False");
  }
};
struct TIdle {
  TCellRef Cell;
  void operator()(TObject* S, bool& Done) const {
    py::object R = CallCell(Cell, [&] { return py::make_tuple(Sender(S)); });
    if (!R.is_none()) Done = Returned<bool>(Cell, R, "True, False");
  }
};

struct TAdapter {
  void (*Set)(void* Field, TCell* Cell);
  py::object (*Get)(void* Field);
};

std::unordered_map<std::type_index, TAdapter>& Adapters() {
  static auto* M = new std::unordered_map<std::type_index, TAdapter>;
  return *M;
}

template <typename F, typename H>
void AddAdapter() {
  TAdapter A;
  A.Set = [](void* Field, TCell* Cell) {
    F& Fn = *static_cast<F*>(Field);
    if (Cell)
      Fn = H{TCellRef(Cell)};
    else
      Fn = nullptr;
  };
  A.Get = [](void* Field) -> py::object {
    F& Fn = *static_cast<F*>(Field);
    if (!Fn) return py::none();
    if (const H* Handler = Fn.template target<H>())
      return Handler->Cell->Fn ? py::reinterpret_borrow<py::object>(Handler->Cell->Fn) : py::none();
    // Set in C++: it stays there; Python sees that one is set.
    return py::cpp_function(
        [](py::args) { ThrowType("this handler was set in C++ and cannot be called from Python"); },
        py::name("cpp_handler"));
  };
  Adapters()[typeid(F)] = A;
}

// The cells the collector counts as held by Root's tree: set on a component under it
// and held by one handler only (a handler copied elsewhere by C++ is left out, so that
// no reference is counted twice).
std::vector<TCell*> RootCells(TComponent* Root) {
  std::vector<TCell*> Found;
  for (TComponent* Comp : MarkedUnder(Root, CellsOf()))
    for (TCell* C : CellsOf()[Comp])
      if (C->Fn && C->Users == 1) Found.push_back(C);
  return Found;
}

}  // namespace

bool PythonAlive() { return GAlive; }

TLibraryCall::TLibraryCall() { ++GCallDepth; }

TLibraryCall::~TLibraryCall() {
  --GCallDepth;
  try {
    FreePending();
  } catch (...) {
    // A destructor's handler that raised: its error is reported, the call's result stands.
    PyErr_WriteUnraisable(nullptr);
  }
}

// Within a call from Python, a deeper call means Python code runs under the library: a
// handler, or the collector (finalizers, weak reference callbacks) in the middle of a call.
bool InHandler() { return GHandlerDepth > 0 || GCallDepth > 1; }

void FreeComponent(TComponent* Comp, bool OnlyUnowned) {
  // The collector may free a Python-owned component while the library walks it; any
  // free with the library on the stack waits for the outermost call to return.
  if (GHandlerDepth == 0 && GCallDepth == 0) {
    if (!OnlyUnowned || (!Comp->Owner() && !Comp->ComponentState().Contains(csDestroying)))
      delete Comp;
    return;
  }
  TPendingWatcher& W = PendingWatcher();
  for (const TPendingFree& P : W.Pending)
    if (P.Comp == Comp) return;
  W.Pending.push_back({Comp, OnlyUnowned});
  Comp->FreeNotification(&W);
}

py::object ShiftToPython(TShiftState S) {
  return SetValue(EnumType("TShiftStateItem", ShiftNames), S.Bits());
}

TShiftState ShiftFromPython(py::handle V) {
  static const std::vector<std::string> Names(std::begin(ShiftNames), std::end(ShiftNames));
  return TShiftState::FromBits(SetBits(EnumType("TShiftStateItem", ShiftNames), Names, V, "shift"));
}

TMouseButton ButtonFromPython(py::handle V) {
  static const std::vector<std::string> Names(std::begin(ButtonNames), std::end(ButtonNames));
  return static_cast<TMouseButton>(
      EnumOrdinal(EnumType("TMouseButton", ButtonNames), Names, V, "button"));
}

bool HasEventAdapter(std::type_index Type) { return Adapters().count(Type) != 0; }

void SetEventAt(std::type_index Type, void* Field, TComponent* Comp, py::handle Callable,
                const std::string& What) {
  auto It = Adapters().find(Type);
  if (It == Adapters().end()) ThrowType(What + " takes handlers the module cannot make");
  if (Callable.is_none()) {
    It->second.Set(Field, nullptr);
    return;
  }
  if (!PyCallable_Check(Callable.ptr()))
    ThrowType(What + " takes a callable or None, not " + TypeName(Callable));
  auto* Cell = new TCell{Callable.inc_ref().ptr(), Comp, 0, 0, What};
  if (Comp) AddCell(Cell);
  It->second.Set(Field, Cell);
  if (Comp) WatchComponent(Comp);
}

py::object GetEventAt(std::type_index Type, void* Field) {
  auto It = Adapters().find(Type);
  if (It == Adapters().end()) return py::none();
  return It->second.Get(Field);
}

int VisitHandlers(TComponent* Root, visitproc Visit, void* Arg) {
  for (TCell* C : RootCells(Root))
    if (int R = Visit(C->Fn, Arg)) return R;
  return 0;
}

void ClearHandlers(TComponent* Root) {
  // Every cell is emptied before the first callable goes: its going may run code that
  // frees components and with them cells.
  std::vector<PyObject*> Fns;
  for (TCell* C : RootCells(Root)) {
    Fns.push_back(C->Fn);
    C->Fn = nullptr;
  }
  for (PyObject* Fn : Fns) Py_XDECREF(Fn);
}

void ForgetHandlersOf(TComponent* Comp) {
  auto It = CellsOf().find(Comp);
  if (It == CellsOf().end()) return;
  for (TCell* C : It->second) C->Comp = nullptr;
  CellsOf().erase(It);
}

void RegisterEvents(py::module_& M) {
  AddAdapter<TNotifyEvent, TNotify>();
  AddAdapter<TLumRenderEvent, TRender>();
  AddAdapter<TLumViewRenderEvent, TViewRender>();
  AddAdapter<Tfunction, TFunction>();
  AddAdapter<TXMLProgressEvent, TProgress>();
  AddAdapter<TonTimer, TTimer>();
  AddAdapter<TKeyEvent, TKey>();
  AddAdapter<TKeyPressEvent, TKeyPress>();
  AddAdapter<TMouseEvent, TMouse>();
  AddAdapter<TMouseMoveEvent, TMouseMove>();
  AddAdapter<TMouseWheelEvent, TWheel>();
  AddAdapter<TMouseWheelUpDownEvent, TWheelUpDown>();
  AddAdapter<TIdleEvent, TIdle>();
  EnumType("TShiftStateItem", ShiftNames);
  EnumType("TMouseButton", ButtonNames);
  // Handlers of objects that outlive the interpreter must not touch it afterwards.
  Py_AtExit([] { GAlive = false; });
  (void)M;
}

}  // namespace lumoxpy
