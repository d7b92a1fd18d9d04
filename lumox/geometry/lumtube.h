// TLumTube: a tube along a path of sections (point, radius, optional colour), its rings
// carried along the path by parallel transport so that it neither twists nor flips, with
// optional end caps, smooth or per-section normals and texture coordinates along and around.
#pragma once

#include <cstdint>
#include <vector>

#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumtubeProperties();
}  // namespace detail

struct TLumTubeSection {
  TLumMathVector Point{};
  double Radius = 1.0;
  // $00BBGGRR; used only when HasColor is set.
  uint32_t Color = 0xFFFFFF;
  bool HasColor = false;
};

// The local frame of a section: the tangent T and two unit vectors N, B across it, with
// B = T x N.
struct TLumTubeFrame {
  TLumMathVector T, N, B;
};

// Frames for the points of a path: tangents halve the angle at each joint; N is carried
// from section to section by the rotation that takes one tangent to the next (double
// reflection), so a straight run keeps its frame and a sharp turn does not flip it. On a
// closed path the turn that transport accumulates around the loop is spread evenly over
// its length, so that the last frame meets the first. Consecutive coincident points must
// have been removed.
void LumTubeFrames(const std::vector<TLumMathVector>& Path, bool Closed,
                   std::vector<TLumTubeFrame>& Frames);

class TLumTube : public TLumPrimitiveObj {
 public:
  explicit TLumTube(TComponent* AOwner);
  const char* ClassName() const override { return "TLumTube"; }

  int32_t SectionCount() const { return static_cast<int32_t>(FSections.size()); }
  // Section i; a default section when out of range.
  TLumTubeSection Section(int32_t i) const;
  // Appends a section; non-finite values and negative radii are ignored (-1).
  int32_t AddSection(const TLumMathVector& Point, double Radius);
  int32_t AddSection(const TLumMathVector& Point, double Radius, uint32_t Color);
  // Replaces section i (bad values ignored, as in AddSection).
  void SetSection(int32_t i, const TLumTubeSection& Value);
  void DeleteSection(int32_t i);
  void ClearSections();

  // Quads around the circumference; at least 3.
  int32_t Segments() const { return FSegments; }
  void SetSegments(int32_t Value);
  // The path returns from the last section to the first: a ring without caps.
  bool Closed() const { return FClosed; }
  void SetClosed(bool Value);
  // Flat caps at both ends of an open tube.
  bool Caps() const { return FCaps; }
  void SetCaps(bool Value);
  // True: normals shared across sections; False: every piece between two sections has
  // its own, so that the tube shows its sections as facets.
  bool Smooth() const { return FSmooth; }
  void SetSmooth(bool Value);

  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 private:
  void Rebuild();
  static bool Valid(const TLumTubeSection& S);
  std::vector<TLumTubeSection> FSections;
  int32_t FSegments = 12;
  bool FClosed = false;
  bool FCaps = true;
  bool FSmooth = true;
  friend void detail::RegisterLumtubeProperties();
};

// Registers TLumTube.
void RegisterLumtubeClasses();

}  // namespace lumox
