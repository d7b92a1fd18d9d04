// Welding of coincident vertices and smooth vertex normals: the mesh maths behind
// TLumPrimitiveObj::CalcNormals and SetReliefBitmap, on plain arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumox {

// Welding of coincident vertices. Two vertices coincide when their positions differ by
// less than Tol on each axis. For every vertex whose flag byte has a bit of Mask set,
// Rep receives the lowest-numbered such vertex that coincides with it (itself when none
// does, e.g. for non-finite positions); other vertices get themselves. When Counts is
// given it receives the number of coinciding masked vertices (1 for unmasked ones), and
// RepNonZero, when given, the lowest coinciding masked vertex other than 0 (0 only when
// none exists). Exactly the linear scan's result, found through a grid of cells in
// expected linear time. Flags may be nullptr: then no vertex is masked.
void LumWeldPoints(const double* Vertices, const uint8_t* Flags, int32_t Count, uint8_t Mask,
                   double Tol, std::vector<int32_t>& Rep, std::vector<int32_t>* Counts = nullptr,
                   std::vector<int32_t>* RepNonZero = nullptr);

// One index list as smoothing reads it: an OpenGL primitive type and its indices.
struct TLumFaceList {
  int32_t PrimitiveType;
  const uint32_t* Indices;
  int32_t Count;
};

// Smooth normals of the Count vertices of Vertices (3 doubles each; positions at
// Readable and beyond read as the origin) from the faces of Lists, in order:
// - every face's unit normal (of its first three corners in the winding GL draws, a
//   quad's second triangle and a quad strip's quad as TLumPrimitiveObj::CalcNormals
//   states) is added to each of its corners; points and lines give (0, 0, 1); a strip
//   face whose normal is within Tol of zero on every axis gives nothing;
// - a vertex whose flag bit 0 is set adds to, and reads from, its weld representative
//   (LumWeldPoints with mask 1 and Tol);
// - each vertex whose representative received something gets the normalised mean;
//   the others keep what Normals holds.
// Indices at Count and beyond receive nothing.
void LumSmoothNormals(const double* Vertices, int32_t Readable, const uint8_t* Flags, int32_t Count,
                      const TLumFaceList* Lists, size_t ListCount, double Tol, double* Normals);

}  // namespace lumox
