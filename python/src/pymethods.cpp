// Hand-written methods of the generated classes, for what the property table does not
// describe: ownership (owner, components, free), rendering, a node's items, vectors and
// colours as tuples, the timer's stopwatch, controllers' steps, and the table itself.
#include <pybind11/stl.h>

#include <array>
#include <cmath>

#include "lumox/control/lumcntrl.h"
#include "lumox/control/lumtimer.h"
#include "lumox/math/lumclass.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumview.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

TPyLum* Self(py::handle H) { return reinterpret_cast<TPyLum*>(H.ptr()); }

TPersistent* Live(py::handle H) {
  TPersistent* P = Unwrap(H.ptr());
  if (!P) ThrowType(std::string("not a lumox object: ") + TypeName(H));
  return P;
}

// Frees what C owns, last first; from a handler, once the library call returns.
void DestroyOwned(TComponent& C) {
  if (!InHandler()) {
    C.DestroyComponents();
    return;
  }
  for (int I = C.ComponentCount(); I-- > 0;) FreeComponent(C.Components(I), false);
}

// Index I of a list of N entries, counting from the end when negative.
int32_t ListIndex(int64_t I, int32_t N) {
  if (I < 0) I += N;
  if (I < 0 || I >= N) throw py::index_error("index out of range");
  return static_cast<int32_t>(I);
}

py::object Wrapped(TPersistent* P) { return py::reinterpret_steal<py::object>(Wrap(P)); }

// The property Name of Obj's table set from a Python value, as `obj.name = value` does.
void SetProp(TPersistent* Obj, const char* Name, const TLumValue& Value) {
  const TLumPropInfo* P = GetClassInfo(Obj)->FindProperty(Name);
  if (!P) throw std::logic_error(std::string("no property ") + Name);
  P->SetValue(Obj, Value);
}

// --- the table as data, for tools and stubs -------------------------------------------------

py::object PropertyRecord(const TLumPropInfo& P) {
  static py::object Record = py::module_::import("collections")
                                 .attr("namedtuple")("PropertyInfo",
                                                     "name python_name kind type_name type_text "
                                                     "names read_only default range description "
                                                     "class_name");
  py::object Default = py::none();
  if (P.HasDefault && P.Kind != pkObject && P.Kind != pkComponent && P.Kind != pkEvent)
    Default = ToPython(P, P.Default, nullptr);
  return Record(P.Name, SnakeCase(P.Name), TLumPropKindStr[P.Kind], P.TypeName, P.TypeText(),
                P.Names, P.ReadOnly && P.Kind != pkEvent, Default,
                P.Range ? py::object(py::str(P.Range->ToString())) : py::none(), P.Description,
                P.ClassInfo ? py::object(py::str(P.ClassInfo->ClassName())) : py::none());
}

const TLumClassInfo* InfoOf(py::handle ClassOrObject) {
  if (PyType_Check(ClassOrObject.ptr())) {
    // The class itself or, for a subclass (Owner, a program's own), the nearest one.
    PyObject* Mro = reinterpret_cast<PyTypeObject*>(ClassOrObject.ptr())->tp_mro;
    for (Py_ssize_t I = 0; Mro && I < PyTuple_GET_SIZE(Mro); ++I)
      for (const TLumClassInfo* Info : GetClassInfos())
        if (reinterpret_cast<PyObject*>(ClassType(Info)) == PyTuple_GET_ITEM(Mro, I)) return Info;
  }
  if (py::isinstance<py::str>(ClassOrObject))
    if (const TLumClassInfo* Info = FindClassInfo(ClassOrObject.cast<std::string>())) return Info;
  if (TPersistent* P = Unwrap(ClassOrObject.ptr())) return GetClassInfo(P);
  throw py::type_error("a lumox class, object or library class name");
}

void RegisterTable(py::module_& M) {
  M.def(
      "properties",
      [](py::handle What) {
        py::list L;
        for (const TLumPropInfo* P : InfoOf(What)->Properties()) L.append(PropertyRecord(*P));
        return L;
      },
      py::arg("cls"),
      "The published properties of a class (a lumox class, an object of one or a library "
      "class name), inherited ones first, as the property table describes them.");
  M.def(
      "classes",
      [] {
        py::list L;
        for (const TLumClassInfo* Info : GetClassInfos())
          L.append(py::handle(reinterpret_cast<PyObject*>(ClassType(Info))));
        return L;
      },
      "Every class of the library, ancestors first.");
  M.def(
      "library_name", [](py::handle What) { return InfoOf(What)->ClassName(); }, py::arg("cls"),
      "The library's name of a class (TLumSphere for lumox.Sphere).");
}

