// The DXF reader: group-code pairs, the layer table, blocks and the drawing entities,
// turned into one part per layer.
#include "lumox/import/lumdxfimport.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <unordered_map>

#include "lumox/host/files.h"
#include "lumox/host/proptable.h"
#include "lumox/import/lumimportparts.h"
#include "lumox/math/lumgl.h"

namespace lumox {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct TPair {
  int Code;
  std::string Value;
  int64_t Line;  // of the code
};

// One entity: its name and its pairs up to the next entity.
struct TEntity {
  std::string Name;
  std::vector<TPair> Pairs;
  int64_t Line = 0;
  const std::string* Get(int Code) const {
    for (const TPair& P : Pairs)
      if (P.Code == Code) return &P.Value;
    return nullptr;
  }
};

// The sentinel that opens a binary DXF file.
constexpr char BinarySentinel[] = "AutoCAD Binary DXF\r\n\x1a";  // and a NUL: 22 bytes

class TReader {
 public:
  explicit TReader(const std::string& FileName) : FFileName(FileName) {
    std::string Reason;
    // A drawing names no other files; it is read only when it is a regular file within
    // the bound that model files have.
    if (!TLumFileAccess::Readable(FileName, uint64_t{1} << 30, Reason))
      throw Exception("Cannot read the DXF file \"" + FileName + "\": it " + Reason + ".");
    FIn.open(FileName, std::ios::binary);
    if (!FIn) throw Exception("Cannot read the DXF file \"" + FileName + "\".");
    char Head[22] = {};
    FIn.read(Head, sizeof Head);
    FBinary = FIn.gcount() == 22 && std::memcmp(Head, BinarySentinel, 22) == 0;
    if (FBinary) {
      // Release 12 wrote one-byte group codes (255 escaping a two-byte one), later
      // releases two bytes; the first group is 0 "SECTION" either way.
      char First[3] = {};
      FIn.read(First, 3);
      FShortCodes = First[0] == 0 && First[1] == 'S';
      FIn.seekg(22);
    } else {
      FIn.seekg(0);
    }
  }
  // The next pair; false at the end of the file.
  bool Next(TPair& P) { return FBinary ? NextBinary(P) : NextText(P); }
  [[noreturn]] void Fail(int64_t Line, const std::string& What) const {
    throw Exception("DXF file \"" + FFileName + "\", " + (FBinary ? "byte " : "line ") +
                    std::to_string(Line) + ": " + What + ".");
  }
  int64_t Line() const { return FBinary ? static_cast<int64_t>(FIn.tellg()) : FLine; }
  // Where the value of a pair stands: the line after its code's, or its byte.
  int64_t ValueAt(const TPair& P) const { return FBinary ? P.Line : P.Line + 1; }

