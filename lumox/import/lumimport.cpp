// Reading model files into nodes and TLum3dObj parts, and writing node trees back out,
// through the Asset Importer library.
#include "lumox/import/lumimport.h"

#include <assimp/config.h>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <stb_image.h>
#include <unistd.h>

#include <algorithm>
#include <assimp/Exporter.hpp>
#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>

#include "lumox/host/graphics.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lummat.h"
#include "lumox/scene/lumtex.h"

namespace lumox {

namespace fs = std::filesystem;

namespace {

constexpr double kRadToDeg = 57.29577951308232;

std::string LowerExt(const std::string& FileName) {
  std::string E = fs::path(FileName).extension().string();
  std::transform(E.begin(), E.end(), E.begin(), [](unsigned char c) { return std::tolower(c); });
  return E;
}

// Splits a node matrix into translation, rotation (X, then Y, then Z angles as the GL
// rotations run) and scale, applied as T * R * S.
void SetTransformation(TLumTransformation* T, const aiMatrix4x4& M) {
  aiVector3D S, P;
  aiQuaternion Q;
  M.Decompose(S, Q, P);
  const aiMatrix3x3 R = Q.GetMatrix();
  // R = Rx(a) * Ry(b) * Rz(c): R.a3 = sin b, R.b3 = -sin a cos b, R.c3 = cos a cos b.
  double A, B, C;
  const double Sb = std::clamp(static_cast<double>(R.a3), -1.0, 1.0);
  B = std::asin(Sb);
  if (std::abs(Sb) < 0.9999995) {
    A = std::atan2(-R.b3, R.c3);
    C = std::atan2(-R.a2, R.a1);
  } else {  // gimbal lock: the X and Z rotations share one axis; put it all on X
    A = std::atan2(R.c2, R.b2);
    C = 0.0;
  }
  T->SetOrder(toTraRotSca);
  T->Translation()->SetValues(P.x, P.y, P.z);
  T->Rotation()->SetOrder(roXYZ);
  T->Rotation()->SetValues(static_cast<float>(A * kRadToDeg), static_cast<float>(B * kRadToDeg),
                           static_cast<float>(C * kRadToDeg));
  T->Scale()->SetValues(S.x, S.y, S.z);
}

void SetColor(TLumColor* Color, const aiColor4D& V) {
  const float P[4] = {std::clamp(V.r, 0.0f, 1.0f), std::clamp(V.g, 0.0f, 1.0f),
                      std::clamp(V.b, 0.0f, 1.0f), std::clamp(V.a, 0.0f, 1.0f)};
  Color->SetParams(P);
  Color->Changed();
}

class TImporter {
 public:
  // Components made on the way are owned by Owner; ReadTree puts the nodes under Root.
  TImporter(const std::string& FileName, const aiScene* Scene, TComponent* Owner, TLumNode* Root)
      : FFileName(FileName), FScene(Scene), FOwner(Owner), FRoot(Root) {}

  void ReadMesh(TLum3dObj* Obj, unsigned MeshIndex);
  void ReadTree();