// --- every object -----------------------------------------------------------------------

void RegisterPersistent() {
  AddMethod(
      "TPersistent", "assign", "Assign",
      [](py::handle S, py::handle Source) {
        TPersistent* From = Unwrap(Source.ptr());
        if (!From) ThrowType(std::string("assign takes a lumox object, not ") + TypeName(Source));
        Live(S)->Assign(From);
      },
      py::arg("source"), "Copies Source into this object by the class's Assign rules.");
  AddProperty("TPersistent", "class_name", "ClassName",
              py::cpp_function([](py::handle S) { return std::string(Live(S)->ClassName()); }), {},
              "The library's class name of the object (a program's own subclass reports its own).");
  AddProperty(
      "TPersistent", "freed", nullptr,
      py::cpp_function([](py::handle S) { return Self(S)->Ptr == nullptr; }), {},
      "Whether the library object is gone (its owner freed it); using it then raises lumox.Error.");
  AddMethod(
      "TPersistent", "copy", nullptr,
      [](py::handle S) {
        TPersistent* P = Live(S);
        const TLumClassInfo* Info = GetClassInfo(P);
        if (!Info->CanCreateObject())
          ThrowType(std::string("a ") + P->ClassName() + " cannot be copied alone");
        std::unique_ptr<TPersistent> Copy = Info->CreateObject();
        Copy->Assign(P);
        return py::reinterpret_steal<py::object>(WrapOwned(Copy.release()));
      },
      "A value object of its own with this one's values (by Assign), for value objects.");
}

// --- components -----------------------------------------------------------------------------

// Python takes over a component that no owner holds any more: it goes with its Python
// object.
void TakeOver(py::handle H) {
  auto* C = dynamic_cast<TComponent*>(Live(H));
  if (C && !C->Owner()) Self(H)->Owned = true;
}

void RegisterComponent() {
  AddProperty("TComponent", "owner", "Owner",
              py::cpp_function([](TComponent& C) { return Wrapped(C.Owner()); }), {},
              "The component that frees this one, or None.");
  AddProperty("TComponent", "components", "Components", py::cpp_function([](TComponent& C) {
                py::list L;
                for (int I = 0; I < C.ComponentCount(); ++I) L.append(Wrapped(C.Components(I)));
                return L;
              }),
              {}, "The components this one owns, in the order they were inserted.");
  AddProperty("TComponent", "component_count", "ComponentCount",
              py::cpp_function([](TComponent& C) { return C.ComponentCount(); }), {},
              "How many components this one owns.");
  AddMethod(
      "TComponent", "find_component", "FindComponent",
      [](TComponent& C, const std::string& Name) { return Wrapped(C.FindComponent(Name)); },
      py::arg("name"), "The owned component of that name (without regard to case), or None.");
  AddMethod(
      "TComponent", "insert_component", "InsertComponent",
      [](TComponent& C, TComponent* Item) {
        Needed(Item, "insert_component takes a component");
        C.InsertComponent(Item);
        OwnerChanged(Item);
      },
      py::arg("component"),
      "Makes this component the owner of another (taking it from its old owner); raises "
      "lumox.Error for the component itself or one of its owners.");
  AddMethod(
      "TComponent", "remove_component", "RemoveComponent",
      [](TComponent& C, py::handle Item) {
        auto* Comp = dynamic_cast<TComponent*>(Live(Item));
        Needed(Comp, "remove_component takes a component");
        C.RemoveComponent(Comp);
        TakeOver(Item);
        OwnerChanged(Comp);
      },
      py::arg("component"),
      "Takes an owned component out: it then has no owner and belongs to its Python object.");
  AddMethod(
      "TComponent", "destroy_components", "DestroyComponents",
      [](TComponent& C) { DestroyOwned(C); }, "Frees every owned component, last first.");
  AddMethod(
      "TComponent", "free", "Free",
      [](py::handle H) {
        TPersistent* P = Live(H);
        auto* C = dynamic_cast<TComponent*>(P);
        Needed(C, "free takes a component");
        // Parts and the materials of parts belong to their container, not to an owner.
        if (!C->Owner() && !Self(H)->Owned)
          ThrowError(std::string("the ") + P->ClassName() +
                     " is held by the library, not by an owner: it cannot be freed here");
        FreeComponent(C, false);
      },
      "Frees the component now (and what it owns); Python references to it then raise "
      "lumox.Error.");
  AddMethod(
      "TComponent", "free_notification", "FreeNotification",
      [](TComponent& C, TComponent* Other) { C.FreeNotification(Other); }, py::arg("component"),
      "Asks for the removal notification between the two components.");
  py::object Owner = ClassObject("Owner");
  Owner.attr("__enter__") =
      py::cpp_function([](py::handle S) { return py::reinterpret_borrow<py::object>(S); },
                       py::is_method(Owner), py::name("__enter__"));
  Owner.attr("__exit__") = py::cpp_function(
      [](TComponent& C, py::args) {
        DestroyOwned(C);
        return false;
      },
      py::is_method(Owner), py::name("__exit__"), py::call_guard<TLibraryCall>(),
      "Frees every owned component when the with block ends.");
}