 private:
  bool NextText(TPair& P) {
    std::string Code;
    if (!std::getline(FIn, Code)) return false;
    P.Line = ++FLine;
    Trim(Code);
    const char* E = Code.data() + Code.size();
    auto [End, Ec] = std::from_chars(Code.data(), E, P.Code);
    if (Ec != std::errc() || End != E) Fail(P.Line, "'" + Code + "' is not a group code");
    if (!std::getline(FIn, P.Value)) Fail(P.Line, "the group code has no value");
    ++FLine;
    Trim(P.Value);
    return true;
  }
  // A binary pair: the code, then a value whose type the code's range gives (text ends
  // at a NUL); values are turned into the text an ASCII file would hold.
  bool NextBinary(TPair& P) {
    P.Line = static_cast<int64_t>(FIn.tellg());
    unsigned char B[8] = {};
    if (!FIn.read(reinterpret_cast<char*>(B), FShortCodes ? 1 : 2)) return false;
    P.Code = FShortCodes ? B[0] : static_cast<int16_t>(B[0] | (B[1] << 8));
    if (FShortCodes && B[0] == 255) {
      if (!FIn.read(reinterpret_cast<char*>(B), 2)) Fail(P.Line, "the file ends in a group code");
      P.Code = static_cast<int16_t>(B[0] | (B[1] << 8));
    }
    auto Bytes = [&](int N) {
      if (!FIn.read(reinterpret_cast<char*>(B), N)) Fail(P.Line, "the file ends in a value");
      uint64_t V = 0;
      for (int k = N; k-- > 0;) V = (V << 8) | B[k];
      return V;
    };
    const int C = P.Code;
    auto In = [C](int Lo, int Hi) { return C >= Lo && C <= Hi; };
    char Text[64];
    if (In(10, 59) || In(110, 149) || In(210, 239) || In(460, 469) || In(1010, 1059)) {
      const uint64_t V = Bytes(8);
      double D;
      std::memcpy(&D, &V, 8);
      const auto R = std::to_chars(Text, Text + sizeof Text, D);
      P.Value.assign(Text, R.ptr);
    } else if (In(60, 79) || In(170, 179) || In(270, 289) || In(370, 389) || In(400, 409) ||
               In(1060, 1070)) {
      P.Value = std::to_string(static_cast<int16_t>(Bytes(2)));
    } else if (In(90, 99) || In(420, 429) || In(440, 459) || C == 1071) {
      P.Value = std::to_string(static_cast<int32_t>(Bytes(4)));
    } else if (In(160, 169)) {
      P.Value = std::to_string(static_cast<int64_t>(Bytes(8)));
    } else if (In(290, 299)) {
      P.Value = std::to_string(Bytes(1));
    } else if (In(310, 319) || C == 1004) {
      const auto N = static_cast<std::streamsize>(Bytes(1));  // a chunk of binary data
      P.Value.resize(static_cast<size_t>(N));
      if (!FIn.read(P.Value.data(), N)) Fail(P.Line, "the file ends in a value");
      P.Value.clear();
    } else if (In(0, 9) || In(100, 109) || In(300, 309) || In(320, 369) || In(390, 399) ||
               In(410, 419) || In(430, 439) || In(470, 481) || C == 999 || In(1000, 1009)) {
      if (!std::getline(FIn, P.Value, '\0')) Fail(P.Line, "the file ends in a text value");
    } else {
      Fail(P.Line, "group code " + std::to_string(C) + " is not one of binary DXF");
    }
    return true;
  }
  static void Trim(std::string& S) {
    while (!S.empty() && (S.back() == '\r' || S.back() == ' ' || S.back() == '\t')) S.pop_back();
    size_t i = 0;
    while (i < S.size() && (S[i] == ' ' || S[i] == '\t')) ++i;
    S.erase(0, i);
  }
  std::string FFileName;
  mutable std::ifstream FIn;
  int64_t FLine = 0;
  bool FBinary = false;
  bool FShortCodes = false;
};

struct TVec {
  double X = 0, Y = 0, Z = 0;
};

// Scale, rotation about Z and translation of an insert, after moving the block's base
// point to the origin.
struct TPlace {
  double M[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
  TVec Apply(const TVec& V) const {
    return {M[0][0] * V.X + M[0][1] * V.Y + M[0][2] * V.Z + M[0][3],
            M[1][0] * V.X + M[1][1] * V.Y + M[1][2] * V.Z + M[1][3],
            M[2][0] * V.X + M[2][1] * V.Y + M[2][2] * V.Z + M[2][3]};
  }
  // This placement after Inner (Inner applied first).
  TPlace Then(const TPlace& Inner) const {
    TPlace R;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 4; ++j) {
        double S = j == 3 ? M[i][3] : 0.0;
        for (int k = 0; k < 3; ++k) S += M[i][k] * Inner.M[k][j];
        R.M[i][j] = S;
      }
    return R;
  }
};

struct TLayerData {
  std::vector<double> Pos;
  std::vector<float> Col;
  std::vector<uint32_t> Tris, Lines;
  std::vector<std::pair<int32_t, std::vector<uint32_t>>> Strips;
};

struct TBlock {
  TVec Base;
  std::vector<TEntity> Entities;
};

class TDxf {
 public:
  TDxf(const std::string& FileName, const std::vector<std::string>& Layers, TLumDXFColorMode Mode,
       std::map<std::string, int>& Unknown)
      : FR(FileName), FLayerFilter(Layers), FMode(Mode), FUnknown(Unknown) {}
  void Read();
  void Build(TLum3dObj* Obj);

