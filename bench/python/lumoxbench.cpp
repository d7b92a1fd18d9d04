// The C++ side of the Python benchmark (module _lumoxbench): the reference scenes built
// into objects Python made, the C++ frame to compare with a Python one, and SetPointData
// timed from C++. Objects pass through the lumox module's capsule, so both extensions
// share one registry of Python objects.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include "bench/scenes/benchscenes.h"
#include "lumox/geometry/lumpointset.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

namespace py = pybind11;
using namespace lumox;

namespace {

struct TCApi {
  TPersistent* (*Unwrap)(PyObject*);
  PyObject* (*Wrap)(TPersistent*);
};

const TCApi& Api() {
  static const TCApi* A = static_cast<const TCApi*>(
      py::module_::import("lumox._lumox").attr("_C_API").cast<py::capsule>().get_pointer());
  return *A;
}

// The library object of a lumox object, of class T; a TypeError naming What otherwise.
template <typename T>
T* Get(py::handle O, const char* What) {
  TPersistent* P = Api().Unwrap(O.ptr());
  if (PyErr_Occurred()) throw py::error_already_set();
  auto* Obj = dynamic_cast<T*>(P);
  if (!Obj) throw py::type_error(std::string(What) + " takes another lumox class");
  return Obj;
}

TLumView* ViewOf(py::handle O) { return Get<TLumView>(O, "view"); }

}  // namespace

PYBIND11_MODULE(_lumoxbench, M) {
  M.doc() = "What the Python benchmark measures on the C++ side.";
  M.def(
      "build_scene",
      [](const std::string& Name, py::handle Owner, py::handle Root, py::handle Camera) {
        for (int S = lumoxbench::bsS1; S <= lumoxbench::bsS4; ++S)
          if (Name == lumoxbench::TBenchSceneStr[S]) {
            lumoxbench::BuildScene(static_cast<lumoxbench::TBenchScene>(S),
                                   Get<TComponent>(Owner, "owner"), Get<TLumNode>(Root, "root"),
                                   Get<TLumPerspectiveCamera>(Camera, "camera"));
            lumoxbench::BuildMeshes(Get<TLumNode>(Root, "root"));
            return;
          }
        throw py::value_error("no reference scene " + Name);
      },
      py::arg("name"), py::arg("owner"), py::arg("root"), py::arg("camera"));
  M.def(
      "set_cpp_render",
      [](py::handle View, py::handle Root) {
        TLumNode* R = Get<TLumNode>(Root, "root");
        ViewOf(View)->OnRender = [R](TLumView* V) { R->Render(V); };
      },
      py::arg("view"), py::arg("root"),
      "Sets the view's OnRender to a C++ handler rendering root, as a C++ program would.");
  M.def(
      "timed_paint", [](py::handle View) { return lumoxbench::TimedPaint(ViewOf(View)); },
      py::arg("view"), "Milliseconds of one Paint, glFinish before each clock read.");
  M.def(
      "renderer",
      [](py::handle View) {
        TLumView* V = ViewOf(View);
        V->HandleNeeded();
        V->SetCurrent(true);
        std::string R = std::string(reinterpret_cast<const char*>(glGetString(GL_RENDERER))) +
                        ", OpenGL " + reinterpret_cast<const char*>(glGetString(GL_VERSION));
        V->SetCurrent(false);
        return R;
      },
      py::arg("view"));
  M.def(
      "timed_set_point_data",
      [](py::handle Set, py::array_t<double, py::array::c_style> XYZ) {
        if (XYZ.ndim() != 2 || XYZ.shape(1) != 3) throw py::value_error("points are (N, 3)");
        TLumPointSet* S = Get<TLumPointSet>(Set, "set");
        const auto T0 = std::chrono::steady_clock::now();
        S->SetPointData(static_cast<int32_t>(XYZ.shape(0)), XYZ.data());
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - T0)
            .count();
      },
      py::arg("set"), py::arg("points"),
      "Milliseconds of SetPointData of a C-ordered (N, 3) float64 array, called from C++.");
}
