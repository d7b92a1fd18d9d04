// The storage every mesh is drawn from: the per-vertex arrays (TLumPrimitivePoints), the
// index lists over them (TLumPrimitiveArray), one vertex as value objects (TLumPointItem)
// and the texture-coordinate generation settings (TLumTextureFlags).
#pragma once

#include <cstdint>
#include <exception>
#include <vector>

#include "lumox/math/lumclass.h"

namespace lumox {

class TLumTexture;

// The most vertices a mesh may have, and the most indices one of its lists may hold:
// by default 2^26 (67 108 864). The counts are computed in 64 bits before anything is
// allocated; a larger mesh throws Exception naming the object and the count.
inline constexpr int64_t DefaultMaxMeshCount = int64_t{1} << 26;
// The bound in force for the process. A program that renders untrusted files in little
// memory lowers it (the fuzz targets do); it is clamped to 0..INT32_MAX.
int64_t MaxMeshCount();
void SetMaxMeshCount(int64_t Count);
// A * B, or INT64_MAX when the product does not fit (both are expected >= 0).
int64_t MeshMul(int64_t A, int64_t B);
// Count as the size of Obj's vertex block (What = "vertices") or of an index list
// ("indices"); throws Exception when it is negative or over MaxMeshCount().
int32_t MeshCount(const TObject* Obj, int64_t Count, const char* What = "vertices");

// The kinds of per-vertex data.
enum TLumArray : uint8_t { daVertex, daNormal, daTexture, daColor, daEdgeFlag, daFlag };
extern const char* const TLumArrayStr[6];
using TLumArrays = TLumSet<TLumArray>;

// One vertex as owned value objects.
class TLumPointItem : public TLumProperty {
 public:
  TLumPointItem();
  ~TLumPointItem() override;
  const char* ClassName() const override { return "TLumPointItem"; }

  TLumVector* Point() const { return FPoint; }
  TLumNormal* Normal() const { return FNormal; }
  TLumVector* Texture() const { return FTexture; }
  TLumColor* Color() const { return FColor; }
  // The setters copy the value in; nullptr is ignored.
  void SetPoint(TLumVector* Value);
  void SetNormal(TLumNormal* Value);
  void SetTexture(TLumVector* Value);
  void SetColor(TLumColor* Value);
  int32_t Flag() const { return FFlag; }
  void SetFlag(int32_t Value) { FFlag = Value; }
  bool EdgeFlag() const { return FEdgeFlag; }
  void SetEdgeFlag(bool Value) { FEdgeFlag = Value; }

  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  TLumVector* FPoint;
  TLumNormal* FNormal;
  TLumVector* FTexture;
  TLumColor* FColor;
  int32_t FFlag = 0;
  bool FEdgeFlag = true;
};

// The vertex block of a mesh: flat arrays in the layouts OpenGL's client arrays take
// (3 doubles per vertex, normal and texture coordinate, 4 floats per colour, one byte
// per edge flag and per user-flag set). Size is the capacity the block reports, Count
// the vertices in use; the storage underneath grows geometrically.
class TLumPrimitivePoints : public TLumProperty {
 public:
  TLumPrimitivePoints() = default;
  ~TLumPrimitivePoints() override;
  const char* ClassName() const override { return "TLumPrimitivePoints"; }

  int32_t Size() const { return FSize; }
  // Reallocates every defined array to n entries; n < 0 is ignored. New user flags are 0.
  void SetSize(int32_t n);
  int32_t Count() const { return FCount; }
  // SetSize(n), then Count := n; n < 0 is ignored.
  void SetCount(int32_t n);
  // Which arrays exist. Arrays dropped from the set keep their memory but stop working.
  TLumArrays DefineArrays() const { return FDefineArrays; }
  void SetDefineArrays(TLumArrays Value);
  // Which existing arrays are handed to OpenGL when drawing.
  TLumArrays UsedArrays() const { return FUsedArrays; }
  void SetUsedArrays(TLumArrays Value) { FUsedArrays = Value; }
  bool IsDefined(TLumArray Kind) const { return FDefineArrays.Contains(Kind); }