 private:
  double Number(const TPair& P) const;
  double Num(const TEntity& E, int Code, double Default = 0.0) const;
  // A whole number of the int range (colour numbers, flags, counts, vertex numbers).
  int Int(const TEntity& E, int Code, int Default = 0) const;
  // The vertices the entities of List make, blocks expanded, as Draw makes them
  // (saturated); the counts of blocks are kept.
  uint64_t Count(const TEntity* Begin, const TEntity* End, int Depth);
  TVec Point(const TEntity& E, int Base) const {
    return {Num(E, Base), Num(E, Base + 10), Num(E, Base + 20)};
  }
  // Entities up to ENDSEC / ENDBLK; returns the pair that ended them.
  TPair ReadEntities(std::vector<TEntity>& Out, const char* EndName);
  void ReadTables();
  void ReadBlocks();
  void Draw(const std::vector<TEntity>& List, const TPlace& P, const std::string& InsLayer,
            int InsColor, int Depth);
  uint32_t Vertex(TLayerData& L, const TVec& V, uint32_t Color);

  TReader FR;
  std::vector<std::string> FLayerFilter;
  TLumDXFColorMode FMode;
  std::map<std::string, int>& FUnknown;
  TPair FPending{};
  bool FHasPending = false;
  bool Next(TPair& P) {
    if (FHasPending) {
      P = FPending;
      FHasPending = false;
      return true;
    }
    return FR.Next(P);
  }
  std::unordered_map<std::string, int> FLayerColors;
  std::unordered_map<std::string, TBlock> FBlocks;
  std::unordered_map<const TBlock*, uint64_t> FBlockCounts;
  std::vector<TEntity> FEntities;
  std::map<std::string, TLayerData> FOut;
};

double TDxf::Number(const TPair& P) const {
  double V = 0;
  const char* End = P.Value.data() + P.Value.size();
  auto [Stop, Ec] = std::from_chars(P.Value.data(), End, V);
  // Infinities and NaN are no coordinates, angles or radii: refused like other text.
  if (Ec != std::errc() || Stop != End || !std::isfinite(V))
    FR.Fail(FR.ValueAt(P), "'" + P.Value + "' is not a number");
  return V;
}

int TDxf::Int(const TEntity& E, int Code, int Default) const {
  for (const TPair& P : E.Pairs)
    if (P.Code == Code) {
      const double V = Number(P);
      if (V < INT_MIN || V > INT_MAX) FR.Fail(FR.ValueAt(P), "'" + P.Value + "' is out of range");
      return static_cast<int>(V);
    }
  return Default;
}

double TDxf::Num(const TEntity& E, int Code, double Default) const {
  for (const TPair& P : E.Pairs)
    if (P.Code == Code) {
      return Number(P);
    }
  return Default;
}

TPair TDxf::ReadEntities(std::vector<TEntity>& Out, const char* EndName) {
  TPair P;
  TEntity* Cur = nullptr;
  while (Next(P)) {
    if (P.Code == 0) {
      if (P.Value == EndName || P.Value == "ENDSEC" || P.Value == "EOF") return P;
      Out.push_back({P.Value, {}, P.Line});
      Cur = &Out.back();
    } else if (Cur) {
      Cur->Pairs.push_back(P);
    }
  }
  FR.Fail(FR.Line(), "the file ends before its EOF marker");
}

void TDxf::ReadTables() {
  std::vector<TEntity> Records;
  ReadEntities(Records, "ENDSEC");
  for (const TEntity& E : Records)
    if (E.Name == "LAYER")
      if (const std::string* Name = E.Get(2))
        FLayerColors[*Name] = std::abs(std::max(Int(E, 62, 7), -INT_MAX));
}

void TDxf::ReadBlocks() {
  TPair P;
  while (Next(P)) {
    if (P.Code != 0) continue;
    if (P.Value == "ENDSEC") return;
    if (P.Value == "EOF") break;
    if (P.Value != "BLOCK") continue;
    TEntity Head;
    while (Next(P) && P.Code != 0) Head.Pairs.push_back(P);
    FPending = P, FHasPending = true;
    TBlock B;
    B.Base = Point(Head, 10);
    ReadEntities(B.Entities, "ENDBLK");
    if (const std::string* Name = Head.Get(2)) FBlocks[*Name] = std::move(B);
  }
  FR.Fail(FR.Line(), "the file ends before its EOF marker");
}

void TDxf::Read() {
  TPair P;
  while (Next(P)) {
    if (P.Code == 0 && P.Value == "EOF") return;
    if (P.Code != 0 || P.Value != "SECTION") continue;
    if (!Next(P) || P.Code != 2) FR.Fail(FR.Line(), "a section without a name");
    if (P.Value == "TABLES")
      ReadTables();
    else if (P.Value == "BLOCKS")
      ReadBlocks();
    else if (P.Value == "ENTITIES")
      ReadEntities(FEntities, "ENDSEC");
    else {
      std::vector<TEntity> Skip;
      ReadEntities(Skip, "ENDSEC");
    }
  }
  FR.Fail(FR.Line(), "the file ends before its EOF marker");
}

uint32_t TDxf::Vertex(TLayerData& L, const TVec& V, uint32_t Color) {
  L.Pos.insert(L.Pos.end(), {V.X, V.Y, V.Z});
  L.Col.insert(L.Col.end(), {static_cast<float>(Color & 0xFF) / 255.0f,
                             static_cast<float>((Color >> 8) & 0xFF) / 255.0f,
                             static_cast<float>((Color >> 16) & 0xFF) / 255.0f, 1.0f});
  return static_cast<uint32_t>(L.Pos.size() / 3 - 1);
}

void TDxf::Draw(const std::vector<TEntity>& List, const TPlace& Pl, const std::string& InsLayer,
                int InsColor, int Depth) {
  for (size_t e = 0; e < List.size(); ++e) {
    const TEntity& E = List[e];
    if (E.Name == "SEQEND" || E.Name == "VERTEX") continue;  // read with their POLYLINE
    std::string Layer = E.Get(8) ? *E.Get(8) : "0";
    if (Layer == "0" && !InsLayer.empty())
      Layer = InsLayer;  // block entities on 0 follow the insert
    if (!FLayerFilter.empty() &&
        std::find(FLayerFilter.begin(), FLayerFilter.end(), Layer) == FLayerFilter.end())
      continue;
    const auto LC = FLayerColors.find(Layer);
    const int LayerColor = LC == FLayerColors.end() ? 7 : LC->second;
    int Aci = Int(E, 62, 256);
    if (FMode == dcByLayer || Aci == 256) Aci = LayerColor;
    if (Aci == 0) Aci = InsColor;
    const uint32_t Color = DXFColor(Aci);
    auto Out = [&]() -> TLayerData& { return FOut[Layer]; };
    auto V = [&](const TVec& X) { return Vertex(Out(), Pl.Apply(X), Color); };
    auto Strip = [&](const std::vector<TVec>& Pts, bool Closed) {
      if (Pts.size() < 2) return;
      std::vector<uint32_t> I;
      I.reserve(Pts.size());
      for (const TVec& X : Pts) I.push_back(V(X));
      Out().Strips.push_back({Closed ? GL_LINE_LOOP : GL_LINE_STRIP, std::move(I)});
    };
    auto Arc = [&](const TVec& C, double R, double A0, double A1) {
      // Any finite angles, brought into one turn: the arc is at most a full circle.
      // Both are brought into [0, 360) (fmod keeps the sign, which let -350 to 350 make
      // two turns) and the arc runs counter-clockwise from start to end.
      auto Turn = [](double A) {
        A = std::fmod(A, 360.0);
        if (A < 0) A += 360.0;
        return A >= 360.0 ? 0.0 : A;  // -1e-20 + 360 rounds to 360
      };
      A0 = Turn(A0);
      A1 = Turn(A1);
      if (A1 <= A0) A1 += 360.0;
      const int N = std::max(2, static_cast<int>(std::ceil((A1 - A0) / 360.0 * 64)));
      std::vector<TVec> Pts;
      for (int i = 0; i <= N; ++i) {
        const double A = (A0 + (A1 - A0) * i / N) * kPi / 180.0;
        Pts.push_back({C.X + R * std::cos(A), C.Y + R * std::sin(A), C.Z});
      }
      Strip(Pts, false);
    };
    if (E.Name == "3DFACE") {
      const TVec P[4] = {Point(E, 10), Point(E, 11), Point(E, 12), Point(E, 13)};
      const uint32_t I0 = V(P[0]), I1 = V(P[1]), I2 = V(P[2]);
      Out().Tris.insert(Out().Tris.end(), {I0, I1, I2});
      if (P[3].X != P[2].X || P[3].Y != P[2].Y || P[3].Z != P[2].Z)
        Out().Tris.insert(Out().Tris.end(), {I0, I2, V(P[3])});
    } else if (E.Name == "LINE") {
      const uint32_t A = V(Point(E, 10)), B = V(Point(E, 11));
      Out().Lines.insert(Out().Lines.end(), {A, B});
    } else if (E.Name == "CIRCLE") {
      Arc(Point(E, 10), Num(E, 40), 0.0, 360.0);
    } else if (E.Name == "ARC") {
      Arc(Point(E, 10), Num(E, 40), Num(E, 50), Num(E, 51));
    } else if (E.Name == "LWPOLYLINE") {
      std::vector<TVec> Pts;
      const double Z = Num(E, 38);
      for (const TPair& P : E.Pairs) {
        if (P.Code != 10 && P.Code != 20) continue;
        const double D = Number(P);
        if (P.Code == 10)
          Pts.push_back({D, 0.0, Z});
        else if (!Pts.empty())
          Pts.back().Y = D;
      }
      Strip(Pts, Int(E, 70) & 1);
    } else if (E.Name == "POLYLINE") {
      const int Flags = Int(E, 70);
      std::vector<TVec> Pts;
      std::vector<std::array<int, 4>> Faces;
      size_t k = e + 1;
      for (; k < List.size() && List[k].Name == "VERTEX"; ++k) {
        const int VF = Int(List[k], 70);
        if ((Flags & 64) && (VF & 128) && !(VF & 64))  // a face record of a polyface mesh
          Faces.push_back({Int(List[k], 71), Int(List[k], 72), Int(List[k], 73), Int(List[k], 74)});
        else
          Pts.push_back(Point(List[k], 10));
      }
      e = k - 1;
      if (Flags & 64) {
        std::vector<uint32_t> I;
        for (const TVec& X : Pts) I.push_back(V(X));
        auto At = [&](int n) -> int64_t {  // 1-based, negative for a hidden edge
          const int64_t a = std::abs(static_cast<int64_t>(n));
          // Signed on both sides: a number past the vertices must not turn into one.
          return a >= 1 && a <= static_cast<int64_t>(I.size()) ? static_cast<int64_t>(I[a - 1])
                                                               : int64_t{-1};
        };
        for (const auto& F : Faces) {
          std::vector<uint32_t> C;
          for (int n : F)
            if (n != 0 && At(n) >= 0) C.push_back(static_cast<uint32_t>(At(n)));
          for (size_t j = 1; j + 1 < C.size(); ++j)
            Out().Tris.insert(Out().Tris.end(), {C[0], C[j], C[j + 1]});
        }
      } else if (Flags & 16) {
        const int M = Int(E, 71), N = Int(E, 72);
        if (M < 1 || N < 1 || static_cast<int64_t>(M) * N != static_cast<int64_t>(Pts.size()))
          FR.Fail(E.Line,
                  "the polygon mesh has " + std::to_string(Pts.size()) + " vertices, not M x N");
        std::vector<uint32_t> I;
        for (const TVec& X : Pts) I.push_back(V(X));
        const int Mu = (Flags & 1) ? M : M - 1, Nu = (Flags & 32) ? N : N - 1;
        for (int m = 0; m < Mu; ++m)
          for (int n = 0; n < Nu; ++n) {
            const uint32_t A = I[m * N + n], B = I[m * N + (n + 1) % N],
                           C = I[((m + 1) % M) * N + (n + 1) % N], D = I[((m + 1) % M) * N + n];
            Out().Tris.insert(Out().Tris.end(), {A, B, C, A, C, D});
          }
      } else {
        Strip(Pts, Flags & 1);
      }
    } else if (E.Name == "INSERT") {
      const std::string* Name = E.Get(2);
      const auto B = Name ? FBlocks.find(*Name) : FBlocks.end();
      if (B == FBlocks.end()) {
        ++FUnknown["INSERT of a missing block"];
        continue;
      }
      // Blocks that insert themselves would recurse without end.
      if (Depth >= 16) FR.Fail(E.Line, "blocks are nested deeper than 16 levels");
      const TVec At = Point(E, 10);
      const double Sx = Num(E, 41, 1), Sy = Num(E, 42, 1), Sz = Num(E, 43, 1);
      const double R = Num(E, 50) * kPi / 180.0, c = std::cos(R), s = std::sin(R);
      const TVec& Bs = B->second.Base;
      TPlace Ins;
      const double Row[3][3] = {{c * Sx, -s * Sy, 0}, {s * Sx, c * Sy, 0}, {0, 0, Sz}};
      const double T[3] = {At.X, At.Y, At.Z};
      for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) Ins.M[i][j] = Row[i][j];
        Ins.M[i][3] = T[i] - (Row[i][0] * Bs.X + Row[i][1] * Bs.Y + Row[i][2] * Bs.Z);
      }
      Draw(B->second.Entities, Pl.Then(Ins), Layer, Aci, Depth + 1);
    } else {
      ++FUnknown[E.Name];
    }
  }
}

