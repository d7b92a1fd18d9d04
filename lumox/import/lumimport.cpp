// Reading model files into nodes and TLum3dObj parts through the Asset Importer library,
// with every file the importer and the textures open going through the rule for files
// from anywhere.
#include "lumox/import/lumimport.h"

#include <assimp/BaseImporter.h>
#include <assimp/config.h>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <sys/stat.h>

#include <algorithm>
#include <assimp/IOStream.hpp>
#include <assimp/IOSystem.hpp>
#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <new>

#include "lumox/host/graphics.h"
#include "lumox/import/lumimportparts.h"
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

// --- the files the importer opens --------------------------------------------------------

class TStream : public Assimp::IOStream {
 public:
  TStream(FILE* F, size_t Size) : FFile(F), FSize(Size) {}
  ~TStream() override { std::fclose(FFile); }
  size_t Read(void* Buffer, size_t Size, size_t Count) override {
    return Size && Count ? std::fread(Buffer, Size, Count, FFile) : 0;
  }
  size_t Write(const void*, size_t, size_t) override { return 0; }
  aiReturn Seek(size_t Offset, aiOrigin Origin) override {
    const int Whence = Origin == aiOrigin_SET   ? SEEK_SET
                       : Origin == aiOrigin_CUR ? SEEK_CUR
                                                : SEEK_END;
    return fseeko(FFile, static_cast<off_t>(Offset), Whence) == 0 ? aiReturn_SUCCESS
                                                                  : aiReturn_FAILURE;
  }
  size_t Tell() const override { return static_cast<size_t>(ftello(FFile)); }
  size_t FileSize() const override { return FSize; }
  void Flush() override {}

 private:
  FILE* FFile;
  size_t FSize;
};

// Opens for the importer only what the rule allows, and remembers what it refused.
class TIOSystem : public Assimp::IOSystem {
 public:
  explicit TIOSystem(const TLumFileAccess& Access) : FAccess(Access) {}
  // The importer's names are its own: relative ones are taken from the working folder.
  bool Exists(const char* File) const override {
    std::string Path, Reason;
    if (FAccess.Resolve(Absolute(File), Path, Reason)) return true;
    // Looking for a file that is not there is how some readers probe; anything else
    // is a file the model names but may not have.
    if (Reason != "does not exist") Refuse(File, Reason);
    return false;
  }
  char getOsSeparator() const override { return '/'; }
  Assimp::IOStream* Open(const char* File, const char* Mode) override {
    std::string Path, Reason;
    if (!Mode || Mode[0] != 'r') return Refuse(File, "is not to be written"), nullptr;
    if (!FAccess.Resolve(Absolute(File), Path, Reason)) return Refuse(File, Reason), nullptr;
    FILE* F = std::fopen(Path.c_str(), "rb");
    struct stat St {};
    if (!F || fstat(fileno(F), &St) != 0) {
      if (F) std::fclose(F);
      return Refuse(File, std::strerror(errno)), nullptr;
    }
    return new TStream(F, static_cast<size_t>(St.st_size));
  }
  void Close(Assimp::IOStream* Stream) override { delete Stream; }
  // The names refused, each once, with the reason.
  const std::vector<std::pair<std::string, std::string>>& Refused() const { return FRefused; }

 private:
  static std::string Absolute(const char* File) {
    std::error_code Ec;
    const fs::path A = fs::absolute(File, Ec);
    return Ec ? std::string(File) : A.string();
  }
  void Refuse(const std::string& File, const std::string& Reason) const {
    for (const auto& R : FRefused)
      if (R.first == File) return;
    FRefused.emplace_back(File, Reason);
  }
  const TLumFileAccess& FAccess;
  mutable std::vector<std::pair<std::string, std::string>> FRefused;
};

// A name of the file (a node's, a mesh's) as a scene file can hold it: the characters its
// values cannot carry ('"', '<', '>', '/', line breaks) become '_'. Files name their
// nodes "<OFFRoot>" or "Body/Left".
std::string Writable(std::string Name) {
  for (char& C : Name)
    if (C == '"' || C == '<' || C == '>' || C == '/' || C == '\r' || C == '\n') C = '_';
  return Name;
}

// The name of a file as the model gives it, relative to the model's folder when it
// lies there.
std::string Named(const std::string& File, const std::string& Folder) {
  const std::string Prefix = Folder + "/";
  return File.rfind(Prefix, 0) == 0 ? File.substr(Prefix.size()) : File;
}

// --- from the importer's scene to nodes and objects ---------------------------------------