// --- rendering and nodes -------------------------------------------------------------------

void RegisterRender() {
  AddMethod(
      "TLumRender", "render", "Render",
      [](TLumRender& R, TLumCustomView* View) {
        Needed(View, "render takes the view being drawn");
        R.Render(View);
      },
      py::arg("view"),
      "Draws the component into the view's frame (from the view's on_render handler).");
  AddMethod(
      "TLumRender", "clear_cache", "ClearCache", [](TLumRender& R) { R.ClearCache(); },
      "Deletes the display list; the next frame draws (and compiles) again.");
  AddProperty("TLumRender", "cached", "Cached",
              py::cpp_function([](TLumRender& R) { return R.Cached(); }),
              py::cpp_function([](TLumRender& R, bool V) { R.SetCached(V); }),
              "Whether the component draws through a display list of its own.");

  AddMethod(
      "TLumNode", "add", "Add",
      [](TLumNode& N, TLumRender* Item) {
        Needed(Item, "add takes a render component");
        return N.Add(Item);
      },
      py::arg("item"),
      "Adds an item (taking it from its old node); returns the former count. Adding the "
      "node itself or a node that holds it raises lumox.Error.");
  AddMethod(
      "TLumNode", "add_indirect", "AddIndirect",
      [](TLumNode& N, TLumRender* Item) { return N.AddIndirect(Item); }, py::arg("item"),
      "Adds an item that stays in its own node (a reference).");
  AddMethod(
      "TLumNode", "remove", "Remove", [](TLumNode& N, TLumRender* Item) { return N.Remove(Item); },
      py::arg("item"), "Removes an item; returns its former index, -1 when it was not there.");
  AddMethod(
      "TLumNode", "insert", "Insert",
      [](TLumNode& N, int Index, TLumRender* Item) {
        Needed(Item, "insert takes a render component");
        N.Insert(Index, Item);
      },
      py::arg("index"), py::arg("item"), "Inserts an item at an index.");
  AddMethod(
      "TLumNode", "delete", "Delete",
      [](TLumNode& N, int64_t Index) { N.Delete(ListIndex(Index, N.GetCount())); },
      py::arg("index"), "Removes the item at an index.");
  AddMethod(
      "TLumNode", "clear", "Clear", [](TLumNode& N) { N.Clear(); }, "Removes every item.");
  AddMethod(
      "TLumNode", "index_of", "IndexOf",
      [](TLumNode& N, TLumRender* Item) { return N.IndexOf(Item); }, py::arg("item"),
      "The index of an item, or -1.");
  AddMethod(
      "TLumNode", "exchange", "Exchange",
      [](TLumNode& N, int64_t I, int64_t J) {
        N.Exchange(ListIndex(I, N.GetCount()), ListIndex(J, N.GetCount()));
      },
      py::arg("i"), py::arg("j"), "Swaps two items.");
  AddMethod(
      "TLumNode", "move", "Move", [](TLumNode& N, int Cur, int New) { N.Move(Cur, New); },
      py::arg("cur_index"), py::arg("new_index"),
      "Moves an item to another index (both clamped to the list).");
  AddMethod(
      "TLumNode", "is_indirect", "IsIndirect",
      [](TLumNode& N, int64_t I) { return N.IsIndirect(ListIndex(I, N.GetCount())); },
      py::arg("index"), "Whether the item at an index was added with add_indirect.");
  AddMethod(
      "TLumNode", "count_all_items", "CountAllItems", [](TLumNode& N) { return N.CountAllItems(); },
      "The leaves below the node, nested nodes counting theirs.");
  AddProperty("TLumNode", "items", "Items", py::cpp_function([](TLumNode& N) {
                py::list L;
                for (int I = 0; I < N.GetCount(); ++I) L.append(Wrapped(N.GetItems(I)));
                return L;
              }),
              {},
              "The items, in drawing order (a new list; the node changes through add and remove).");
  AddProperty("TLumNode", "count", "Count",
              py::cpp_function([](TLumNode& N) { return N.GetCount(); }), {},
              "How many items the node holds.");
  py::object Node = ClassObject("TLumNode");
  Node.attr("__len__") = py::cpp_function([](TLumNode& N) { return N.GetCount(); },
                                          py::is_method(Node), py::name("__len__"));
  Node.attr("__getitem__") = py::cpp_function(
      [](TLumNode& N, int64_t I) { return Wrapped(N.GetItems(ListIndex(I, N.GetCount()))); },
      py::is_method(Node), py::name("__getitem__"));
  Node.attr("__contains__") = py::cpp_function(
      [](TLumNode& N, py::handle Item) {
        auto* R = dynamic_cast<TLumRender*>(Unwrap(Item.ptr()));
        return R && N.IndexOf(R) >= 0;
      },
      py::is_method(Node), py::name("__contains__"));
  Node.attr("__bool__") =
      py::cpp_function([](py::handle) { return true; }, py::is_method(Node), py::name("__bool__"));
}

