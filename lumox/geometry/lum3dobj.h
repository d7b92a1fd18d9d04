// TLum3dObj: a container of meshes that a program or a model importer fills, made of
// named parts (TLum3dPart), each with its own vertex block, index lists of any primitive
// type and an optional material; saved with all its arrays, so a scene stays one file.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "lumox/geometry/lumpolygon.h"
#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLum3dobjProperties();
}  // namespace detail

class TLum3dObj;
class TLumMaterial;
class TLumTexture;

// OpenGL primitive modes by name, GL_POINTS (0) .. GL_POLYGON (9).
extern const char* const TLumPrimitiveTypeStr[10];

// One mesh of a container. Its vertex block and lists are what the program put there:
// building never clears them. Normals, texture coordinates and colours are drawn when
// their arrays are defined (see SetVertexData and SetArrays).
class TLum3dPart : public TLumPrimitiveObj {
 public:
  const char* ClassName() const override { return "TLum3dPart"; }
  ~TLum3dPart() override;

  TLum3dObj* Container() const { return FContainer; }
  const std::string& PartName() const { return FPartName; }
  void SetPartName(const std::string& Value);
  // A hidden part is neither drawn nor picked.
  bool Visible() const { return FVisible; }
  void SetVisible(bool Value);

  // Which per-vertex arrays the part has, of daVertex, daNormal, daTexture and daColor
  // (daVertex always); the same arrays are drawn.
  TLumArrays Arrays() const { return Points()->DefineArrays(); }
  void SetArrays(TLumArrays Value);
  int32_t VertexCount() const { return Points()->Count(); }
  // Appends one vertex with the values of the arrays the part has; returns its number.
  // Throws Exception when the container's vertex bound would be passed.
  int32_t AddVertex(const TLumMathVector& Position, const TLumMathVector& Normal = ZEROVEC,
                    const TLumMathVector& Texture = ZEROVEC,
                    const std::array<float, 4>& Color = {1.0f, 1.0f, 1.0f, 1.0f});
  // Replaces the vertex block by Count vertices: positions (3 per vertex) and, where
  // given, normals (3), texture coordinates (TexComponents = 2 or 3 per vertex) and
  // colours (4 floats, 0..1). The arrays given are the arrays the part then has. Throws
  // Exception when the container's vertex bound would be passed.
  void SetVertexData(int32_t Count, const double* Positions, const double* Normals = nullptr,
                     const double* TexCoords = nullptr, int32_t TexComponents = 2,
                     const float* Colors = nullptr);
  // Makes the vertex block Count vertices of the arrays in Arrays (of daVertex, daNormal,
  // daTexture and daColor; daVertex always), each allocated once and zero, for the caller
  // to fill through Points(). Throws Exception when the container's vertex bound would
  // be passed.
  void ResizeVertexData(int32_t Count, TLumArrays Arrays);
  // Appends an index list of an OpenGL mode with Count vertex numbers; returns its
  // position. Throws Exception for a number with no vertex or an unknown mode.
  int32_t AddIndices(int32_t PrimitiveType, const uint32_t* Indices, int32_t Count);

  // The part's own material (created by CreateMaterial), or nullptr.
  TLumMaterial* PartMaterial() const { return FMaterial.get(); }
  // Creates the part's material when it has none, and returns it.
  TLumMaterial* CreateMaterial();
  void RemoveMaterial();

  // The vertex block is the part's content: building keeps it.
  void Init() override;
  void ClearPoints() override {}
  // Draws the vertex block through the index lists (client arrays), pushing no names.
  void DrawMesh(TLumCustomView* aView);
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 private:
  friend class TLum3dObj;
  explicit TLum3dPart(TLum3dObj* Container);
  void CheckBound(int64_t NewCount) const;
  TLum3dObj* FContainer;
  std::string FPartName;
  bool FVisible = true;
  std::unique_ptr<TLumMaterial> FMaterial;
  // Reads the children of the part's "Material" element into FMaterial.
  TLumChildReader FMaterialReader;
};

// The container: draws its colour, attributes and material, then each visible part with
// its own material (or the container's again, when the part has none), each part under
// a selection name of its own.
class TLum3dObj : public TLumObject {
 public:
  explicit TLum3dObj(TComponent* AOwner);
  ~TLum3dObj() override;
  const char* ClassName() const override { return "TLum3dObj"; }

  int32_t PartCount() const { return static_cast<int32_t>(FParts.size()); }
  // Part i, or nullptr.
  TLum3dPart* Part(int32_t i) const;
  // The first part of that name, or nullptr.
  TLum3dPart* FindPart(const std::string& Name) const;
  // Appends an empty part (positions, normals and texture coordinates) and returns it.
  TLum3dPart* AddPart(const std::string& Name);
  void DeletePart(int32_t i);
  void Clear();
  // Replaces the parts by the meshes of a model file (any format the model importer
  // reads), each placed by the file's node transformations; textures become components
  // owned by this object. Throws Exception naming the file when it cannot be read, the
  // parts then as they were. Defined in lumox/import.
  void LoadFromFile(const std::string& FileName);
  // Vertices of all parts together.
  int64_t VertexCount() const;
  // The most vertices the parts may hold together; adding beyond it throws. Values
  // below 1 are ignored.
  int32_t MaxVertices() const { return FMaxVertices; }
  void SetMaxVertices(int32_t Value);

  void DoRender(TLumCustomView* aView) override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

  // A part reports its changes here.
  void PartChanged();
  // The textures of the textured parts, each once, in part order: the file writes them
  // before the parts, which name them by number.
  std::vector<TLumTexture*> PartTextures() const;
  // The number of texture T in the element being written, or -1.
  int32_t TextureIndex(TLumTexture* T) const;
  // Texture Index of the object's element being read, or nullptr.
  TLumTexture* FileTexture(int32_t Index) const;

 private:
  std::vector<std::unique_ptr<TLum3dPart>> FParts;
  // The "Texture" children of the element being read, in file order; the textures are
  // owned by the object.
  std::vector<TLumTexture*> FFileTextures;
  // The numbers of the textures while the object's element is written.
  std::unordered_map<TLumTexture*, int32_t> FWrittenTextures;
  int32_t FMaxVertices = 16777216;
  friend void detail::RegisterLum3dobjProperties();
};

// Registers TLum3dObj.
void RegisterLum3dobjClasses();

}  // namespace lumox