// Normals for lighting: the faces' normals (by their winding, weighted by area) summed at
// their vertices, so a mesh entity shades smoothly and a 3DFACE flat; a vertex of lines
// only faces +Z, towards a drawing's usual viewer.
std::vector<double> VertexNormals(const TLayerData& L) {
  std::vector<double> N(L.Pos.size(), 0.0);
  const double* P = L.Pos.data();
  const size_t Count = L.Pos.size() / 3;
  for (size_t t = 0; t + 2 < L.Tris.size(); t += 3) {
    if (L.Tris[t] >= Count || L.Tris[t + 1] >= Count || L.Tris[t + 2] >= Count) continue;
    const double *A = P + L.Tris[t] * 3, *B = P + L.Tris[t + 1] * 3, *C = P + L.Tris[t + 2] * 3;
    TLumMathVector F;
    LumMathCrossProduct({B[0] - A[0], B[1] - A[1], B[2] - A[2]},
                        {C[0] - A[0], C[1] - A[1], C[2] - A[2]}, F);
    for (int k = 0; k < 3; ++k) {
      double* V = N.data() + L.Tris[t + k] * 3;
      V[0] += F.X, V[1] += F.Y, V[2] += F.Z;
    }
  }
  for (size_t v = 0; v < N.size(); v += 3) {
    TLumMathVector V{N[v], N[v + 1], N[v + 2]};
    if (!(LumMathVectorLength(V) > 0)) V = {0, 0, 1};
    LumMathNormalize(V);
    N[v] = V.X, N[v + 1] = V.Y, N[v + 2] = V.Z;
  }
  return N;
}

