// TLumPrimitiveObj: the generic mesh object, built on demand from a vertex block and
// index lists and drawn with client arrays, with the mesh operations (smooth normals,
// generated texture coordinates, relief, subdivision, merging, extrusion).
#pragma once

#include <cstdint>
#include <vector>

#include "lumox/geometry/lumprimclasses.h"
#include "lumox/scene/lumobj.h"

namespace lumox {

class TBitmap;
class TLumTexture;

// An edge between two vertex numbers.
struct TLumEdge {
  int32_t A = 0;
  int32_t B = 0;
};
using TLumEdgeArray = std::vector<TLumEdge>;

class TLumPrimitiveObj : public TLumObject {
 public:
  explicit TLumPrimitiveObj(TComponent* AOwner);
  ~TLumPrimitiveObj() override;
  const char* ClassName() const override { return "TLumPrimitiveObj"; }

  TLumPrimitivePoints* Points() const { return FPoints; }
  // Whether the mesh is built for the current parameters; shapes clear it (and call
  // Changed) when a parameter changes, so the next draw builds again.
  bool Initialized() const { return FInitialized; }
  void SetInitialized(bool Value) { FInitialized = Value; }
  // Whether each index list pushes a selection name of its own in the selecting modes
  // (True at creation); the object's own name is pushed either way.
  bool Selectable() const { return FSelectable; }
  void SetSelectable(bool Value) { FSelectable = Value; }
  // Whether texture coordinates are handed to OpenGL; applies to every index list.
  bool Textured() const;
  void SetTextured(bool Value);
  // A shared texture, referenced and not owned; given to every index list.
  TLumTexture* Texture() const { return FTexture; }
  void SetTexture(TLumTexture* Value);
  TLumTextureFlags* TextureFlags() const { return FTextureFlags; }
  // Copies the values in; nullptr is ignored.
  void SetTextureFlags(TLumTextureFlags* Value);
  // Called with the object as sender after each build.
  TNotifyEvent OnAfterInit;

  // Builds the mesh: ClearAll, InitPoints, CalcTexture, InitPrimitives.
  virtual void Init();
  // Fill the vertex block and the index lists; shapes override them.
  virtual void InitPoints();
  virtual void InitPrimitives();
  virtual void ClearAll();
  virtual void ClearPoints();
  virtual void ClearPrimitives();

  // Appends an index list of an OpenGL mode and returns its position.
  int32_t AddPrimitiveArray(int32_t PrimitiveType);
  // Appends a vertex number to list Primitive; a missing list is ignored.
  void AddIndex(uint32_t Index, int32_t Primitive = 0);
  // The i-th index list, or nullptr.
  TLumPrimitiveArray* GetPrimitive(int32_t i) const;
  int32_t GetPrimitiveCount() const { return static_cast<int32_t>(FPrimitives.size()); }
  void DeletePrimitiveArray(int32_t i) { DeletePrimitiveArray(i, 1); }
  void DeletePrimitiveArray(int32_t Start, int32_t N);

  // Smooth vertex normals from the faces of the visible lists; vertices with user flag
  // bit 0 at the same place share one normal.
  void CalcNormals();
  // Texture coordinates of every vertex by TextureFlags.Mode.
  void CalcTexture();
  void CalcTexturePoint(int32_t Index);
  // Displaces the vertices along their normals by the grey value under their texture
  // coordinate; vertices with user flag bit 1 at one place move together.
  void SetReliefBitmap(TBitmap* Bitmap, float Height, float RepeatX, float RepeatY);
  // Splits one triangle of a GL_TRIANGLES list into four (for meshes on the unit sphere).
  void SplitTriangle(int32_t Primitive, int32_t Triangle);
  // Appends the vertices and index lists of another mesh, building it first if needed.
  void AddPrimitiveObj(TLumPrimitiveObj* Other);
  // Deletes N vertices from Start; lists that used them are hidden.
  void FreePoints(int32_t Start, int32_t N);
  // Deletes every vertex that no visible list uses.
  void FreeUnusedPoints();
  void Invert();
  // The vertex of list Primitive nearest to Point; -1 for a missing or empty list.
  int32_t getNearPoint(int32_t Primitive, const TLumMathVector& Point) const;
  // The boundary edges of the visible face lists (edges used by exactly one face), in
  // the direction their face runs them; returns their count.
  int32_t GetOpenEdges(TLumEdgeArray& Edges) const;
  // Extrusion along the vertex normals by Depth, or along a fixed vector, in Steps
  // layers; Closed caps the far side, so an open sheet becomes a closed solid.
  void Extrude(double Depth, int32_t Steps, bool Closed);
  void Extrude(double Depth, int32_t Steps, bool Closed, TLumTexture* Texture);
  void ExtrudeByVec(const TLumMathVector& Vector, int32_t Steps, bool Closed);
  void ExtrudeByVec(const TLumMathVector& Vector, int32_t Steps, bool Closed, TLumTexture* Texture);
  void ExtrudePrimitiveObj(double Depth, int32_t Steps, bool Closed, bool UseTexture, bool ByVector,
                           const TLumMathVector& Vector, TLumTexture* Texture);

  void Assign(TPersistent* Source) override;
  void DoRender(TLumCustomView* aView) override;
  void WriteValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  TLumPrimitivePoints* FPoints;
  std::vector<TLumPrimitiveArray*> FPrimitives;
  bool FInitialized = false;
  bool FSelectable = true;
  TLumTexture* FTexture = nullptr;
  TLumTextureFlags* FTextureFlags;
};

}  // namespace lumox
