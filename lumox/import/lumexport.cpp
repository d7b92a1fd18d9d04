// Writing a tree of nodes and meshes to OBJ, STL or glTF 2.0 through the Asset Importer
// library's exporters.
#include <assimp/material.h>
#include <assimp/scene.h>
#include <assimp/texture.h>

#include <algorithm>
#include <assimp/Exporter.hpp>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "lumox/geometry/lumpointset.h"
#include "lumox/host/graphics.h"
#include "lumox/import/lumimport.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"

namespace lumox {

namespace fs = std::filesystem;

namespace {

const char* FormatOf(const std::string& FileName) {
  std::string E = fs::path(FileName).extension().string();
  std::transform(E.begin(), E.end(), E.begin(), [](unsigned char c) { return std::tolower(c); });
  if (E == ".obj") return "obj";
  if (E == ".stl") return "stlb";
  if (E == ".gltf") return "gltf2";
  if (E == ".glb") return "glb2";
  return nullptr;
}

// The matrix the transformation's GL calls build, in Asset Importer's row-major form.
aiMatrix4x4 MatrixOf(const TLumTransformation* T) {
  const TLumMathMatrix M = T->GetMatrix();
  auto F = [&M](int Row, int Col) { return static_cast<float>(M.M[Col * 4 + Row]); };
  return aiMatrix4x4(F(0, 0), F(0, 1), F(0, 2), F(0, 3), F(1, 0), F(1, 1), F(1, 2), F(1, 3),
                     F(2, 0), F(2, 1), F(2, 2), F(2, 3), F(3, 0), F(3, 1), F(3, 2), F(3, 3));
}

// Splits an index list of any OpenGL mode into triangles or line segments.
void Decompose(const TLumPrimitiveArray* A, std::vector<uint32_t>& Tris,
               std::vector<uint32_t>& Lines) {
  const uint32_t* I = A->IndexData();
  const int32_t N = A->Count();
  auto Tri = [&](int32_t a, int32_t b, int32_t c) { Tris.insert(Tris.end(), {I[a], I[b], I[c]}); };
  switch (A->PrimitiveType()) {
    case GL_TRIANGLES:
      for (int32_t i = 0; i + 2 < N; i += 3) Tri(i, i + 1, i + 2);
      break;
    case GL_TRIANGLE_STRIP:
      for (int32_t i = 0; i + 2 < N; ++i)
        if (i % 2)
          Tri(i + 1, i, i + 2);
        else
          Tri(i, i + 1, i + 2);
      break;
    case GL_TRIANGLE_FAN:
    case GL_POLYGON:
      for (int32_t i = 1; i + 1 < N; ++i) Tri(0, i, i + 1);
      break;
    case GL_QUADS:
      for (int32_t i = 0; i + 3 < N; i += 4) Tri(i, i + 1, i + 2), Tri(i, i + 2, i + 3);
      break;
    case GL_QUAD_STRIP:
      for (int32_t i = 0; i + 3 < N; i += 2) Tri(i, i + 1, i + 3), Tri(i, i + 3, i + 2);
      break;
    case GL_LINES:
      for (int32_t i = 0; i + 1 < N; i += 2) Lines.insert(Lines.end(), {I[i], I[i + 1]});
      break;
    case GL_LINE_STRIP:
    case GL_LINE_LOOP:
      for (int32_t i = 0; i + 1 < N; ++i) Lines.insert(Lines.end(), {I[i], I[i + 1]});
      if (A->PrimitiveType() == GL_LINE_LOOP && N > 2) Lines.insert(Lines.end(), {I[N - 1], I[0]});
      break;
    default:
      break;  // points carry no surface and no edge
  }
}

void PutColor(aiMaterial* M, const TLumColor* C, const char* Key, unsigned Type, unsigned Index) {
  float P[4];
  C->GetParams(P);
  const aiColor4D V(P[0], P[1], P[2], P[3]);
  M->AddProperty(&V, 1, Key, Type, Index);
}

class TExporter {
 public:
  // Apply: transformations into the vertices; LinesToo: line segments as line meshes;
  // Textures: texture paths and coordinates (STL has none); Embed: textures as images
  // inside the file, else as files named ImageStem_k.png beside it.
  TExporter(bool Apply, bool LinesToo, bool Textures, bool Embed, const std::string& ImageStem)
      : FApply(Apply),
        FLinesToo(LinesToo),
        FTexturesToo(Textures),
        FEmbed(Embed),
        FImageStem(ImageStem) {}
  std::unique_ptr<aiScene> Build(TLumNode* Root);
  // The textures met, in the order of their numbers.
  const std::vector<TLumTexture*>& Textures() const { return FTextures; }
  std::string ImageName(size_t Index) const {
    return FImageStem + "_" + std::to_string(Index) + ".png";
  }
  std::vector<std::string> Warnings;