class TImporter {
 public:
  // Components made on the way are owned by Owner; ReadTree puts the nodes under Root.
  TImporter(const std::string& FileName, const aiScene* Scene, TComponent* Owner, TLumNode* Root,
            const TLumFileAccess& Access, const TLumLoadWarningEvent& OnWarning)
      : FFileName(FileName),
        FScene(Scene),
        FOwner(Owner),
        FRoot(Root),
        FAccess(Access),
        FOnWarning(OnWarning) {}

  void ReadMesh(TLum3dObj* Obj, unsigned MeshIndex);
  void ReadTree();
  void Warn(const std::string& Text) const {
    if (FOnWarning) FOnWarning({lwMissingFile, FFileName, 0, "", Text});
  }

 private:
  TLumTexture* Texture(unsigned MaterialIndex);
  bool LoadTexture(const aiString& Path, TBitmap& B, std::string& Reason) const;
  void ReadMaterial(TLum3dPart* Part, unsigned MaterialIndex);
  std::string FFileName;
  const aiScene* FScene;
  TComponent* FOwner;
  TLumNode* FRoot;
  const TLumFileAccess& FAccess;
  const TLumLoadWarningEvent& FOnWarning;
  std::map<unsigned, TLumTexture*> FTextures;  // by material
  // By the path the file gives: materials sharing one image decode it once (and a
  // missing one is said once). Null for an image that could not be read.
  std::map<std::string, TLumTexture*> FTexturesByPath;
};

// The image of a texture: embedded in the file, or a file the rule allows (its name
// taken as the author meant it). False with the reason when there is none.
bool TImporter::LoadTexture(const aiString& Path, TBitmap& B, std::string& Reason) const {
  try {
    if (const aiTexture* E = FScene->GetEmbeddedTexture(Path.C_Str())) {
      if (E->mHeight == 0) {  // an image file held in memory: its size is read first
        B.LoadFromMemory(E->pcData, E->mWidth, "embedded in the model", MaxTextureSide());
        return true;
      }
      // Raw BGRA texels, already in memory: their number and sides are bounded.
      const int64_t Side = MaxTextureSide();
      if (Side > 0 && (E->mWidth > Side || E->mHeight > Side)) {
        Reason = "holds " + std::to_string(E->mWidth) + " x " + std::to_string(E->mHeight) +
                 " pixels, larger than the OpenGL limit of " + std::to_string(Side) +
                 " pixels a side";
        return false;
      }
      if (static_cast<int64_t>(E->mWidth) * E->mHeight > TBitmap::MaxImagePixels) {
        Reason = "holds " + std::to_string(E->mWidth) + " x " + std::to_string(E->mHeight) +
                 " pixels, more than the limit of " + std::to_string(TBitmap::MaxImagePixels);
        return false;
      }
      B.SetSize(static_cast<int>(E->mWidth), static_cast<int>(E->mHeight));
      uint8_t* D = B.Pixels();
      for (size_t i = 0; i < size_t{E->mWidth} * E->mHeight; ++i) {
        D[i * 4] = E->pcData[i].r;
        D[i * 4 + 1] = E->pcData[i].g;
        D[i * 4 + 2] = E->pcData[i].b;
        D[i * 4 + 3] = E->pcData[i].a;
      }
      return true;
    }
    std::string File;
    if (!FAccess.ResolveLoosely(Path.C_Str(), File, Reason)) return false;
    // The driver's side limit as well: refused here, the image is a warning, where the
    // scene handed back by an isolated reader would fail as a whole on reading it.
    B.LoadFromFile(File, MaxTextureSide());
    return true;
  } catch (const std::bad_alloc&) {
    Reason = "needs more memory than there is";
  } catch (const std::exception& E) {
    // The image reader names the file and ends with a full stop; the warning names
    // the texture itself.
    Reason = E.what();
    const size_t Colon = Reason.find("\": ");
    if (Colon != std::string::npos) Reason = Reason.substr(Colon + 3);
    while (!Reason.empty() && (Reason.back() == '.' || Reason.back() == ' ')) Reason.pop_back();
    Reason = "cannot be read (" + Reason + ")";
  }
  return false;
}

