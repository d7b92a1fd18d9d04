// Meshes from NumPy arrays: a part's vertices, normals, texture coordinates, colours and
// index lists, and a point set's points and colours, each set in one call (a C-ordered
// float64 array goes in without a copy of ours) and read back as arrays.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstring>

#include "lumox/geometry/lum3dobj.h"
#include "lumox/geometry/lumpointset.h"
#include "lumox/geometry/lumpolygon.h"
#include "lumox/geometry/lumprimclasses.h"
#include "lumox/geometry/lumtube.h"
#include "lumox/scene/lummat.h"
#include "lumoxpy.h"

namespace lumoxpy {

using namespace lumox;

namespace {

using TDoubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
using TFloats = py::array_t<float, py::array::c_style | py::array::forcecast>;
using TIndices = py::array_t<uint32_t, py::array::c_style | py::array::forcecast>;

py::object Wrapped(TPersistent* P) { return py::reinterpret_steal<py::object>(Wrap(P)); }

// Rows of Width values, as (N, Width); What names the argument in errors.
int32_t Rows(const py::array& A, py::ssize_t Width, const char* What) {
  if (A.ndim() != 2 || A.shape(1) != Width)
    throw py::value_error(std::string(What) + " takes an (N, " + std::to_string(Width) +
                          ") array, not one of shape " +
                          std::string(py::str(py::tuple(A.attr("shape")))));
  if (A.shape(0) > INT32_MAX) throw py::value_error(std::string(What) + ": too many rows");
  return static_cast<int32_t>(A.shape(0));
}

TDoubles Doubles(py::handle V, py::ssize_t Width, const char* What, int32_t& Count) {
  if (!py::isinstance<py::array>(V) && !py::isinstance<py::sequence>(V))
    throw py::type_error(std::string(What) + " takes an array of numbers");
  py::array Raw = py::array::ensure(V);
  if (!Raw) throw py::error_already_set();
  if (Raw.dtype().kind() != 'f' && Raw.dtype().kind() != 'i' && Raw.dtype().kind() != 'u')
    throw py::type_error(std::string(What) + " takes numbers, not an array of " +
                         std::string(py::str(Raw.dtype())));
  TDoubles A = TDoubles::ensure(Raw);
  Count = Rows(A, Width, What);
  return A;
}

// Colours as RGBA floats 0..1: floats as they are, bytes divided by 255, RGB given
// alpha 1.
TFloats Colours(py::handle V, int32_t Count, const char* What) {
  py::array Raw = py::array::ensure(V);
  if (!Raw || (Raw.dtype().kind() != 'f' && Raw.dtype().kind() != 'u' && Raw.dtype().kind() != 'i'))
    throw py::type_error(std::string(What) + " takes an (N, 3) or (N, 4) array of numbers");
  if (Raw.ndim() != 2 || (Raw.shape(1) != 3 && Raw.shape(1) != 4))
    throw py::value_error(std::string(What) + " takes an (N, 3) or (N, 4) array");
  if (Raw.shape(0) != Count)
    throw py::value_error(std::string(What) + " has " + std::to_string(Raw.shape(0)) +
                          " rows for " + std::to_string(Count) + " vertices");
  const bool Bytes = Raw.dtype().kind() != 'f';
  TFloats F = TFloats::ensure(Raw);
  if (!Bytes && Raw.shape(1) == 4) return F;
  TFloats Out({py::ssize_t(Count), py::ssize_t(4)});
  const float* Src = F.data();
  float* Dst = Out.mutable_data();
  const py::ssize_t W = Raw.shape(1);
  const float Scale = Bytes ? 1.0f / 255.0f : 1.0f;
  for (py::ssize_t I = 0; I < Count; ++I) {
    for (py::ssize_t K = 0; K < 3; ++K) Dst[I * 4 + K] = Src[I * W + K] * Scale;
    Dst[I * 4 + 3] = W == 4 ? Src[I * W + 3] * Scale : 1.0f;
  }
  return Out;
}

// A copy of the first Count rows of an array of the block (Width values each).
template <typename T>
py::object Copy(const T* Data, int32_t Count, py::ssize_t Width) {
  if (!Data) return py::none();
  py::array_t<T> A({py::ssize_t(Count), Width});
  if (Count > 0) std::memcpy(A.mutable_data(), Data, size_t(Count) * size_t(Width) * sizeof(T));
  return A;
}

// A mesh is built on first need (a frame would build it); reading arrays builds it too.
TLumPrimitivePoints* Built(TLumPrimitiveObj& O) {
  if (!O.Initialized()) O.Init();
  return O.Points();
}

// Parts are freed at once (they are no components, so their frees cannot wait): not
// while a handler runs, as the object may be drawing them.
void NotFromHandler(const char* What) {
  if (InHandler())
    ThrowError(std::string(What) +
               " frees parts, which a handler cannot do while the library may be drawing them");
}

py::object PrimitiveTypes() { return EnumType("TLumPrimitiveType", TLumPrimitiveTypeStr); }

// On every mesh class; a part's table descends from TPersistent, not from the meshes'
// so it gets them too.
void RegisterPrimitive(const char* Class) {
  // The vertex arrays, each a copy (None where the mesh has none).
  const struct {
    const char* Name;
    py::object (*Read)(TLumPrimitivePoints& P);
    const char* Doc;
  } Arrays[] = {
      {"vertices", [](TLumPrimitivePoints& P) { return Copy(P.Vertices(), P.Count(), 3); },
       "A copy of the vertex positions, (N, 3) float64 (the mesh is built first if needed)."},
      {"normals", [](TLumPrimitivePoints& P) { return Copy(P.Normals(), P.Count(), 3); },
       "A copy of the vertex normals, (N, 3) float64, or None when the mesh has none."},
      {"tex_coords", [](TLumPrimitivePoints& P) { return Copy(P.TexCoords(), P.Count(), 3); },
       "A copy of the texture coordinates, (N, 3) float64, or None when the mesh has none."},
      {"colors", [](TLumPrimitivePoints& P) { return Copy(P.Colors(), P.Count(), 4); },
       "A copy of the vertex colours, (N, 4) float32 RGBA 0..1, or None when the mesh has none."},
  };
  for (const auto& A : Arrays)
    AddMethod(
        Class, A.Name, nullptr, [Read = A.Read](TLumPrimitiveObj& O) { return Read(*Built(O)); },
        A.Doc);
  AddMethod(
      Class, "index_lists", nullptr,
      [](TLumPrimitiveObj& O) {
        Built(O);
        py::list L;
        for (int32_t I = 0; I < O.GetPrimitiveCount(); ++I) {
          const TLumPrimitiveArray* A = O.GetPrimitive(I);
          py::array_t<uint32_t> Idx(A->Count());
          if (A->Count() > 0)
            std::memcpy(Idx.mutable_data(), A->IndexData(), size_t(A->Count()) * sizeof(uint32_t));
          L.append(py::make_tuple(EnumValue(PrimitiveTypes(), A->PrimitiveType()), Idx));
        }
        return L;
      },
      "The index lists as (PrimitiveType, uint32 array) pairs, in drawing order.");
  AddProperty(Class, "vertex_count", nullptr,
              py::cpp_function([](TLumPrimitiveObj& O) { return Built(O)->Count(); }), {},
              "Vertices of the (built) mesh.");
}

void RegisterParts() {
  AddMethod(
      "TLum3dPart", "set_vertex_data", "SetVertexData",
      [](TLum3dPart& P, py::handle Vertices, py::handle Normals, py::handle TexCoords,
         py::handle Colors) {
        int32_t Count = 0;
        TDoubles V = Doubles(Vertices, 3, "vertices", Count);
        std::optional<TDoubles> N, T;
        std::optional<TFloats> C;
        int32_t Rows2 = 0, TexWidth = 2;
        if (!Normals.is_none()) {
          N = Doubles(Normals, 3, "normals", Rows2);
          if (Rows2 != Count) throw py::value_error("normals and vertices differ in rows");
        }
        if (!TexCoords.is_none()) {
          py::array Raw = py::array::ensure(TexCoords);
          TexWidth = Raw && Raw.ndim() == 2 && Raw.shape(1) == 3 ? 3 : 2;
          T = Doubles(TexCoords, TexWidth, "tex_coords", Rows2);
          if (Rows2 != Count) throw py::value_error("tex_coords and vertices differ in rows");
        }
        if (!Colors.is_none()) C = Colours(Colors, Count, "colors");
        P.SetVertexData(Count, V.data(), N ? N->data() : nullptr, T ? T->data() : nullptr, TexWidth,
                        C ? C->data() : nullptr);
      },
      py::arg("vertices"), py::arg("normals") = py::none(), py::arg("tex_coords") = py::none(),
      py::arg("colors") = py::none(),
      "Replaces the vertex block in one call: vertices (N, 3), and optionally normals (N, 3), "
      "tex_coords (N, 2) or (N, 3), colors (N, 3) or (N, 4) (floats 0..1, or bytes 0..255). "
      "The arrays given are the arrays the part then has. Raises lumox.Error when the "
      "container's vertex bound would be passed.");
  AddMethod(
      "TLum3dPart", "add_indices", "AddIndices",
      [](TLum3dPart& P, py::handle Mode, py::handle Indices) {
        const int64_t Type = EnumOrdinal(PrimitiveTypes(),
                                         std::vector<std::string>(std::begin(TLumPrimitiveTypeStr),
                                                                  std::end(TLumPrimitiveTypeStr)),
                                         Mode, "mode");
        py::array Raw = py::array::ensure(Indices);
        if (!Raw || (Raw.dtype().kind() != 'i' && Raw.dtype().kind() != 'u'))
          throw py::type_error("add_indices takes an array of integers");
        if (Raw.size() > 0 && Raw.dtype().kind() == 'i' &&
            py::int_(Raw.attr("min")()).cast<int64_t>() < 0)
          throw py::value_error("add_indices takes vertex numbers from 0");
        if (Raw.size() > 0 && py::int_(Raw.attr("max")()).cast<uint64_t>() > UINT32_MAX)
          throw py::value_error("a vertex number beyond 32 bits");
        if (Raw.size() > INT32_MAX) throw py::value_error("too many indices");
        TIndices I = TIndices::ensure(Raw.attr("ravel")());
        return P.AddIndices(static_cast<int32_t>(Type), I.data(), static_cast<int32_t>(I.size()));
      },
      py::arg("mode"), py::arg("indices"),
      "Appends an index list of a primitive mode (PrimitiveType, its name or the GL number) "
      "from an array of vertex numbers (any shape, read in C order); returns its position. "
      "A number with no vertex raises lumox.Error and adds nothing.");
  AddMethod(
      "TLum3dPart", "create_material", "CreateMaterial",
      [](TLum3dPart& P) { return Wrapped(P.CreateMaterial()); },
      "The part's own material, made when it has none.");
  AddMethod(
      "TLum3dPart", "remove_material", "RemoveMaterial", [](TLum3dPart& P) { P.RemoveMaterial(); },
      "Drops the part's own material (the container's is drawn again).");
  AddProperty("TLum3dPart", "container", "Container",
              py::cpp_function([](TLum3dPart& P) { return Wrapped(P.Container()); }), {},
              "The Lum3dObj the part belongs to.");

  AddMethod(
      "TLum3dObj", "add_part", "AddPart",
      [](TLum3dObj& O, const std::string& Name) { return Wrapped(O.AddPart(Name)); },
      py::arg("name") = "", "Appends an empty part and returns it.");
  AddMethod(
      "TLum3dObj", "part", "Part",
      [](TLum3dObj& O, int64_t I) {
        if (I < 0) I += O.PartCount();
        if (I < 0 || I >= O.PartCount()) throw py::index_error("no part " + std::to_string(I));
        return Wrapped(O.Part(static_cast<int32_t>(I)));
      },
      py::arg("index"), "Part i (negative counts from the end).");
  AddMethod(
      "TLum3dObj", "find_part", "FindPart",
      [](TLum3dObj& O, const std::string& Name) { return Wrapped(O.FindPart(Name)); },
      py::arg("name"), "The first part of that name, or None.");
  AddMethod(
      "TLum3dObj", "delete_part", "DeletePart",
      [](TLum3dObj& O, int64_t I) {
        if (I < 0) I += O.PartCount();
        if (I < 0 || I >= O.PartCount()) throw py::index_error("no part " + std::to_string(I));
        NotFromHandler("delete_part");
        O.DeletePart(static_cast<int32_t>(I));
      },
      py::arg("index"), "Frees part i; Python references to it then raise lumox.Error.");
  AddMethod(
      "TLum3dObj", "clear", "Clear",
      [](TLum3dObj& O) {
        NotFromHandler("clear");
        O.Clear();
      },
      "Frees every part.");
  AddProperty("TLum3dObj", "parts", nullptr, py::cpp_function([](TLum3dObj& O) {
                py::list L;
                for (int32_t I = 0; I < O.PartCount(); ++I) L.append(Wrapped(O.Part(I)));
                return L;
              }),
              {}, "The parts, in drawing order (a new list).");
  AddProperty("TLum3dObj", "part_count", "PartCount",
              py::cpp_function([](TLum3dObj& O) { return O.PartCount(); }), {}, "How many parts.");
  AddProperty("TLum3dObj", "total_vertex_count", "VertexCount",
              py::cpp_function([](TLum3dObj& O) { return O.VertexCount(); }), {},
              "Vertices of all parts together.");
}

void RegisterPointSet() {
  AddMethod(
      "TLumPointSet", "set_points", "SetPointData",
      [](TLumPointSet& S, py::handle Points, py::handle Colors) {
        int32_t Count = 0;
        TDoubles XYZ = Doubles(Points, 3, "points", Count);
        if (Count == 0) {
          S.Clear();
          return;
        }
        if (Colors.is_none()) {
          S.SetPointData(Count, XYZ.data());
          return;
        }
        TFloats RGBA = Colours(Colors, Count, "colors");
        S.SetPointData(Count, XYZ.data(), RGBA.data());
      },
      py::arg("points"), py::arg("colors") = py::none(),
      "Replaces all points in one call: points (N, 3) (a C-ordered float64 array is read "
      "where it lies), colors (N, 3) or (N, 4) (floats 0..1 or bytes 0..255), which switch "
      "colored on when given.");
  AddMethod(
      "TLumPointSet", "points", nullptr,
      [](TLumPointSet& S) { return Copy(S.Points()->Vertices(), S.PointCount(), 3); },
      "A copy of the points, (N, 3) float64.");
  AddMethod(
      "TLumPointSet", "add_point", "AddPoint",
      [](TLumPointSet& S, double X, double Y, double Z, std::optional<std::vector<float>> Color) {
        if (!Color) return S.AddPoint(X, Y, Z);
        if (Color->size() != 3 && Color->size() != 4)
          throw py::value_error("a point's colour is (r, g, b) or (r, g, b, a), each 0..1");
        return S.AddPoint(X, Y, Z, (*Color)[0], (*Color)[1], (*Color)[2],
                          Color->size() == 4 ? (*Color)[3] : 1.0f);
      },
      py::arg("x"), py::arg("y"), py::arg("z"), py::arg("color") = py::none(),
      "Appends a point (with a colour: the points before it become white, colored on); "
      "returns its number, -1 for a non-finite point.");
  AddProperty("TLumPointSet", "point_count", "PointCount",
              py::cpp_function([](TLumPointSet& S) { return S.PointCount(); }), {},
              "How many points.");
  AddMethod(
      "TLumPointSet", "clear", "Clear", [](TLumPointSet& S) { S.Clear(); }, "Removes every point.");
  AddMethod(
      "TLumPointSet", "reserve", "Reserve", [](TLumPointSet& S, int32_t N) { S.Reserve(N); },
      py::arg("count"), "Makes room for count points at once.");
  AddMethod(
      "TLumPointSet", "load_from_file", "LoadFromFile",
      [](TLumPointSet& S, const std::string& F) { S.LoadFromFile(F); }, py::arg("file_name"),
      "Reads \"x y z [r g b]\" lines (colour bytes 0..255); on a bad line raises lumox.Error "
      "naming the file and line, the points as they were.");
}

// Polygons' contours and tubes' paths, from arrays of points.
void RegisterPolygonAndTube() {
  AddMethod(
      "TLumPolygon", "set_contour", "SetContour",
      [](TLumPolygon& P, int32_t I, py::handle Points) {
        int32_t Count = 0;
        TDoubles A = Doubles(Points, 2, "points", Count);
        TLumContour C(static_cast<size_t>(Count));
        for (int32_t K = 0; K < Count; ++K) C[size_t(K)] = {A.data()[2 * K], A.data()[2 * K + 1]};
        P.SetContour(I, C);
      },
      py::arg("index"), py::arg("points"),
      "Replaces contour i (appended when i is contour_count) by (N, 2) points; contour 0 is "
      "the outline, the others holes.");
  AddMethod(
      "TLumPolygon", "contour", "Contour",
      [](TLumPolygon& P, int32_t I) {
        const TLumContour& C = P.Contour(I);
        py::array_t<double> A({py::ssize_t(C.size()), py::ssize_t(2)});
        for (size_t K = 0; K < C.size(); ++K) {
          A.mutable_data()[2 * K] = C[K].X;
          A.mutable_data()[2 * K + 1] = C[K].Y;
        }
        return A;
      },
      py::arg("index"), "Contour i as (N, 2) points (empty when out of range).");
  AddMethod(
      "TLumPolygon", "add_point", "AddPoint",
      [](TLumPolygon& P, double X, double Y, int32_t C) { P.AddPoint(X, Y, C); }, py::arg("x"),
      py::arg("y"), py::arg("contour") = 0, "Appends a point to a contour.");
  AddMethod(
      "TLumPolygon", "clear_contours", "ClearContours", [](TLumPolygon& P) { P.ClearContours(); },
      "Removes every contour.");
  AddProperty("TLumPolygon", "contour_count", "ContourCount",
              py::cpp_function([](TLumPolygon& P) { return P.ContourCount(); }), {},
              "How many contours.");
  AddMethod(
      "TLumTube", "add_section", "AddSection",
      [](TLumTube& T, const TLumMathVector& Point, double Radius, std::optional<uint32_t> Color) {
        return Color ? T.AddSection(Point, Radius, *Color) : T.AddSection(Point, Radius);
      },
      py::arg("point"), py::arg("radius"), py::arg("color") = py::none(),
      "Appends a section of the path (with a colour $00BBGGRR); -1 for bad values, which are "
      "ignored.");
  AddMethod(
      "TLumTube", "delete_section", "DeleteSection",
      [](TLumTube& T, int32_t I) { T.DeleteSection(I); }, py::arg("index"), "Removes section i.");
  AddMethod(
      "TLumTube", "clear_sections", "ClearSections", [](TLumTube& T) { T.ClearSections(); },
      "Removes every section.");
  AddProperty("TLumTube", "section_count", "SectionCount",
              py::cpp_function([](TLumTube& T) { return T.SectionCount(); }), {},
              "How many sections.");
}

}  // namespace

void RegisterMeshes(py::module_& M) {
  PrimitiveTypes();
  RegisterPrimitive("TLumPrimitiveObj");
  RegisterPrimitive("TLum3dPart");
  RegisterParts();
  RegisterPointSet();
  RegisterPolygonAndTube();
  (void)M;
}

}  // namespace lumoxpy
