// Package services: version and product texts, the palette of components and the
// diagnostics report of a view.
#include "lumox/package/lumpackage.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>
#include <vector>

#include "lumox/geometry/lumbounds.h"
#include "lumox/math/lumgl.h"
#include "lumox/package/lumversion.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumview.h"

namespace lumox {

const char* LumoxVersion() { return LUMOX_VERSION_STRING; }

const char* LumoxProductName() { return "Lumox 3D components"; }

std::string LumoxAboutText() {
  std::string S = std::string(LumoxProductName()) + " " + LumoxVersion() + "\n";
  S += "Components for interactive 3D scenes drawn with fixed-function OpenGL: views, "
       "cameras,\nrender-state components, shapes and meshes, grouping nodes, and scene "
       "files in the LUMGL format.\n";
  return S;
}

// --- the palette -------------------------------------------------------------------------

namespace {

std::vector<TLumPalettePage>& Pages() {
  // The library's own pages are registered on first use, so they always come first.
  static std::vector<TLumPalettePage> List = [] {
    std::vector<TLumPalettePage> L;
    L.push_back(
        {"Lumox",
         {"TLumView", "TLumPerspectiveCamera", "TLumOrthographicCamera", "TLumCarController",
          "TLumPersonController", "TLumPresentationController", "TLumMouseController", "TLumTimer",
          "TLumNode", "TLumMaterial", "TLumAttributes", "TLumFog", "TLumLight", "TLumTexture",
          "TLumClip", "TLumExchange", "TLumDXFImport"}});
    L.push_back({"Lumox Obj",
                 {"TLumPoint", "TLumLine", "TLumTriangle", "TLumRectangle", "TLumSphere",
                  "TLumCylinder", "TLumDisc", "TLumTorus", "TLumBox", "TLumFuncObj", "TLumRotObj",
                  "TLumPolygon", "TLumPointSet", "TLumTube", "TLum3dObj", "TLumText"}});
    return L;
  }();
  return List;
}

}  // namespace

void RegisterComponents(const std::string& Page, const std::vector<std::string>& Classes) {
  auto& L = Pages();
  TLumPalettePage* P = nullptr;
  for (auto& Each : L)
    if (Each.Name == Page) P = &Each;
  if (!P) {
    L.push_back({Page, {}});
    P = &L.back();
  }
  for (const auto& C : Classes) {
    bool Known = false;
    for (const auto& Have : P->Classes) Known = Known || Have == C;
    if (!Known) P->Classes.push_back(C);
  }
}

const std::vector<TLumPalettePage>& GetPalettePages() { return Pages(); }

std::vector<std::string> GetPaletteClasses(const std::string& Page) {
  for (const auto& P : Pages())
    if (P.Name == Page) return P.Classes;
  return {};
}

// --- the diagnostics report ----------------------------------------------------------------

namespace {

std::string GLText(GLenum Name) {
  const GLubyte* S = glGetString(Name);
  return S ? reinterpret_cast<const char*>(S) : "(unknown)";
}

int CountWords(const std::string& S) {
  std::istringstream In(S);
  std::string W;
  int N = 0;
  while (In >> W) ++N;
  return N;
}

// Items of each class under Node, through nested nodes (each held node once).
void CountClasses(TLumNode* Node, std::map<std::string, int>& Classes) {
  LumWalkItems(Node, [&Classes](TLumNode* N, int I, TLumRender* Item) {
    ++Classes[Item->ClassName()];
    return !N->IsIndirect(I);
  });
}

std::string VectorText(const TLumMathVector& V) {
  char S[100];
  std::snprintf(S, sizeof S, "(%g, %g, %g)", V.X, V.Y, V.Z);
  return S;
}

}  // namespace

std::string LumDiagnosticsReport(TLumView* View, TLumNode* Scene) {
  std::ostringstream Out;
  Out << LumoxProductName() << " " << LumoxVersion() << "\n";
  if (View) {
    View->HandleNeeded();
    View->SetCurrent(true);
    if (View->GetCurrent()) {
      GLint Bits[6] = {0, 0, 0, 0, 0, 0};
      const GLenum Names[6] = {GL_RED_BITS,   GL_GREEN_BITS, GL_BLUE_BITS,
                               GL_ALPHA_BITS, GL_DEPTH_BITS, GL_STENCIL_BITS};
      for (int I = 0; I < 6; ++I) glGetIntegerv(Names[I], &Bits[I]);
      Out << "EGL platform: " << EGLPlatformName() << "\n";
      Out << "GL vendor:    " << GLText(GL_VENDOR) << "\n";
      Out << "GL renderer:  " << GLText(GL_RENDERER) << "\n";
      Out << "GL version:   " << GLText(GL_VERSION) << "\n";
      Out << "GL extensions: " << CountWords(GLText(GL_EXTENSIONS)) << "\n";
      Out << "Colour bits:  " << Bits[0] << " " << Bits[1] << " " << Bits[2] << " " << Bits[3]
          << " (red green blue alpha)\n";
      Out << "Depth bits:   " << Bits[4] << "\n";
      Out << "Stencil bits: " << Bits[5] << "\n";
      View->SetCurrent(false);
    } else {
      Out << "GL: no current context\n";
    }
    Out << "View size:    " << View->Width() << " x " << View->Height() << "\n";
  }
  if (Scene) {
    std::map<std::string, int> Classes;
    CountClasses(Scene, Classes);
    int Total = 0;
    for (const auto& [Name, N] : Classes) Total += N;
    Out << "Objects:      " << Total << "\n";
    for (const auto& [Name, N] : Classes) Out << "  " << Name << ": " << N << "\n";
    const TLumMeshCounts C = LumCountMeshes(Scene);
    Out << "Meshes:       " << C.Objects << "\n";
    Out << "Vertices:     " << C.Vertices << "\n";
    Out << "Triangles:    " << C.Triangles << "\n";
    Out << "Lines:        " << C.Lines << "\n";
    Out << "Points:       " << C.Points << "\n";
    const TLumBounds B = LumWorldBounds(Scene);
    if (B.Empty())
      Out << "Bounds:       none (no vertices)\n";
    else
      Out << "Bounds:       " << VectorText(B.Min) << " .. " << VectorText(B.Max) << "\n";
  }
  return Out.str();
}

}  // namespace lumox