TLumTexture* TImporter::Texture(unsigned MaterialIndex) {
  if (auto It = FTextures.find(MaterialIndex); It != FTextures.end()) return It->second;
  TLumTexture*& Result = FTextures[MaterialIndex];
  const aiMaterial* M = FScene->mMaterials[MaterialIndex];
  aiString Path;
  if (M->GetTexture(aiTextureType_DIFFUSE, 0, &Path) != AI_SUCCESS &&
      M->GetTexture(aiTextureType_BASE_COLOR, 0, &Path) != AI_SUCCESS)
    return nullptr;
  const auto [Known, New] = FTexturesByPath.try_emplace(Path.C_Str(), nullptr);
  if (!New) return Result = Known->second;
  TBitmap B;
  std::string Reason;
  if (!LoadTexture(Path, B, Reason)) {
    // A missing or unreadable texture leaves its parts untextured, as viewers do.
    // The importer names embedded images "*N"; a person knows them by number.
    const std::string Name = Path.C_Str();
    const std::string Which = Name.size() > 1 && Name[0] == '*'
                                  ? std::string("the embedded texture ").append(Name.substr(1))
                                  : std::string("the texture \"").append(Name).append("\"");
    Warn(Which + " " + Reason + ": its parts are drawn without it");
    return nullptr;
  }
  Result = new TLumTexture(FOwner);
  Result->SetBitmap(&B);
  Known->second = Result;
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
  // What the importer's own validation would check, checked here: that step also
  // refuses point clouds, which are models too.
  const aiMesh* M = MeshIndex < FScene->mNumMeshes ? FScene->mMeshes[MeshIndex] : nullptr;
  if (!M || (M->mNumVertices > 0 && !M->mVertices) || (M->mNumFaces > 0 && !M->mFaces))
    throw Exception("its mesh " + std::to_string(MeshIndex) + " is damaged");
  TLum3dPart* Part = Obj->AddPart(M->mName.length ? Writable(M->mName.C_Str())
                                                  : "mesh" + std::to_string(MeshIndex));
  // The arrays the mesh has, sized once and filled where they lie.
  TLumArrays Arrays{daVertex};
  if (M->mNormals) Arrays.Include(daNormal);
  if (M->mTextureCoords[0]) Arrays.Include(daTexture);
  if (M->mColors[0]) Arrays.Include(daColor);
  const auto Count = static_cast<int32_t>(M->mNumVertices);
  Part->ResizeVertexData(Count, Arrays);
  TLumPrimitivePoints* Points = Part->Points();
  const size_t N = static_cast<size_t>(std::max(Points->Count(), 0));
  auto Put3 = [N](double* To, const aiVector3D* From) {
    for (size_t i = 0; i < N; ++i)
      for (int k = 0; k < 3; ++k) To[i * 3 + k] = From[i][k];
  };
  Put3(Points->Vertices(), M->mVertices);
  if (M->mNormals) Put3(Points->Normals(), M->mNormals);
  if (M->mTextureCoords[0]) Put3(Points->TexCoords(), M->mTextureCoords[0]);
  if (float* Col = Points->Colors())
    for (size_t i = 0; i < N; ++i) {
      const aiColor4D& C = M->mColors[0][i];
      Col[i * 4] = C.r, Col[i * 4 + 1] = C.g, Col[i * 4 + 2] = C.b, Col[i * 4 + 3] = C.a;
    }
  Part->Changed();
  // Faces by their number of corners: points, lines, triangles (the importer splits
  // larger polygons).
  std::vector<uint32_t> Lists[4];
  for (unsigned f = 0; f < M->mNumFaces; ++f) {
    const aiFace& F = M->mFaces[f];
    if (F.mNumIndices < 1 || F.mNumIndices > 3 || !F.mIndices) continue;
    Lists[F.mNumIndices].insert(Lists[F.mNumIndices].end(), F.mIndices, F.mIndices + F.mNumIndices);
  }
  // A mesh without faces is a cloud of its points.
  if (M->mNumFaces == 0)
    for (uint32_t i = 0; i < static_cast<uint32_t>(M->mNumVertices); ++i) Lists[1].push_back(i);
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
      Obj->SetObjectName(Writable(Src->mName.C_Str()));
      bool AllColoured = true;
      for (unsigned i = 0; i < Src->mNumMeshes; ++i) {
        ReadMesh(Obj, Src->mMeshes[i]);
        AllColoured = AllColoured && FScene->mMeshes[Src->mMeshes[i]]->mColors[0];
      }
      // Vertex colours are what such a model shows; lit, they stand for its material.
      if (AllColoured) Obj->SetColorAsMaterial(cmAmbientDiffuse);
      Node->Add(Obj);
    }
    for (unsigned i = Src->mNumChildren; i-- > 0;)
      if (Src->mChildren && Src->mChildren[i]) Stack.push_back({Src->mChildren[i], Node});
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
  // No aiProcess_ValidateDataStructure: it refuses point clouds; the conversion checks
  // what it reads instead (meshes, faces, indices).
  unsigned F = aiProcess_Triangulate | aiProcess_JoinIdenticalVertices | aiProcess_SortByPType;
  if (Options.GenerateNormals) F |= aiProcess_GenSmoothNormals;
  // STL writers often give facet normals against the winding (or none): smooth normals
  // from the winding instead, up to creases of 60 degrees.
  if (Options.GenerateNormals && LowerExt(FileName) == ".stl") {
    F |= aiProcess_ForceGenNormals;
    Imp.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, 60.0f);
  }
  return F;
}

