// Writing a tree of nodes and meshes to OBJ, STL or glTF 2.0 through the Asset Importer
// library's exporters.
#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <assimp/Exporter.hpp>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "lumox/import/lumimport.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lummat.h"

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
  explicit TExporter(bool Apply, bool LinesToo) : FApply(Apply), FLinesToo(LinesToo) {}
  // Meshes of one object into the list; returns the numbers of the meshes it added.
  std::vector<unsigned> AddObject(TLumPrimitiveObj* Obj, const aiMatrix4x4& M);
  std::unique_ptr<aiScene> Build(TLumNode* Root);

 private:
  void AddMesh(const TLumPrimitiveObj* Obj, const TLumMaterial* Mat, const aiMatrix4x4& M,
               std::vector<unsigned>& Out);
  bool FApply, FLinesToo;
  std::vector<aiMesh*> FMeshes;
  std::vector<aiMaterial*> FMaterials;
};

void TExporter::AddMesh(const TLumPrimitiveObj* Obj, const TLumMaterial* Mat, const aiMatrix4x4& M,
                        std::vector<unsigned>& Out) {
  std::vector<uint32_t> Tris, Lines;
  for (int32_t i = 0; i < Obj->GetPrimitiveCount(); ++i)
    if (Obj->GetPrimitive(i)->Visible()) Decompose(Obj->GetPrimitive(i), Tris, Lines);
  if (!FLinesToo) Lines.clear();
  const TLumPrimitivePoints* P = Obj->Points();
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
    if (T && !Kind && Obj->Textured()) {
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
    Mesh->mMaterialIndex = static_cast<unsigned>(FMaterials.size());
    FMaterials.push_back(AM);
    Out.push_back(static_cast<unsigned>(FMeshes.size()));
    FMeshes.push_back(Mesh);
  }
}

std::vector<unsigned> TExporter::AddObject(TLumPrimitiveObj* Obj, const aiMatrix4x4& M) {
  std::vector<unsigned> Out;
  if (!Obj->Initialized()) Obj->Init();
  AddMesh(Obj, Obj->Material(), M, Out);
  return Out;
}

std::unique_ptr<aiScene> TExporter::Build(TLumNode* Root) {
  auto Scene = std::make_unique<aiScene>();
  Scene->mRootNode = new aiNode("root");
  // Depth-first with an explicit stack of (component, parent file node, matrix above it).
  struct Item {
    TLumRender* R;
    aiNode* Parent;
    aiMatrix4x4 Above;
  };
  std::vector<Item> Stack{{Root, nullptr, aiMatrix4x4()}};
  while (!Stack.empty()) {
    Item It = Stack.back();
    Stack.pop_back();
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
        const TLumMaterial* Mat = P->PartMaterial() ? P->PartMaterial() : O3->Material();
        AddMesh(P, Mat, M, Meshes);
      }
    } else if (auto* PO = dynamic_cast<TLumPrimitiveObj*>(It.R)) {
      Meshes = AddObject(PO, M);
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
  if (FMeshes.empty()) throw Exception("There are no meshes to write.");
  Scene->mNumMeshes = static_cast<unsigned>(FMeshes.size());
  Scene->mMeshes = new aiMesh*[FMeshes.size()];
  std::copy(FMeshes.begin(), FMeshes.end(), Scene->mMeshes);
  FMeshes.clear();
  Scene->mNumMaterials = static_cast<unsigned>(FMaterials.size());
  Scene->mMaterials = new aiMaterial*[FMaterials.size()];
  std::copy(FMaterials.begin(), FMaterials.end(), Scene->mMaterials);
  FMaterials.clear();
  return Scene;
}

}  // namespace

bool IsExportFile(const std::string& FileName) { return FormatOf(FileName) != nullptr; }

void SaveModel(TLumNode* Root, const std::string& FileName, bool ApplyTransformations) {
  const char* Format = FormatOf(FileName);
  if (!Format)
    throw Exception("Cannot write the model file \"" + FileName +
                    "\": the extension names no format that can be written (.obj, .stl, "
                    ".gltf, .glb).");
  if (!Root) throw Exception("Cannot write the model file \"" + FileName + "\": no node given.");
  // STL has neither nodes nor lines: its triangles are always placed.
  const bool Stl = std::string(Format) == "stlb";
  std::unique_ptr<aiScene> Scene;
  try {
    Scene = TExporter(ApplyTransformations || Stl, !Stl).Build(Root);
  } catch (const Exception& E) {
    throw Exception("Cannot write the model file \"" + FileName + "\": " + E.what());
  }
  // Formats that write companion files (.mtl, .bin) name them after the file, so the
  // whole set goes into a private directory beside the target and is renamed from there.
  const fs::path Target = fs::absolute(FileName);
  std::string Pattern = (Target.parent_path() / ".lumox-export-XXXXXX").string();
  if (!mkdtemp(Pattern.data()))
    throw Exception("Cannot write the model file \"" + FileName +
                    "\": its directory cannot be written.");
  const fs::path TempDir = Pattern;
  std::error_code Ec;
  Assimp::Exporter Exp;
  if (Exp.Export(Scene.get(), Format, (TempDir / Target.filename()).string()) != AI_SUCCESS) {
    const std::string Reason = Exp.GetErrorString();
    fs::remove_all(TempDir, Ec);
    throw Exception("Cannot write the model file \"" + FileName + "\": " + Reason + ".");
  }
  for (const auto& Entry : fs::directory_iterator(TempDir, Ec)) {
    fs::rename(Entry.path(), Target.parent_path() / Entry.path().filename(), Ec);
    if (Ec) break;
  }
  fs::remove_all(TempDir);
  if (Ec)
    throw Exception("Cannot write the model file \"" + FileName + "\": " + Ec.message() + ".");
}

}  // namespace lumox