  // The raw arrays (Size entries each), or nullptr when the kind is not defined.
  double* Vertices() { return IsDefined(daVertex) ? FVertices.data() : nullptr; }
  const double* Vertices() const { return IsDefined(daVertex) ? FVertices.data() : nullptr; }
  double* Normals() { return IsDefined(daNormal) ? FNormals.data() : nullptr; }
  const double* Normals() const { return IsDefined(daNormal) ? FNormals.data() : nullptr; }
  double* TexCoords() { return IsDefined(daTexture) ? FTexCoords.data() : nullptr; }
  const double* TexCoords() const { return IsDefined(daTexture) ? FTexCoords.data() : nullptr; }
  float* Colors() { return IsDefined(daColor) ? FColors.data() : nullptr; }
  const float* Colors() const { return IsDefined(daColor) ? FColors.data() : nullptr; }
  uint8_t* EdgeFlags() { return IsDefined(daEdgeFlag) ? FEdgeFlags.data() : nullptr; }
  const uint8_t* EdgeFlags() const { return IsDefined(daEdgeFlag) ? FEdgeFlags.data() : nullptr; }
  uint8_t* Flags() { return IsDefined(daFlag) ? FFlags.data() : nullptr; }
  const uint8_t* Flags() const { return IsDefined(daFlag) ? FFlags.data() : nullptr; }

  // Appends a vertex and returns its number; -1 (nothing added) without a vertex array.
  int32_t Add(double x, double y, double z);
  // Appends a vertex with normal and texture coordinate, each where its array exists.
  int32_t Add(const TLumMathVector& Vertex, const TLumMathVector& Normal,
              const TLumMathVector& Texture);
  // Appends the whole record (edge flag True is stored as 255, Flag as its low byte).
  int32_t Add(TLumPointItem* Item);
  // Appends every vertex of Other (all kinds defined in both except the user flags) and
  // returns the number of the first one: the offset for merging Other's index lists.
  int32_t Add(TLumPrimitivePoints* Other);
  // Removes N vertices from Start, shifting the rest down.
  void Delete(int32_t Start, int32_t N);

  // Kind 0 vertex, 1 normal, 2 texture (Component 0..2), 3 colour (Component 0..3).
  // Out of range or undefined reads 0 and writes nothing.
  double GetValues(int32_t Index, int32_t Component, int32_t Kind) const;
  void SetValues(int32_t Index, int32_t Component, int32_t Kind, double Value);
  // Kind 0 vertex, 1 normal, 2 texture; (0, 0, 0) when out of range or undefined.
  TLumMathVector GetVector(int32_t Index, int32_t Kind) const;
  void SetVector(int32_t Index, int32_t Kind, const TLumMathVector& Vector);
  void GetPoint(int32_t Index, TLumPointItem* Item) const;
  void SetPoint(int32_t Index, TLumPointItem* Item);
  // 255 (all bits) when the edge-flag array is missing or Index is out of 0..Count-1.
  uint8_t GetEdgeFlag(int32_t Index) const;
  void SetEdgeFlag(int32_t Index, uint8_t Value);
  // User flag bit (Bit mod 32, tested on the byte) of a vertex.
  bool GetFlag(int32_t Index, int32_t Bit) const;
  void SetFlag(int32_t Index, int32_t Bit, bool Value);
  // vertex := vertex + normal * Distance.
  void LiftPoint(int32_t Index, double Distance);
  void MovePoints(double dx, double dy, double dz);
  void ScalePoints(double sx, double sy, double sz);

  // Copies the sets and Size, then appends the source's vertices behind those present.
  void Assign(TPersistent* Source) override;

  // Hands the used arrays to OpenGL's client-array state, and takes them back.
  void BeforeRender(TLumCustomView* View);
  void AfterRender(TLumCustomView* View);

 private:
  // Makes room for one more vertex, by the block's rule of 12 at a time.
  void Grow();
  bool InSize(int32_t Index) const { return Index >= 0 && Index < FSize; }

  std::vector<double> FVertices;
  std::vector<double> FNormals;
  std::vector<double> FTexCoords;
  std::vector<float> FColors;
  std::vector<uint8_t> FEdgeFlags;
  std::vector<uint8_t> FFlags;
  int32_t FSize = 0;
  int32_t FCount = 0;
  TLumArrays FDefineArrays{daVertex, daNormal, daTexture, daFlag};
  TLumArrays FUsedArrays{daVertex, daNormal};
};

// Switches a mesh's client arrays off when its drawing is left by an exception (a
// texture's upload or a naming handler throwing), as AfterRender does on the normal path.
class TLumArraysOffOnThrow {
 public:
  TLumArraysOffOnThrow(TLumPrimitivePoints* Points, TLumCustomView* View)
      : FPoints(Points), FView(View), FExceptions(std::uncaught_exceptions()) {}
  ~TLumArraysOffOnThrow() {
    if (std::uncaught_exceptions() > FExceptions) FPoints->AfterRender(FView);
  }
  TLumArraysOffOnThrow(const TLumArraysOffOnThrow&) = delete;
  TLumArraysOffOnThrow& operator=(const TLumArraysOffOnThrow&) = delete;