 private:
  TLumTexture* Texture(unsigned MaterialIndex);
  void ReadMaterial(TLum3dPart* Part, unsigned MaterialIndex);
  std::string FFileName;
  const aiScene* FScene;
  TComponent* FOwner;
  TLumNode* FRoot;
  std::map<unsigned, TLumTexture*> FTextures;  // by material
};

TLumTexture* TImporter::Texture(unsigned MaterialIndex) {
  if (auto It = FTextures.find(MaterialIndex); It != FTextures.end()) return It->second;
  TLumTexture* Result = nullptr;
  const aiMaterial* M = FScene->mMaterials[MaterialIndex];
  aiString Path;
  if (M->GetTexture(aiTextureType_DIFFUSE, 0, &Path) != AI_SUCCESS &&
      M->GetTexture(aiTextureType_BASE_COLOR, 0, &Path) != AI_SUCCESS) {
    FTextures[MaterialIndex] = nullptr;
    return nullptr;
  }
  TBitmap B;
  if (const aiTexture* E = FScene->GetEmbeddedTexture(Path.C_Str())) {
    if (E->mHeight == 0) {  // a compressed image file held in memory
      int W = 0, H = 0, N = 0;
      stbi_uc* Data = stbi_load_from_memory(reinterpret_cast<const stbi_uc*>(E->pcData),
                                            static_cast<int>(E->mWidth), &W, &H, &N, 4);
      if (!Data)
        throw Exception("Cannot read the texture embedded in \"" + FFileName +
                        "\": " + stbi_failure_reason() + ".");
      B.SetSize(W, H);
      std::copy(Data, Data + static_cast<size_t>(W) * H * 4, B.Pixels());
      stbi_image_free(Data);
    } else {  // raw BGRA texels
      B.SetSize(static_cast<int>(E->mWidth), static_cast<int>(E->mHeight));
      uint8_t* D = B.Pixels();
      for (size_t i = 0; i < size_t{E->mWidth} * E->mHeight; ++i) {
        D[i * 4] = E->pcData[i].r;
        D[i * 4 + 1] = E->pcData[i].g;
        D[i * 4 + 2] = E->pcData[i].b;
        D[i * 4 + 3] = E->pcData[i].a;
      }
    }
  } else {
    std::string Name = Path.C_Str();
    std::replace(Name.begin(), Name.end(), '\\', '/');
    fs::path P(Name);
    if (P.is_relative()) P = fs::path(FFileName).parent_path() / P;
    B.LoadFromFile(P.string());  // throws naming the missing texture file
  }
  Result = new TLumTexture(FOwner);
  Result->SetBitmap(&B);
  FTextures[MaterialIndex] = Result;
  return Result;
}

void TImporter::ReadMaterial(TLum3dPart* Part, unsigned MaterialIndex) {
  if (MaterialIndex >= FScene->mNumMaterials) return;
  const aiMaterial* M = FScene->mMaterials[MaterialIndex];
  TLumMaterial* Mat = Part->CreateMaterial();
  aiColor4D C;
  float Opacity = 1.0f;
  aiGetMaterialFloat(M, AI_MATKEY_OPACITY, &Opacity);
  if (aiGetMaterialColor(M, AI_MATKEY_COLOR_AMBIENT, &C) == AI_SUCCESS)
    SetColor(Mat->ColorAmbient(), C);
  if (aiGetMaterialColor(M, AI_MATKEY_COLOR_DIFFUSE, &C) == AI_SUCCESS ||
      aiGetMaterialColor(M, AI_MATKEY_BASE_COLOR, &C) == AI_SUCCESS) {
    C.a *= Opacity;
    SetColor(Mat->ColorDiffuse(), C);
  }
  if (aiGetMaterialColor(M, AI_MATKEY_COLOR_EMISSIVE, &C) == AI_SUCCESS)
    SetColor(Mat->ColorEmission(), C);
  float Shininess = 0.0f;
  // Files give the Phong exponent (up to 1000 in OBJ); OpenGL takes 0..128. Without one
  // a file means no highlight, where OpenGL's exponent 0 would light every point fully.
  if (aiGetMaterialFloat(M, AI_MATKEY_SHININESS, &Shininess) == AI_SUCCESS && Shininess > 0.0f &&
      aiGetMaterialColor(M, AI_MATKEY_COLOR_SPECULAR, &C) == AI_SUCCESS) {
    float Strength = 1.0f;
    aiGetMaterialFloat(M, AI_MATKEY_SHININESS_STRENGTH, &Strength);
    C.r *= Strength, C.g *= Strength, C.b *= Strength;
    SetColor(Mat->ColorSpecular(), C);
    Mat->SetShininess(std::max(1, static_cast<int32_t>(std::lround(std::min(Shininess, 128.0f)))));
  }
  if (TLumTexture* T = Texture(MaterialIndex)) {
    Part->SetTexture(T);
    Part->SetTextured(true);
  }
}

void TImporter::ReadMesh(TLum3dObj* Obj, unsigned MeshIndex) {
  const aiMesh* M = FScene->mMeshes[MeshIndex];
  TLum3dPart* Part =
      Obj->AddPart(M->mName.length ? M->mName.C_Str() : "mesh" + std::to_string(MeshIndex));
  const size_t N = M->mNumVertices;
  std::vector<double> P(N * 3), Nr, T;
  std::vector<float> Col;
  for (size_t i = 0; i < N; ++i)
    for (int k = 0; k < 3; ++k) P[i * 3 + k] = M->mVertices[i][k];
  if (M->mNormals) {
    Nr.resize(N * 3);
    for (size_t i = 0; i < N; ++i)
      for (int k = 0; k < 3; ++k) Nr[i * 3 + k] = M->mNormals[i][k];
  }
  const bool HasTex = M->mTextureCoords[0] != nullptr;
  if (HasTex) {
    T.resize(N * 3);
    for (size_t i = 0; i < N; ++i)
      for (int k = 0; k < 3; ++k) T[i * 3 + k] = M->mTextureCoords[0][i][k];
  }
  if (M->mColors[0]) {
    Col.resize(N * 4);
    for (size_t i = 0; i < N; ++i) {
      const aiColor4D& C = M->mColors[0][i];
      Col[i * 4] = C.r, Col[i * 4 + 1] = C.g, Col[i * 4 + 2] = C.b, Col[i * 4 + 3] = C.a;
    }
  }
  Part->SetVertexData(static_cast<int32_t>(N), P.data(), Nr.empty() ? nullptr : Nr.data(),
                      HasTex ? T.data() : nullptr, 3, Col.empty() ? nullptr : Col.data());
  // Faces by their number of corners: points, lines, triangles (the importer splits
  // larger polygons).
  std::vector<uint32_t> Lists[4];
  for (unsigned f = 0; f < M->mNumFaces; ++f) {
    const aiFace& F = M->mFaces[f];
    if (F.mNumIndices < 1 || F.mNumIndices > 3) continue;
    Lists[F.mNumIndices].insert(Lists[F.mNumIndices].end(), F.mIndices, F.mIndices + F.mNumIndices);
  }
  const int32_t Modes[4] = {0, GL_POINTS, GL_LINES, GL_TRIANGLES};
  for (int k = 3; k >= 1; --k)
    if (!Lists[k].empty())
      Part->AddIndices(Modes[k], Lists[k].data(), static_cast<int32_t>(Lists[k].size()));
  ReadMaterial(Part, M->mMaterialIndex);
}

void TImporter::ReadTree() {
  // Depth-first with an explicit stack: deep files cannot exhaust the call stack.
  std::vector<std::pair<const aiNode*, TLumNode*>> Stack{{FScene->mRootNode, FRoot}};
  while (!Stack.empty()) {
    auto [Src, Parent] = Stack.back();
    Stack.pop_back();
    // The file's root node becomes the returned node's only child.
    auto* Node = new TLumNode(FOwner);
    if (!Src->mTransformation.IsIdentity())
      SetTransformation(Node->Transformation(), Src->mTransformation);
    Parent->Add(Node);
    if (Src->mNumMeshes > 0) {
      auto* Obj = new TLum3dObj(FOwner);
      Obj->SetObjectName(Src->mName.C_Str());
      for (unsigned i = 0; i < Src->mNumMeshes; ++i) ReadMesh(Obj, Src->mMeshes[i]);
      Node->Add(Obj);
    }
    for (unsigned i = Src->mNumChildren; i-- > 0;) Stack.push_back({Src->mChildren[i], Node});
  }
}

// Hands the importer's progress to the caller's function.
class TProgress : public Assimp::ProgressHandler {
 public:
  explicit TProgress(std::function<void(double)> F) : FF(std::move(F)) {}
  bool Update(float Percentage) override {
    if (Percentage >= 0.0f) FF(std::clamp(static_cast<double>(Percentage), 0.0, 1.0));
    return true;
  }

