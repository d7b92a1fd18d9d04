// Where a scene lies and what it holds, from Python: the local and world boxes of a
// component, its bounding sphere, the distance that frames it, and its mesh counts. All
// computed on the CPU, without a view.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cmath>
#include <optional>
#include <utility>

#include "lumox/geometry/lumbounds.h"
#include "lumox/math/lumclass.h"
#include "lumox/scene/lumcomp.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

using TBox = std::optional<std::pair<TLumMathVector, TLumMathVector>>;

// A box as ((min x, y, z), (max x, y, z)); None when it holds no point.
TBox BoxToPython(const TLumBounds& B) {
  if (B.Empty()) return std::nullopt;
  return std::pair{B.Min, B.Max};
}

// A turn for the fit distance: a lumox rotation, transformation or other transform, or a
// 4 x 4 matrix as rows (turn[row][column]); None is the identity (looking along -Z).
TLumMathMatrix TurnFromPython(py::handle Turn) {
  if (Turn.is_none()) return IDENTITYMATRIX;
  if (TPersistent* P = Unwrap(Turn.ptr())) {
    if (auto* T = dynamic_cast<TLumTransform*>(P)) return T->GetMatrix();
    if (auto* T = dynamic_cast<TLumTransformation*>(P)) return T->GetMatrix();
    ThrowType("turn takes a rotation, a transformation or a 4 x 4 matrix, not a " +
              std::string(P->ClassName()));
  }
  auto A = py::array_t<double, py::array::forcecast>::ensure(Turn);
  if (!A || A.ndim() != 2 || A.shape(0) != 4 || A.shape(1) != 4)
    throw py::value_error("turn takes a 4 x 4 matrix of numbers, not " + TypeName(Turn));
  TLumMathMatrix M;
  for (int Row = 0; Row < 4; ++Row)
    for (int Col = 0; Col < 4; ++Col) M.M[Col * 4 + Row] = A.at(Row, Col);
  return M;
}

}  // namespace

void RegisterBounds(py::module_& M) {
  AddMethod(
      "TLumRender", "local_bounds", nullptr,
      [](TLumRender& R) { return BoxToPython(LumLocalBounds(&R)); },
      "The box of the component's own geometry in its own coordinates (before its "
      "transformation), as ((min x, y, z), (max x, y, z)); None without geometry.");
  AddMethod(
      "TLumRender", "world_bounds", nullptr,
      [](TLumRender& R) { return BoxToPython(LumWorldBounds(&R)); },
      "The box of every enabled vertex under the component (its own geometry included) in its "
      "parent's coordinates, through its transformation and those of the nodes under it; None "
      "when there is no vertex.");
  AddMethod(
      "TLumRender", "bounding_sphere", nullptr,
      [](TLumRender& R) -> std::optional<std::pair<TLumMathVector, double>> {
        TLumMathVector Centre;
        double Radius = 0;
        if (!LumBoundingSphere(&R, Centre, Radius)) return std::nullopt;
        return std::pair{Centre, Radius};
      },
      "(centre, radius): the centre of the world box and the distance to the farthest vertex; "
      "None when there is no vertex.");
  AddMethod(
      "TLumRender", "fit_distance", nullptr,
      [](TLumRender& R, const TLumMathVector& Centre, double TanHalfX, double TanHalfY,
         py::handle Turn) {
        if (!(TanHalfX > 0) || !(TanHalfY > 0) || !std::isfinite(TanHalfX) ||
            !std::isfinite(TanHalfY))
          throw py::value_error("tan_half_x and tan_half_y take finite numbers above 0");
        return LumFitDistance(&R, TurnFromPython(Turn), Centre, TanHalfX, TanHalfY);
      },
      py::arg("centre"), py::arg("tan_half_x"), py::arg("tan_half_y"), py::kw_only(),
      py::arg("turn") = py::none(),
      "How far from centre a camera must stand to see every vertex under the component, "
      "looking at centre along -Z of turn (a rotation from the parent's directions into the "
      "camera's: a lumox rotation or a 4 x 4 matrix; None looks along -Z), its view reaching "
      "tan_half_x and tan_half_y to the side per unit of depth. 0 when there is no vertex.");

  py::object Counts =
      py::module_::import("collections")
          .attr("namedtuple")("MeshCounts", "objects vertices triangles lines points");
  Counts.attr("__module__") = "lumox";
  Counts.attr("__doc__") =
      "What the enabled geometry under a component draws: objects with geometry, vertices, "
      "triangles (quads, strips, fans and polygons as the triangles they make), line segments "
      "and points.";
  M.attr("MeshCounts") = Counts;
  AddMethod(
      "TLumRender", "mesh_counts", nullptr,
      [](TLumRender& R) {
        const TLumMeshCounts C = LumCountMeshes(&R);
        return Module().attr("MeshCounts")(C.Objects, C.Vertices, C.Triangles, C.Lines, C.Points);
      },
      "The MeshCounts of the enabled geometry under the component.");
}

}  // namespace lumoxpy