 private:
  TLumPrimitivePoints* FPoints;
  TLumCustomView* FView;
  int FExceptions;
};

// One OpenGL primitive over the vertices of a points block: a list of vertex numbers
// drawn with glDrawElements straight from its storage.
class TLumPrimitiveArray : public TLumProperty {
 public:
  explicit TLumPrimitiveArray(int32_t PrimitiveType);
  ~TLumPrimitiveArray() override;
  const char* ClassName() const override { return "TLumPrimitiveArray"; }

  int32_t Count() const { return FCount; }
  // SetSize(n), then Count := n; n < 0 is ignored.
  void SetCount(int32_t n);
  int32_t Size() const { return FSize; }
  void SetSize(int32_t n);
  // An OpenGL primitive mode, GL_POINTS .. GL_POLYGON.
  int32_t PrimitiveType() const { return FPrimitiveType; }
  // Converts the list where a conversion exists (see the source); else keeps the type.
  void SetType(int32_t NewType);
  // A hidden list is not drawn and gives no normals.
  bool Visible() const { return FVisible; }
  void SetVisible(bool Value) { FVisible = Value; }
  TLumTexture* Texture() const { return FTexture; }
  void SetTexture(TLumTexture* Value) { FTexture = Value; }
  bool Textured() const { return FTextured; }
  void SetTextured(bool Value) { FTextured = Value; }

  // Entry i; 0 outside 0..Size-1 (reads), ignored there (writes).
  uint32_t Indices(int32_t i) const;
  void SetIndices(int32_t i, uint32_t Value);
  // The raw list, as glDrawElements takes it.
  uint32_t* IndexData() { return FIndices.data(); }
  const uint32_t* IndexData() const { return FIndices.data(); }

  void AddIndex(uint32_t i);
  // Writes i at Position (clamped to 0..Count) and raises Count by one without shifting.
  void Insert(int32_t Position, uint32_t i);
  void Delete(int32_t Start, int32_t N);
  // Appends Other's indices plus Offset when both lists have the same type.
  void Add(TLumPrimitiveArray* Other, int32_t Offset);
  // Copies size, indices, count, type, visibility and texture (not Textured).
  void Assign(TPersistent* Source) override;

  void SwitchToTriangles();
  void SwitchToQuads();
  // Reverses the facing of every primitive in the list.
  void Invert();
  void ProceedDirectRendering();

 private:
  void Grow();
  std::vector<uint32_t> FIndices;
  int32_t FCount = 0;
  int32_t FSize = 0;
  int32_t FPrimitiveType;
  bool FVisible = true;
  TLumTexture* FTexture = nullptr;
  bool FTextured = false;
};

// How texture coordinates are generated from vertex positions.
class TLumTextureFlags : public TLumProperty {
 public:
  TLumTextureFlags();
  ~TLumTextureFlags() override;
  const char* ClassName() const override { return "TLumTextureFlags"; }

  TLumTextureMode Mode() const { return FMode; }
  void SetMode(TLumTextureMode Value);
  double ShiftX() const { return FShiftX; }
  void SetShiftX(double Value);
  double ShiftY() const { return FShiftY; }
  void SetShiftY(double Value);
  double ScaleX() const { return FScaleX; }
  void SetScaleX(double Value);
  double ScaleY() const { return FScaleY; }
  void SetScaleY(double Value);
  // The centre of txSphereZ.
  TLumVector* ParamVector() const { return FParamVector; }
  void SetParamVec(TLumVector* Value);

  // Every published property in order, through the setters. The scene-file element is
  // the table's (mode, shifts, scales, then the parameter vector as a child element).
  void Assign(TPersistent* Source) override;

 private:
  TLumTextureMode FMode = txStandard;
  double FShiftX = 0.0;
  double FShiftY = 0.0;
  double FScaleX = 1.0;
  double FScaleY = 1.0;
  TLumVector* FParamVector;
};

}  // namespace lumox