// The first line of File (from 1) where Text begins, or 0.
int64_t LineOf(const std::string& File, const std::string& Text) {
  std::ifstream In(File, std::ios::binary);
  std::string Line;
  for (int64_t N = 1; std::getline(In, Line); ++N)
    if (Line.find(Text) != std::string::npos) return N;
  return 0;
}

// The text readers quote when a number does not parse ("Cannot parse string "abc 1 0
// endloop ..." as a real number: ...") is a piece of the file: said as the word that is
// no number, with its line.
std::string NumberReason(const std::string& Reason, const std::string& FileName) {
  const std::string Head = "Cannot parse string \"";
  const size_t At = Reason.find(Head);
  if (At == std::string::npos || Reason.find("as a real number", At) == std::string::npos)
    return Reason;
  std::string Word;
  for (size_t I = At + Head.size(); I < Reason.size() && Word.size() < 40; ++I) {
    const unsigned char C = static_cast<unsigned char>(Reason[I]);
    if (C <= ' ' || C == '"' || C == '?' || C >= 127) break;
    Word += static_cast<char>(C);
  }
  const int64_t Line = Word.empty() ? 0 : LineOf(FileName, Word);
  return (Line > 0 ? "line " + std::to_string(Line) + ": " : std::string()) + "\"" + Word +
         "\" is where a number should stand";
}

// The reason in words for an importer's failure: its own message, or the refused file
// that made it fail, or the message of the reader the extension names when no reader
// claimed the file (a damaged file of a known format).
std::string FailureReason(Assimp::Importer& Imp, const TIOSystem& IO, const std::string& FileName,
                          const std::string& Folder) {
  std::string Reason = Imp.GetErrorString();
  if (Reason.rfind("No suitable reader found", 0) == 0) {
    const std::string Ext = LowerExt(FileName);
    if (Assimp::BaseImporter* Reader =
            Ext.size() > 1 ? Imp.GetImporter(Ext.c_str() + 1) : nullptr) {
      TIOSystem Probe(IO);
      std::unique_ptr<aiScene> S(Reader->ReadFile(&Imp, FileName, &Probe));
      if (!S && !Reader->GetErrorText().empty()) Reason = Reader->GetErrorText();
    }
  }
  for (const auto& [File, Why] : IO.Refused())
    if (Named(File, Folder) != Named(FileName, Folder))
      return "it needs \"" + Named(File, Folder) + "\", which " + Why;
  if (Reason.find("bad_alloc") != std::string::npos) return "there is not enough memory to read it";
  if (Reason.empty()) return "the file holds no model";
  return NumberReason(Reason, FileName);
}

}  // namespace