uint64_t TDxf::Count(const TEntity* Begin, const TEntity* End, int Depth) {
  uint64_t N = 0;
  const uint64_t Max = static_cast<uint64_t>(MaxMeshCount());
  for (const TEntity* It = Begin; It != End && N <= Max; ++It) {
    const TEntity& E = *It;
    uint64_t K = 0;
    if (E.Name == "3DFACE") {
      K = 4;
    } else if (E.Name == "LINE") {
      K = 2;
    } else if (E.Name == "CIRCLE" || E.Name == "ARC") {
      K = 65;
    } else if (E.Name == "LWPOLYLINE") {
      for (const TPair& P : E.Pairs) K += P.Code == 10;
    } else if (E.Name == "VERTEX") {
      K = 1;  // of its polyline, or a face of a mesh, which makes none
    } else if (E.Name == "INSERT") {
      const std::string* Name = E.Get(2);
      const auto B = Name ? FBlocks.find(*Name) : FBlocks.end();
      if (B == FBlocks.end()) continue;
      if (Depth >= 16) FR.Fail(E.Line, "blocks are nested deeper than 16 levels");
      const auto Known = FBlockCounts.find(&B->second);
      const std::vector<TEntity>& L = B->second.Entities;
      K = Known != FBlockCounts.end() ? Known->second
                                      : Count(L.data(), L.data() + L.size(), Depth + 1);
      FBlockCounts[&B->second] = K;
    }
    N = K > UINT64_MAX - N ? UINT64_MAX : N + K;
  }
  return N;
}