// --- vectors and colours as tuples ------------------------------------------------------------

void RegisterVector() {
  AddMethod(
      "TLumVector", "set_values", "SetValues",
      [](TLumVector& V, float X, float Y, float Z) { V.SetValues(X, Y, Z); }, py::arg("x"),
      py::arg("y"), py::arg("z"), "Sets the three components at once (one change).");
  AddProperty("TLumVector", "xyz", nullptr, py::cpp_function([](TLumVector& V) {
                return py::make_tuple(py::float_(V.X()), V.Y(), V.Z());
              }),
              py::cpp_function([](TLumVector& V, const TLumMathVector& P) {
                V.SetValues(static_cast<float>(P.X), static_cast<float>(P.Y),
                            static_cast<float>(P.Z));
              }),
              "The components as a tuple (x, y, z).");
  AddMethod(
      "TLumVector", "assign", "Assign",
      [](py::handle S, py::handle Value) {
        auto* V = dynamic_cast<TLumVector*>(Live(S));
        if (TPersistent* From = Unwrap(Value.ptr())) {
          V->Assign(From);
          return;
        }
        try {
          const auto P = Value.cast<TLumMathVector>();
          V->SetValues(static_cast<float>(P.X), static_cast<float>(P.Y), static_cast<float>(P.Z));
        } catch (const py::cast_error&) {
          ThrowType(std::string("a ") + V->ClassName() +
                    " takes (x, y, z) or a lumox vector, not " + TypeName(Value));
        }
      },
      py::arg("value"), "Takes (x, y, z) or the values of another vector.");
  py::object Vector = ClassObject("TLumVector");
  Vector.attr("__iter__") =
      py::cpp_function([](TLumVector& V) { return py::iter(py::make_tuple(V.X(), V.Y(), V.Z())); },
                       py::is_method(Vector), py::name("__iter__"));
  Vector.attr("__len__") =
      py::cpp_function([](py::handle) { return 3; }, py::is_method(Vector), py::name("__len__"));

  auto Channels = [](const TLumColor& C) {
    const uint32_t V = C.Color();
    return std::array<double, 3>{(V & 0xFF) / 255.0, ((V >> 8) & 0xFF) / 255.0,
                                 ((V >> 16) & 0xFF) / 255.0};
  };
  // Through the colour's own properties: Color takes the bytes, Alpha its range rule.
  // Every value is converted before the first is set, so a bad one changes nothing.
  auto SetRGB = [](TLumColor& C, py::sequence S) {
    std::array<double, 4> V{};
    const size_t N = py::len(S);
    for (size_t K = 0; K < N; ++K) {
      py::object Item = S[K];
      V[K] = PyFloat_AsDouble(Item.ptr());
      if (V[K] == -1.0 && PyErr_Occurred()) {
        PyErr_Clear();
        ThrowType("a colour's channels are numbers 0..1, not " + TypeName(Item));
      }
    }
    SetProp(&C, "Color", RGBColor(V[0], V[1], V[2]));
    if (N == 4) SetProp(&C, "Alpha", static_cast<float>(V[3]));
  };
  AddProperty("TLumColor", "rgb", nullptr, py::cpp_function([Channels](TLumColor& C) {
                auto Ch = Channels(C);
                return py::make_tuple(Ch[0], Ch[1], Ch[2]);
              }),
              py::cpp_function([SetRGB](TLumColor& C, py::sequence S) {
                if (py::len(S) != 3) throw py::value_error("rgb takes (r, g, b), each 0..1");
                SetRGB(C, S);
              }),
              "Red, green and blue as 0..1 (stored as bytes: $00BBGGRR).");
  AddProperty("TLumColor", "rgba", nullptr, py::cpp_function([Channels](TLumColor& C) {
                auto Ch = Channels(C);
                return py::make_tuple(Ch[0], Ch[1], Ch[2], py::float_(C.Alpha()));
              }),
              py::cpp_function([SetRGB](TLumColor& C, py::sequence S) {
                if (py::len(S) != 4) throw py::value_error("rgba takes (r, g, b, a), each 0..1");
                SetRGB(C, S);
              }),
              "Red, green, blue and alpha as 0..1; an alpha outside 0..1 is ignored, as the "
              "alpha property ignores it.");
  AddMethod(
      "TLumColor", "assign", "Assign",
      [SetRGB](py::handle S, py::handle Value) {
        auto* C = dynamic_cast<TLumColor*>(Live(S));
        if (TPersistent* From = Unwrap(Value.ptr())) {
          C->Assign(From);
        } else if (PyIndex_Check(Value.ptr()) && !PyFloat_Check(Value.ptr())) {
          SetProp(C, "Color", Value.cast<int64_t>());
        } else if (PySequence_Check(Value.ptr()) && !PyUnicode_Check(Value.ptr()) &&
                   (py::len(Value) == 3 || py::len(Value) == 4)) {
          SetRGB(*C, py::reinterpret_borrow<py::sequence>(Value));
        } else {
          ThrowType(std::string("a colour takes $00BBGGRR as an int, (r, g, b[, a]) or a lumox "
                                "colour, not ") +
                    TypeName(Value));
        }
      },
      py::arg("value"), "Takes $00BBGGRR, (r, g, b), (r, g, b, a) or another colour's values.");
}

