// TLumPointSet: a point cloud drawn as GL_POINTS of a given size, with optional colours
// per point, kept in flat client arrays so that clouds of millions of points stay cheap;
// loads plain "x y z [r g b]" text files.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

// The points live in the vertex block itself (positions, and colours once a coloured
// point is added): building only marks the set ready, and a cached set draws through
// one display list. Points are drawn unlit, in their own colours when Colored is on and
// in the object's colour otherwise.
class TLumPointSet : public TLumPrimitiveObj {
 public:
  explicit TLumPointSet(TComponent* AOwner);
  const char* ClassName() const override { return "TLumPointSet"; }

  int32_t PointCount() const { return Points()->Count(); }
  // Appends a point and returns its number; non-finite coordinates are ignored (-1).
  int32_t AddPoint(double X, double Y, double Z);
  // Appends a point with its colour (components 0..1); the first coloured point gives
  // the points before it white and switches Colored on.
  int32_t AddPoint(double X, double Y, double Z, float R, float G, float B, float A = 1.0f);
  // Replaces all points by Count positions (3 per point) and, when given, colours (4 per
  // point, 0..1), copied in one go.
  void SetPointData(int32_t Count, const double* XYZ, const float* RGBA = nullptr);
  // Makes room for Count points at once, so that adding them one by one never moves
  // the arrays (a cloud of millions grows without copies).
  void Reserve(int32_t Count);
  TLumMathVector GetPoint(int32_t Index) const { return Points()->GetVector(Index, 0); }
  // The colour of a point as r, g, b, a; white without colours or out of range.
  std::array<float, 4> GetPointColor(int32_t Index) const;
  void Clear();
  // Reads a text file of one point per line, "x y z" or "x y z r g b" (colour components
  // 0..255), separated by blanks, tabs or commas; empty lines and lines starting with '#'
  // are skipped. On a bad line throws Exception naming the file and the line, and the
  // points stay as they were.
  void LoadFromFile(const std::string& FileName);

  // Size of a point in pixels; values not above 0 are ignored.
  float PointSize() const { return FPointSize; }
  void SetPointSize(float Value);
  // Whether the per-point colours are drawn (needs colours; see AddPoint).
  bool Colored() const;
  void SetColored(bool Value);

  // Nothing to generate: the points are the vertex block.
  void Init() override;
  void ClearPoints() override {}
  void DoRender(TLumCustomView* aView) override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 private:
  void Modified();
  // Defines the colour array (existing points white) when it is missing.
  void DefineColors();
  float FPointSize = 1.0f;
  // The file's Colored value, applied again after each point read.
  bool FColoredOnLoad = false;
};

// Registers TLumPointSet.
void RegisterLumpointsetClasses();

}  // namespace lumox