void TDxf::Build(TLum3dObj* Obj) {
  // What block inserts expand to is counted before anything is made: ten blocks each
  // inserting the next ten times are a few lines of file and 10^10 entities.
  const uint64_t Max = static_cast<uint64_t>(MaxMeshCount());
  uint64_t Total = 0;
  for (const TEntity& E : FEntities) {
    const uint64_t K = Count(&E, &E + 1, 0);
    Total = K > UINT64_MAX - Total ? UINT64_MAX : Total + K;
    if (Total > Max)
      FR.Fail(
          E.Line,
          (E.Name == "INSERT" ? "with this block insert the drawing makes" : "the drawing makes") +
              std::string(" more than ") + std::to_string(Max) + " vertices, the bound of a mesh");
  }
  Draw(FEntities, TPlace(), std::string(), 7, 0);
  for (auto& [Name, L] : FOut) {
    TLum3dPart* P = Obj->AddPart(Name);
    const std::vector<double> Normals = VertexNormals(L);
    P->SetVertexData(static_cast<int32_t>(L.Pos.size() / 3), L.Pos.data(), Normals.data(), nullptr,
                     2, L.Col.data());
    if (!L.Tris.empty())
      P->AddIndices(GL_TRIANGLES, L.Tris.data(), static_cast<int32_t>(L.Tris.size()));
    if (!L.Lines.empty())
      P->AddIndices(GL_LINES, L.Lines.data(), static_cast<int32_t>(L.Lines.size()));
    for (auto& [Mode, I] : L.Strips) P->AddIndices(Mode, I.data(), static_cast<int32_t>(I.size()));
  }
}

}  // namespace

