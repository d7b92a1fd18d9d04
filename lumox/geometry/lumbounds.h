// Where a scene lies and what it holds, computed on the CPU without a GL context: the
// box of a component's own geometry, a walk through nodes with each item's world matrix,
// the world box and bounding sphere of a tree, and its vertex and primitive counts.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>

#include "lumox/math/lummath.h"

namespace lumox {

class TLumRender;

// An axis-aligned box of points; empty until a point is added.
struct TLumBounds {
  TLumMathVector Min{HUGE_VAL, HUGE_VAL, HUGE_VAL};
  TLumMathVector Max{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  bool Empty() const { return !(Min.X <= Max.X); }
  // Points with a non-finite coordinate are left out.
  void Add(const TLumMathVector& P);
  void Add(const TLumBounds& B);
  TLumMathVector Centre() const;
  // The length of the diagonal; 0 when empty.
  double Diagonal() const;
};

// Calls Visit with every vertex of Item's own geometry, in its own coordinates (before
// its transformation): the vertex block of a mesh object (built first if it is not), the
// visible parts of a TLum3dObj. Returns false for a component without geometry of its
// own (nodes, render state).
bool LumForEachVertex(TLumRender* Item, const std::function<void(const TLumMathVector&)>& Visit);

// The box of Item's own geometry in its own coordinates; empty without geometry.
TLumBounds LumLocalBounds(TLumRender* Item);

// Calls Visit for Root and every enabled item under it (through nodes, their indirect
// items too, as a frame draws them) with World, the matrix that takes the item's own
// coordinates into Root's parent's: the transformations of Root, the nodes on the way
// and the item's own. Disabled items and everything under them are left out, as a frame
// leaves them out. Runs without recursion, so nesting of any depth is walked.
void LumWalkScene(TLumRender* Root,
                  const std::function<void(TLumRender* Item, const TLumMathMatrix& World)>& Visit);

// The box of every vertex under Root (Root's own geometry included) in Root's parent's
// coordinates; empty when there is none.
TLumBounds LumWorldBounds(TLumRender* Root);

// The centre of the world box and the distance from it to the farthest vertex; false
// when there is no vertex.
bool LumBoundingSphere(TLumRender* Root, TLumMathVector& Centre, double& Radius);

// How far from Centre a camera must stand to see every vertex under Root, looking at
// Centre along -Z of Turn (a rotation that takes Root's parent's directions into the
// camera's), its view reaching TanHalfX and TanHalfY to the side per unit of depth: for
// each vertex at (x, y, z) in the camera's directions, z plus the larger of
// |x| / TanHalfX and |y| / TanHalfY, measured from Centre. 0 when there is no vertex.
double LumFitDistance(TLumRender* Root, const TLumMathMatrix& Turn, const TLumMathVector& Centre,
                      double TanHalfX, double TanHalfY);

// What the enabled geometry under Root draws.
struct TLumMeshCounts {
  int64_t Objects = 0;    // components with geometry
  int64_t Vertices = 0;   // entries of their vertex blocks
  int64_t Triangles = 0;  // quads, strips, fans and polygons as the triangles they make
  int64_t Lines = 0;      // line segments of line lists, strips and loops
  int64_t Points = 0;     // points of point lists and point sets
};
TLumMeshCounts LumCountMeshes(TLumRender* Root);

}  // namespace lumox