namespace importparts {

std::string ModelError(const std::string& FileName, std::string Reason) {
  return FileError("model", FileName, std::move(Reason));
}

namespace {

// Reads the file with Imp through IO; throws ModelError.
const aiScene* ReadScene(Assimp::Importer& Imp, TIOSystem* IO, const std::string& FileName,
                         const TLumImportOptions& Options, const TLumFileAccess& Access) {
  Imp.SetIOHandler(IO);  // the importer deletes it, however this ends
  std::string Reason;
  if (!TLumFileAccess::Readable(FileName, Access.MaxSize(), Reason))
    throw Exception(ModelError(FileName, "it " + Reason));
  if (Options.OnProgress)
    Imp.SetProgressHandler(new TProgress(Options.OnProgress));  // the importer deletes it
  // By its absolute name, so that the files the importer derives from it are absolute.
  std::error_code Ec;
  const std::string Absolute = fs::absolute(FileName, Ec).string();
  const aiScene* S = Imp.ReadFile(Ec ? FileName : Absolute, ImportFlags(Imp, FileName, Options));
  if (!S || (S->mFlags & AI_SCENE_FLAGS_INCOMPLETE) || !S->mRootNode)
    throw Exception(ModelError(FileName, FailureReason(Imp, *IO, FileName, Access.Folder())));
  return S;
}

// Files the model names that were refused while it still loaded: said as warnings.
void WarnRefused(const TIOSystem& IO, const std::string& FileName, const std::string& Folder,
                 const TLumLoadWarningEvent& OnWarning) {
  if (!OnWarning) return;
  for (const auto& [File, Why] : IO.Refused())
    OnWarning({lwMissingFile, FileName, 0, "",
               "the model names \"" + Named(File, Folder) + "\", which " + Why + ": left out"});
}

}  // namespace

TLumNode* ImportHere(const std::string& FileName, TComponent* Owner,
                     const TLumImportOptions& Options, const TLumFileAccess& Access,
                     bool ProcessEnds) {
  auto Importer = std::make_unique<Assimp::Importer>();
  Assimp::Importer& Imp = *Importer;
  // Freeing the importer's scene (a block per face) is left to the end of a process that
  // ends right after.
  struct TLeave {
    std::unique_ptr<Assimp::Importer>& I;
    bool Leave;
    ~TLeave() {
      if (Leave) (void)I.release();
    }
  } Leave{Importer, ProcessEnds};
  auto* IO = new TIOSystem(Access);
  const aiScene* S = ReadScene(Imp, IO, FileName, Options, Access);
  WarnRefused(*IO, FileName, Access.Folder(), Options.OnWarning);
  auto Root = std::make_unique<TLumNode>(Owner);
  try {
    TImporter(FileName, S, Root.get(), Root.get(), Access, Options.OnWarning).ReadTree();
  } catch (const std::bad_alloc&) {
    throw Exception(ModelError(FileName, "there is not enough memory to read it"));
  } catch (const std::exception& E) {
    throw Exception(ModelError(FileName, E.what()));
  }
  return Root.release();
}

}  // namespace importparts

bool IsModelFile(const std::string& FileName) {
  const std::string E = LowerExt(FileName);
  if (E.size() < 2) return false;
  Assimp::Importer Imp;
  return Imp.IsExtensionSupported(E);
}

TLumNode* LoadModel(const std::string& FileName, TComponent* AOwner,
                    const TLumImportOptions& Options) {
  const TLumFileAccess Access(FileName, Options.ResourceRoots, Options.MaxFileSize, "model");
  std::string Reason;
  if (!TLumFileAccess::Readable(FileName, Options.MaxFileSize, Reason))
    throw Exception(importparts::ModelError(FileName, "it " + Reason));
  importparts::PreCheck(FileName);
  TLumNode* Root = Options.Isolated ? importparts::ImportIsolated(FileName, AOwner, Options, Access)
                                    : importparts::ImportHere(FileName, AOwner, Options, Access);
  TLumTransformation* T = Root->Transformation();
  if (Options.UpAxis == uaZUpToYUp) T->Rotation()->SetX(270.0f);
  if (Options.UpAxis == uaYUpToZUp) T->Rotation()->SetX(90.0f);
  if (Options.Scale != 1.0 && Options.Scale > 0.0) {
    const auto F = static_cast<float>(Options.Scale);
    T->Scale()->SetValues(F, F, F);
  }
  return Root;
}

// Defined here rather than beside the container: reading files is the import layer's job.
void TLum3dObj::LoadFromFile(const std::string& FileName) {
  const TLumImportOptions Options;
  const TLumFileAccess Access(FileName, {}, Options.MaxFileSize, "model");
  importparts::PreCheck(FileName);
  Assimp::Importer Imp;
  auto* IO = new TIOSystem(Access);
  const aiScene* S = importparts::ReadScene(Imp, IO, FileName, Options, Access);
  // Every mesh of the file, each in the place its nodes put it, into parts of this
  // object; built aside first so that a failure leaves the object as it was.
  TImporter I(FileName, S, this, nullptr, Access, Options.OnWarning);
  TLum3dObj Tmp(nullptr);
  Tmp.SetMaxVertices(MaxVertices());
  std::vector<std::pair<const aiNode*, aiMatrix4x4>> Stack{{S->mRootNode, aiMatrix4x4()}};
  try {
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
          aiVector3D V(static_cast<float>(X[0]), static_cast<float>(X[1]),
                       static_cast<float>(X[2]));
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
      for (unsigned i = N->mNumChildren; i-- > 0;)
        if (N->mChildren && N->mChildren[i]) Stack.push_back({N->mChildren[i], M});
    }
  } catch (const std::bad_alloc&) {
    throw Exception(importparts::ModelError(FileName, "there is not enough memory to read it"));
  } catch (const std::exception& E) {
    throw Exception(importparts::ModelError(FileName, E.what()));
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
  if (ObjectName().empty()) SetObjectName(Writable(fs::path(FileName).stem().string()));
}
}  // namespace lumox