uint32_t DXFColor(int Index) {
  static const uint32_t Base[10] = {0xFFFFFF, 0x0000FF, 0x00FFFF, 0x00FF00, 0xFFFF00,
                                    0xFF0000, 0xFF00FF, 0xFFFFFF, 0x808080, 0xC0C0C0};
  if (Index < 1 || Index > 255) return 0xFFFFFF;
  if (Index < 10) return Base[Index];
  auto Pack = [](double R, double G, double B) {
    auto C = [](double V) {
      return static_cast<uint32_t>(std::lround(std::clamp(V, 0.0, 1.0) * 255));
    };
    return C(R) | (C(G) << 8) | (C(B) << 16);
  };
  if (Index >= 250) {
    const double G = 0.2 + (Index - 250) * 0.16;
    return Pack(G, G, G);
  }
  static const double Value[5] = {1.0, 0.8, 0.6, 0.5, 0.3};
  const double H = ((Index - 10) / 10) * 15.0, Sat = (Index % 2) ? 0.5 : 1.0;
  const double Val = Value[(Index % 10) / 2];
  // HSV to RGB.
  const double C = Val * Sat, X = C * (1 - std::abs(std::fmod(H / 60.0, 2.0) - 1)), M = Val - C;
  double R = 0, G = 0, B = 0;
  switch (static_cast<int>(H / 60.0)) {
    case 0:
      R = C, G = X;
      break;
    case 1:
      R = X, G = C;
      break;
    case 2:
      G = C, B = X;
      break;
    case 3:
      G = X, B = C;
      break;
    case 4:
      R = X, B = C;
      break;
    default:
      R = C, B = X;
      break;
  }
  return Pack(R + M, G + M, B + M);
}

TLumDXFImport::~TLumDXFImport() { SetTarget(nullptr); }

void TLumDXFImport::SetTarget(TLumNode* Value) {
  if (FTarget) FTarget->RemoveFreeNotification(this);
  FTarget = Value;
  if (FTarget) FTarget->FreeNotification(this);
}

void TLumDXFImport::Notification(TComponent* AComponent, TOperation Operation) {
  TComponent::Notification(AComponent, Operation);
  if (Operation == opRemove && AComponent == FTarget) FTarget = nullptr;
}

int TLumDXFImport::UnknownCount() const {
  int N = 0;
  for (const auto& [Name, Count] : FUnknown) N += Count;
  return N;
}