 private:
  std::function<void(double)> FF;
};

unsigned ImportFlags(Assimp::Importer& Imp, const std::string& FileName,
                     const TLumImportOptions& Options) {
  unsigned F = aiProcess_Triangulate | aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
               aiProcess_ValidateDataStructure;
  if (Options.GenerateNormals) F |= aiProcess_GenSmoothNormals;
  // STL writers often give facet normals against the winding (or none): smooth normals
  // from the winding instead, up to creases of 60 degrees.
  if (Options.GenerateNormals && LowerExt(FileName) == ".stl") {
    F |= aiProcess_ForceGenNormals;
    Imp.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, 60.0f);
  }
  return F;
}

const aiScene* ReadScene(Assimp::Importer& Imp, const std::string& FileName,
                         const TLumImportOptions& Options) {
  if (!fs::is_regular_file(FileName))
    throw Exception("Cannot read the model file \"" + FileName + "\": no such file.");
  if (Options.OnProgress)
    Imp.SetProgressHandler(new TProgress(Options.OnProgress));  // the importer deletes it
  const aiScene* S = Imp.ReadFile(FileName, ImportFlags(Imp, FileName, Options));
  if (!S || (S->mFlags & AI_SCENE_FLAGS_INCOMPLETE) || !S->mRootNode)
    throw Exception("Cannot read the model file \"" + FileName + "\": " + Imp.GetErrorString() +
                    ".");
  return S;
}

}  // namespace

