// TLumPolygon: a planar polygon of an outer contour and hole contours, filled through
// GLU's tessellator, drawn as an outline or extruded to a closed solid; and the planar
// tessellation and extrusion helpers that 3D text shares.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumpolygonProperties();
}  // namespace detail

struct TLumPoint2 {
  double X = 0.0;
  double Y = 0.0;
};
using TLumContour = std::vector<TLumPoint2>;

// Which regions of overlapping contours are filled: odd winding numbers (holes by
// containment, whatever their direction) or non-zero ones (holes run the other way).
enum TLumWindingRule : uint8_t { wrOdd, wrNonZero };
extern const char* const TLumWindingRuleStr[2];

// The result of tessellating contours in the X-Y plane.
struct TLumTessellation {
  // The input points followed by the points that crossing edges add.
  std::vector<TLumPoint2> Points;
  // Three point numbers per triangle, counter-clockwise seen from +Z.
  std::vector<uint32_t> Triangles;
  // The boundary of the filled region as closed loops with the region on their left.
  std::vector<std::vector<uint32_t>> Boundary;
};

// Tessellates Contours by Rule through GLU's tessellator. Contours of fewer than three
// points are left out. Throws Exception with GLU's message when the tessellator fails.
void LumTessellate(const std::vector<TLumContour>& Contours, TLumWindingRule Rule,
                   TLumTessellation& Out);

// Fills Obj's vertex block and index lists from a tessellation. Depth 0 gives the flat
// region at z = 0 facing +Z; a positive Depth a closed solid from z = 0 to z = Depth
// (front cap facing +Z, back cap facing -Z, side walls with a normal of their own per
// edge). Outline gives line loops along the boundary instead (at both ends of a solid).
// Caps take texture coordinates from the bounding box of the points (scaled and shifted
// by Obj's TextureFlags); walls run s along the boundary and t from z = 0 to Depth.
void LumBuildPlanarMesh(TLumPrimitiveObj& Obj, const TLumTessellation& T, double Depth,
                        bool Outline);

// A value object that hands the child elements of one element to a function while a
// scene is read: the way list-valued properties take their items from the file.
class TLumChildReader : public TLumProperty {
 public:
  using TReadFunc = std::function<TObject*(TLumExchange* Exchange, TXMLTag* Tag)>;
  explicit TLumChildReader(TReadFunc Read) : FRead(std::move(Read)) {}
  const char* ClassName() const override { return "TLumChildReader"; }
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override { return FRead(Exchange, Tag); }

 private:
  TReadFunc FRead;
};

// A polygon in the X-Y plane: contour 0 is the outer one, the others are holes (or, by
// the odd rule, any contours whose overlaps cancel). Concave and self-touching contours
// are filled correctly.
class TLumPolygon : public TLumPrimitiveObj {
 public:
  explicit TLumPolygon(TComponent* AOwner);
  ~TLumPolygon() override;
  const char* ClassName() const override { return "TLumPolygon"; }

  int32_t ContourCount() const { return static_cast<int32_t>(FContours.size()); }
  // Contour i, or an empty one when i is out of range.
  const TLumContour& Contour(int32_t i) const;
  // Appends an empty contour and returns its number.
  int32_t AddContour();
  // Appends a point to contour Contour (created, with the ones before it, when it does
  // not exist yet); non-finite coordinates, coordinates beyond 1e150 and negative
  // contour numbers are ignored.
  void AddPoint(double X, double Y, int32_t Contour = 0);
  // Replaces contour i (appended when i = ContourCount).
  void SetContour(int32_t i, const TLumContour& Points);
  void ClearContours();
  // 0 = flat; a positive value extrudes to a solid of that thickness along +Z. Negative
  // and non-finite values are ignored.
  double Depth() const { return FDepth; }
  void SetDepth(double Value);
  // Lines along the boundary instead of filled faces.
  bool Outline() const { return FOutline; }
  void SetOutline(bool Value);
  TLumWindingRule WindingRule() const { return FWindingRule; }
  void SetWindingRule(TLumWindingRule Value);

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 private:
  void Rebuild();
  std::vector<TLumContour> FContours;
  double FDepth = 0.0;
  bool FOutline = false;
  TLumWindingRule FWindingRule = wrOdd;
  TLumChildReader FContourReader;
  friend void detail::RegisterLumpolygonProperties();
};

// Registers TLumPolygon.
void RegisterLumpolygonClasses();

}  // namespace lumox