TLum3dObj* TLumDXFImport::ReadHere(TComponent* Owner) {
  FUnknown.clear();
  TDxf D(FFileName, FLayers, FColorMode, FUnknown);
  D.Read();
  auto Obj = std::make_unique<TLum3dObj>(nullptr);
  D.Build(Obj.get());
  auto* Result = new TLum3dObj(Owner);
  Result->Assign(Obj.get());
  Result->SetObjectName(std::filesystem::path(FFileName).stem().string());
  // The colours are the drawing's own: lit, they stand for its material.
  Result->SetColorAsMaterial(cmAmbientDiffuse);
  return Result;
}

TLum3dObj* TLumDXFImport::Execute() {
  TComponent* Owner = FTarget && FTarget->Owner() ? FTarget->Owner() : this;
  TLum3dObj* Result = nullptr;
  if (!FIsolated) {
    try {
      Result = ReadHere(Owner);
    } catch (const std::bad_alloc&) {
      throw Exception("DXF file \"" + FFileName + "\": there is not enough memory to draw it.");
    }
  } else {
    TLumImportOptions Options;
    Options.MaxMemoryMB = FMaxMemoryMB;
    Options.TimeLimit = FTimeLimit;
    // The child's reader, with this component's settings; what it skipped comes back as
    // notes "count name".
    const auto Read = [this](TComponent* ChildOwner, const TLumImportOptions&,
                             const std::function<void(const std::string&)>& Note) {
      auto* Root = new TLumNode(ChildOwner);
      Root->Add(ReadHere(ChildOwner));
      for (const auto& [Name, Count] : FUnknown) Note(std::to_string(Count) + " " + Name);
      return Root;
    };
    FUnknown.clear();
    const auto OnNote = [this](const std::string& Text) {
      const size_t Space = Text.find(' ');
      if (Space != std::string::npos)
        FUnknown[Text.substr(Space + 1)] += std::atoi(Text.substr(0, Space).c_str());
    };
    std::unique_ptr<TLumNode> Root(
        importparts::ReadIsolated(FFileName, "DXF", Owner, Options, Read, OnNote));
    Result = Root->GetCount() == 1 ? dynamic_cast<TLum3dObj*>(Root->GetItems(0)) : nullptr;
    if (!Result)
      throw Exception(importparts::FileError("DXF", FFileName,
                                             "what the DXF reader handed back is not a drawing"));
    // Owned by the node that read it back, the object goes to the owner the drawing's
    // object has when read here.
    Root->Remove(Result);
    Root->RemoveComponent(Result);
    Owner->InsertComponent(Result);
  }
  if (FTarget) FTarget->Add(Result);
  return Result;
}

// --- the published-property table ------------------------------------------------------

namespace {
const char* const TLumDXFColorModeStr[2] = {"dcByEntity", "dcByLayer"};
}  // namespace

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumdxfimportProperties();
}  // namespace detail

void detail::RegisterLumdxfimportProperties() {
  TLumClassTable<TLumDXFImport, TComponent> T("TLumDXFImport", "Lumox",
                                              "Reads a DXF drawing into a TLum3dObj");
  T.Creatable();
  T.String("FileName", &TLumDXFImport::FileName, &TLumDXFImport::SetFileName, std::string(),
           "The drawing Execute reads");
  T.Component("Target", &TLumDXFImport::Target, &TLumDXFImport::SetTarget, true,
              "The node the imported object is added to");
  // The layer list as one text, a layer per line.
  T.String(
      "Layers",
      [](const TLumDXFImport* X) {
        std::string S;
        for (const std::string& L : X->Layers()) S += (S.empty() ? "" : "\n") + L;
        return S;
      },
      [](TLumDXFImport* X, const std::string& Text) {
        std::vector<std::string> Layers;
        size_t Start = 0;
        while (Start < Text.size()) {
          const size_t End = std::min(Text.find('\n', Start), Text.size());
          Layers.push_back(Text.substr(Start, End - Start));
          Start = End + 1;
        }
        X->SetLayers(Layers);
      },
      std::string(), "The layers to read, one per line; none reads them all");
  T.Enum("ColorMode", "TLumDXFColorMode", &TLumDXFImport::ColorMode, &TLumDXFImport::SetColorMode,
         TLumDXFColorModeStr, dcByEntity, "Colours by entity, or by layer");
}

}  // namespace lumox