// --- the timer and the controllers ----------------------------------------------------------

void RegisterTimerAndControllers() {
  AddMethod(
      "TLumTimer", "start", "Start", [](TLumTimer& T) { T.Start(); },
      "Starts the stopwatch (starts nest).");
  AddMethod(
      "TLumTimer", "stop", "Stop", [](TLumTimer& T) { return T.Stop(); },
      "Seconds since the latest pending start, which it ends; -1.0 without one.");
  AddMethod(
      "TLumTimer", "reset", "Reset", [](TLumTimer& T) { T.Reset(); },
      "Puts the interval grid's phase at the current time.");
  AddProperty("TLumTimer", "measured_rate", "MeasuredRate",
              py::cpp_function([](TLumTimer& T) { return T.MeasuredRate(); }), {},
              "Ticks per second over the last second or so.");
  AddProperty("TLumTimer", "is_started", "getisstarted",
              py::cpp_function([](TLumTimer& T) { return T.getisstarted(); }), {},
              "Whether a stopwatch start is pending.");

  AddMethod(
      "TLumCarController", "move", "Move", [](TLumCarController& C) { C.Move(); },
      "One step at the current speed.");
  AddMethod(
      "TLumCarController", "turn", "Turn", [](TLumCarController& C, float A) { C.Turn(A); },
      py::arg("angle"), "Turns by an angle in degrees.");
  AddMethod(
      "TLumCarController", "accelerate", "Accelerate",
      [](TLumCarController& C, float A) { C.Accelerate(A); }, py::arg("amount"),
      "Raises the speed, up to MaxSpeed.");
  AddMethod(
      "TLumCarController", "brake", "Brake", [](TLumCarController& C, float A) { C.Brake(A); },
      py::arg("amount"), "Lowers the speed towards 0.");
  AddMethod(
      "TLumCarController", "stop", "Stop", [](TLumCarController& C) { C.Stop(); },
      "Sets the speed to 0.");
  AddMethod(
      "TLumPersonController", "move", "Move", [](TLumPersonController& C, float D) { C.Move(D); },
      py::arg("distance"), "Steps along the heading.");
  AddMethod(
      "TLumPersonController", "turn", "Turn", [](TLumPersonController& C, float A) { C.Turn(A); },
      py::arg("angle"), "Turns by an angle in degrees.");
  AddMethod(
      "TLumPresentationController", "present", "Present",
      [](TLumPresentationController& C) { C.Present(); },
      "Turns the controlled object one step in the current mode.");
}

}  // namespace

void RegisterMethods(py::module_& M) {
  RegisterTable(M);
  RegisterPersistent();
  RegisterComponent();
  RegisterRender();
  RegisterVector();
  RegisterTimerAndControllers();
  M.def(
      "rgb", [](double R, double G, double B) { return RGBColor(R, G, B); }, py::arg("r"),
      py::arg("g"), py::arg("b"),
      "The colour value $00BBGGRR of red, green and blue in 0..1, as colour properties take "
      "them: clamped to 0..1, NaN as 0, halves rounded up.");
}

}  // namespace lumoxpy