bool IsModelFile(const std::string& FileName) {
  const std::string E = LowerExt(FileName);
  if (E.size() < 2) return false;
  Assimp::Importer Imp;
  return Imp.IsExtensionSupported(E);
}

TLumNode* LoadModel(const std::string& FileName, TComponent* AOwner,
                    const TLumImportOptions& Options) {
  Assimp::Importer Imp;
  const aiScene* S = ReadScene(Imp, FileName, Options);
  auto Root = std::make_unique<TLumNode>(AOwner);
  TImporter(FileName, S, Root.get(), Root.get()).ReadTree();
  TLumTransformation* T = Root->Transformation();
  if (Options.UpAxis == uaZUpToYUp) T->Rotation()->SetX(270.0f);
  if (Options.UpAxis == uaYUpToZUp) T->Rotation()->SetX(90.0f);
  if (Options.Scale != 1.0 && Options.Scale > 0.0) {
    const auto F = static_cast<float>(Options.Scale);
    T->Scale()->SetValues(F, F, F);
  }
  return Root.release();
}

// Defined here rather than beside the container: reading files is the import layer's job.
void TLum3dObj::LoadFromFile(const std::string& FileName) {
  Assimp::Importer Imp;
  const aiScene* S = ReadScene(Imp, FileName, {});
  // Every mesh of the file, each in the place its nodes put it, into parts of this
  // object; built aside first so that a failure leaves the object as it was.
  TImporter I(FileName, S, this, nullptr);
  TLum3dObj Tmp(nullptr);
  Tmp.SetMaxVertices(MaxVertices());
  std::vector<std::pair<const aiNode*, aiMatrix4x4>> Stack{{S->mRootNode, aiMatrix4x4()}};
  while (!Stack.empty()) {
    auto [N, Parent] = Stack.back();
    Stack.pop_back();
    const aiMatrix4x4 M = Parent * N->mTransformation;
    aiMatrix3x3 NM(M);
    NM.Inverse().Transpose();
    for (unsigned i = 0; i < N->mNumMeshes; ++i) {
      const int32_t First = Tmp.PartCount();
      I.ReadMesh(&Tmp, N->mMeshes[i]);
      if (M.IsIdentity()) continue;
      TLumPrimitivePoints* P = Tmp.Part(First)->Points();
      for (int32_t v = 0; v < P->Count(); ++v) {
        double* X = P->Vertices() + v * 3;
        aiVector3D V(static_cast<float>(X[0]), static_cast<float>(X[1]), static_cast<float>(X[2]));
        V = M * V;
        X[0] = V.x, X[1] = V.y, X[2] = V.z;
        if (double* Nn = P->Normals()) {
          aiVector3D W(static_cast<float>(Nn[v * 3]), static_cast<float>(Nn[v * 3 + 1]),
                       static_cast<float>(Nn[v * 3 + 2]));
          W = (NM * W).NormalizeSafe();
          Nn[v * 3] = W.x, Nn[v * 3 + 1] = W.y, Nn[v * 3 + 2] = W.z;
        }
      }
    }
    for (unsigned i = N->mNumChildren; i-- > 0;) Stack.push_back({N->mChildren[i], M});
  }
  // The parts only: the object's own name, colour and transformation stay.
  Clear();
  for (int32_t i = 0; i < Tmp.PartCount(); ++i) {
    TLum3dPart* P = AddPart(Tmp.Part(i)->PartName());
    P->Assign(Tmp.Part(i));
    if (TLumTexture* T = Tmp.Part(i)->Texture()) {  // owned by this object
      P->SetTexture(T);
      P->SetTextured(true);
    }
  }
  if (ObjectName().empty()) SetObjectName(fs::path(FileName).stem().string());
}
}  // namespace lumox