 private:
  void AddMesh(const TLumPrimitiveObj* Obj, const TLumMaterial* Mat, TLumTexture* Tex,
               const aiMatrix4x4& M, std::vector<unsigned>& Out);
  unsigned TextureNumber(TLumTexture* T);
  bool FApply, FLinesToo, FTexturesToo, FEmbed;
  std::string FImageStem;
  std::vector<aiMesh*> FMeshes;
  std::vector<aiMaterial*> FMaterials;
  std::vector<TLumTexture*> FTextures;
  std::unordered_map<TLumTexture*, unsigned> FTextureNumbers;  // looked up for every mesh
  int64_t FLinesLeft = 0;   // line segments a format without lines leaves out
  int64_t FPointsLeft = 0;  // points, which no format written holds
};

unsigned TExporter::TextureNumber(TLumTexture* T) {
  const auto [It, New] = FTextureNumbers.try_emplace(T, static_cast<unsigned>(FTextures.size()));
  if (!New) return It->second;
  if (!T->Transformation()->GetEmpty())
    Warnings.push_back("the transformation of texture \"" + T->Name() +
                       "\" is left out: the format holds none");
  FTextures.push_back(T);
  return static_cast<unsigned>(FTextures.size() - 1);
}

void TExporter::AddMesh(const TLumPrimitiveObj* Obj, const TLumMaterial* Mat, TLumTexture* Tex,
                        const aiMatrix4x4& M, std::vector<unsigned>& Out) {
  std::vector<uint32_t> Tris, Lines;
  for (int32_t i = 0; i < Obj->GetPrimitiveCount(); ++i) {
    const TLumPrimitiveArray* A = Obj->GetPrimitive(i);
    if (!A->Visible()) continue;
    Decompose(A, Tris, Lines);
    if (A->PrimitiveType() == GL_POINTS) FPointsLeft += A->Count();
  }
  // A point cloud draws its vertices as points, without primitive lists.
  if (auto* Cloud = dynamic_cast<const TLumPointSet*>(Obj)) FPointsLeft += Cloud->PointCount();
  if (!FLinesToo) FLinesLeft += static_cast<int64_t>(Lines.size() / 2), Lines.clear();
  const TLumPrimitivePoints* P = Obj->Points();
  if (!P->TexCoords() || !FTexturesToo) Tex = nullptr;
  aiMatrix3x3 NM(M);
  NM.Inverse().Transpose();
  for (int Kind = 0; Kind < 2; ++Kind) {
    const std::vector<uint32_t>& L = Kind ? Lines : Tris;
    if (L.empty()) continue;
    const unsigned Corners = Kind ? 2 : 3;
    auto* Mesh = new aiMesh;
    Mesh->mPrimitiveTypes = Kind ? aiPrimitiveType_LINE : aiPrimitiveType_TRIANGLE;
    const unsigned N = static_cast<unsigned>(P->Count());
    Mesh->mNumVertices = N;
    Mesh->mVertices = new aiVector3D[N];
    const double *V = P->Vertices(), *Nr = P->Normals(), *T = P->TexCoords();
    if (Nr && !Kind) Mesh->mNormals = new aiVector3D[N];
    if (Tex && !Kind) {
      Mesh->mTextureCoords[0] = new aiVector3D[N];
      Mesh->mNumUVComponents[0] = 2;
    }
    for (unsigned v = 0; v < N; ++v) {
      aiVector3D X{float(V[v * 3]), float(V[v * 3 + 1]), float(V[v * 3 + 2])};
      Mesh->mVertices[v] = FApply ? M * X : X;
      if (Mesh->mNormals) {
        aiVector3D W{float(Nr[v * 3]), float(Nr[v * 3 + 1]), float(Nr[v * 3 + 2])};
        Mesh->mNormals[v] = FApply ? (NM * W).NormalizeSafe() : W;
      }
      if (Mesh->mTextureCoords[0])
        Mesh->mTextureCoords[0][v] = aiVector3D(float(T[v * 3]), float(T[v * 3 + 1]), 0.0f);
    }
    Mesh->mNumFaces = static_cast<unsigned>(L.size() / Corners);
    Mesh->mFaces = new aiFace[Mesh->mNumFaces];
    for (unsigned f = 0; f < Mesh->mNumFaces; ++f) {
      aiFace& F = Mesh->mFaces[f];
      F.mNumIndices = Corners;
      F.mIndices = new unsigned[Corners];
      std::copy(L.begin() + f * Corners, L.begin() + (f + 1) * Corners, F.mIndices);
    }
    auto* AM = new aiMaterial;
    const aiString Name("material" + std::to_string(FMaterials.size()));
    AM->AddProperty(&Name, AI_MATKEY_NAME);
    if (Mat) {
      PutColor(AM, Mat->ColorAmbient(), AI_MATKEY_COLOR_AMBIENT);
      PutColor(AM, Mat->ColorDiffuse(), AI_MATKEY_COLOR_DIFFUSE);
      PutColor(AM, Mat->ColorSpecular(), AI_MATKEY_COLOR_SPECULAR);
      PutColor(AM, Mat->ColorEmission(), AI_MATKEY_COLOR_EMISSIVE);
      const float S = static_cast<float>(Mat->Shininess());
      AM->AddProperty(&S, 1, AI_MATKEY_SHININESS);
    } else {
      PutColor(AM, Obj->Color(), AI_MATKEY_COLOR_DIFFUSE);
    }
    if (Mesh->mTextureCoords[0]) {
      // An embedded image is named "*k" by its number in the scene's textures.
      const unsigned K = TextureNumber(Tex);
      std::string Name = "*";  // appended to: GCC 12 warns falsely of literal + string at -O3
      Name = FEmbed ? Name.append(std::to_string(K)) : ImageName(K);
      const aiString Path(Name);
      AM->AddProperty(&Path, AI_MATKEY_TEXTURE_DIFFUSE(0));
    }
    Mesh->mMaterialIndex = static_cast<unsigned>(FMaterials.size());
    FMaterials.push_back(AM);
    Out.push_back(static_cast<unsigned>(FMeshes.size()));
    FMeshes.push_back(Mesh);
  }
}

std::unique_ptr<aiScene> TExporter::Build(TLumNode* Root) {
  auto Scene = std::make_unique<aiScene>();
  Scene->mRootNode = new aiNode("root");
  // Depth-first in drawing order with an explicit stack of (component, parent file node,
  // matrix above it); materials and textures rendered as items colour what follows them.
  struct Item {
    TLumRender* R;
    aiNode* Parent;
    aiMatrix4x4 Above;
  };
  std::vector<Item> Stack{{Root, nullptr, aiMatrix4x4()}};
  const TLumMaterial* CurrentMaterial = nullptr;
  TLumTexture* CurrentTexture = nullptr;
  bool MaterialsLeft = false;
  while (!Stack.empty()) {
    Item It = Stack.back();
    Stack.pop_back();
    if (auto* Mat = dynamic_cast<TLumMaterial*>(It.R); Mat && Mat->Enabled()) CurrentMaterial = Mat;
    if (auto* Tex = dynamic_cast<TLumTexture*>(It.R))
      CurrentTexture = Tex->Enabled() ? Tex : nullptr;  // a disabled texture ends texturing
    if (!It.R->Enabled()) continue;                     // not drawn
    const aiMatrix4x4 Own = MatrixOf(It.R->Transformation());
    const aiMatrix4x4 M = It.Above * Own;
    aiNode* Node = Scene->mRootNode;
    if (It.Parent && !FApply) {
      Node = new aiNode;
      Node->mTransformation = Own;
      Node->mParent = It.Parent;
      It.Parent->addChildren(1, &Node);
    } else if (!FApply) {
      Node->mTransformation = Own;
    }
    if (auto* O = dynamic_cast<TLumObject*>(It.R); O && It.Parent && !FApply)
      Node->mName = O->ObjectName();
    std::vector<unsigned> Meshes;
    if (auto* N = dynamic_cast<TLumNode*>(It.R)) {
      for (int i = N->GetCount(); i-- > 0;)
        if (TLumRender* C = N->GetItems(i)) Stack.push_back({C, Node, M});
    } else if (auto* O3 = dynamic_cast<TLum3dObj*>(It.R)) {
      for (int32_t i = 0; i < O3->PartCount(); ++i) {
        TLum3dPart* P = O3->Part(i);
        if (!P->Visible()) continue;
        const TLumMaterial* Mat = P->PartMaterial() ? P->PartMaterial()
                                  : O3->Material()  ? O3->Material()
                                                    : CurrentMaterial;
        TLumTexture* Tex = P->Textured() ? (P->Texture() ? P->Texture() : CurrentTexture) : nullptr;
        MaterialsLeft = MaterialsLeft || Mat || Tex;
        AddMesh(P, Mat, Tex, M, Meshes);
      }
    } else if (auto* PO = dynamic_cast<TLumPrimitiveObj*>(It.R)) {
      if (!PO->Initialized()) PO->Init();
      const TLumMaterial* Mat = PO->Material() ? PO->Material() : CurrentMaterial;
      TLumTexture* Tex =
          PO->Textured() ? (PO->Texture() ? PO->Texture() : CurrentTexture) : nullptr;
      MaterialsLeft = MaterialsLeft || Mat || Tex;
      AddMesh(PO, Mat, Tex, M, Meshes);
    }
    if (!Meshes.empty()) {
      auto* Old = Node->mMeshes;
      Node->mMeshes = new unsigned[Node->mNumMeshes + Meshes.size()];
      std::copy(Old, Old + Node->mNumMeshes, Node->mMeshes);
      std::copy(Meshes.begin(), Meshes.end(), Node->mMeshes + Node->mNumMeshes);
      Node->mNumMeshes += static_cast<unsigned>(Meshes.size());
      delete[] Old;
    }
  }
  // Points are said to be left out, rather than dropped without a word.
  const std::string Points = FPointsLeft > 0 ? std::to_string(FPointsLeft) +
                                                   " points are left out: the format holds "
                                                   "no points"
                                             : "";
  if (FMeshes.empty())
    throw Exception(Points.empty() ? std::string("There are no meshes to write.")
                                   : "There are no meshes to write (" + Points + ").");
  if (!Points.empty()) Warnings.push_back(Points);
  if (FLinesLeft > 0)
    Warnings.push_back(std::to_string(FLinesLeft) +
                       " line segments are left out: the format holds triangles only");
  if (!FTexturesToo && MaterialsLeft)
    Warnings.push_back("materials and textures are left out: the format holds triangles only");
  Scene->mNumMeshes = static_cast<unsigned>(FMeshes.size());
  Scene->mMeshes = new aiMesh*[FMeshes.size()];
  std::copy(FMeshes.begin(), FMeshes.end(), Scene->mMeshes);
  FMeshes.clear();
  Scene->mNumMaterials = static_cast<unsigned>(FMaterials.size());
  Scene->mMaterials = new aiMaterial*[FMaterials.size()];
  std::copy(FMaterials.begin(), FMaterials.end(), Scene->mMaterials);
  FMaterials.clear();
  if (FEmbed && !FTextures.empty()) {
    // Each texture as a PNG file held in the scene, which the writer puts in the file.
    Scene->mNumTextures = static_cast<unsigned>(FTextures.size());
    Scene->mTextures = new aiTexture*[FTextures.size()];
    for (size_t k = 0; k < FTextures.size(); ++k) {
      const std::string Png = FTextures[k]->Bitmap()->Encode("image.png");
      auto* T = new aiTexture;
      T->mWidth = static_cast<unsigned>(Png.size());
      T->mHeight = 0;
      std::strcpy(T->achFormatHint, "png");
      T->pcData = new aiTexel[(Png.size() + 3) / 4];  // freed by the texture as texels
      std::memcpy(T->pcData, Png.data(), Png.size());
      T->mFilename = ImageName(k);
      Scene->mTextures[k] = T;
    }
  }
  return Scene;
}

}  // namespace

bool IsExportFile(const std::string& FileName) { return FormatOf(FileName) != nullptr; }

void SaveModel(TLumNode* Root, const std::string& FileName, bool ApplyTransformations,
               std::vector<std::string>* Warnings) {
  const char* Format = FormatOf(FileName);
  if (!Format)
    throw Exception("Cannot write the model file \"" + FileName +
                    "\": the extension names no format that can be written (.obj, .stl, "
                    ".gltf, .glb).");
  if (!Root) throw Exception("Cannot write the model file \"" + FileName + "\": no node given.");
  // STL has neither nodes nor lines nor materials: its triangles are always placed.
  const std::string Kind = Format;
  const bool Stl = Kind == "stlb";
  const fs::path Target = fs::absolute(FileName);
  TExporter Ex(ApplyTransformations || Stl, !Stl, !Stl, Kind == "glb2", Target.stem().string());
  std::unique_ptr<aiScene> Scene;
  try {
    Scene = Ex.Build(Root);
  } catch (const Exception& E) {
    throw Exception("Cannot write the model file \"" + FileName + "\": " + E.what());
  }
  // Formats that write companion files (.mtl, .bin, images) name them after the file, so
  // the whole set goes into a private directory beside the target and is renamed from there.
  std::string Pattern = (Target.parent_path() / ".lumox-export-XXXXXX").string();
  if (!mkdtemp(Pattern.data()))
    throw Exception("Cannot write the model file \"" + FileName +
                    "\": its directory cannot be written.");
  const fs::path TempDir = Pattern;
  std::error_code Ec;
  auto Fail = [&](const std::string& Reason) {
    fs::remove_all(TempDir, Ec);
    throw Exception("Cannot write the model file \"" + FileName + "\": " + Reason + ".");
  };
  try {
    if (Kind != "glb2")
      for (size_t k = 0; k < Ex.Textures().size(); ++k)
        Ex.Textures()[k]->Bitmap()->SaveToFile((TempDir / Ex.ImageName(k)).string());
  } catch (const std::exception& E) {
    Fail(E.what());
  }
  Assimp::Exporter Exp;
  if (Exp.Export(Scene.get(), Format, (TempDir / Target.filename()).string()) != AI_SUCCESS) {
    std::string Reason = Exp.GetErrorString();
    while (!Reason.empty() && (Reason.back() == '.' || Reason.back() == ' ')) Reason.pop_back();
    Fail(Reason);
  }
  for (const auto& Entry : fs::directory_iterator(TempDir, Ec)) {
    fs::rename(Entry.path(), Target.parent_path() / Entry.path().filename(), Ec);
    if (Ec) break;
  }
  fs::remove_all(TempDir);
  if (Ec)
    throw Exception("Cannot write the model file \"" + FileName + "\": " + Ec.message() + ".");
  if (Warnings) *Warnings = Ex.Warnings;
}

}  // namespace lumox
