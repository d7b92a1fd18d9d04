// The built-in demo: its LUMGL document loaded through a temporary file, then completed
// in code with what a scene file cannot hold (a generated texture bitmap, callbacks).
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/geometry/lumfuncobj.h"
#include "lumox/geometry/lumpointset.h"
#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/geometry/lumrotobj.h"
#include "lumox/geometry/lumtube.h"
#include "lumox/host/graphics.h"
#include "lumox/scene/lumobj.h"
#include "lumox/scene/lumtex.h"

using namespace lumox;

namespace lumoxcmd {

namespace {

constexpr double TwoPi = 6.283185307179586;

TComponent* FindItem(TLumNode* Node, const std::string& Name) {
  for (int I = 0; I < Node->GetCount(); ++I) {
    TLumRender* Item = Node->GetItems(I);
    if (!Item) continue;
    if (Item->Name() == Name) return Item;
    if (auto* Child = dynamic_cast<TLumNode*>(Item))
      if (TComponent* Found = FindItem(Child, Name)) return Found;
  }
  return nullptr;
}

// Removes the temporary file however loading ends.
struct TTempFile {
  std::string Path;
  ~TTempFile() {
    if (!Path.empty()) ::unlink(Path.c_str());
  }
};

}  // namespace

void LoadDemoScene(TComponent* Owner, TLumNode* Root) {
  std::string Dir = std::filesystem::temp_directory_path().string();
  TTempFile Temp{Dir + "/lumox-demo-XXXXXX.lumgl"};
  const int Fd = ::mkstemps(Temp.Path.data(), 6);
  if (Fd < 0) {
    Temp.Path.clear();
    throw Exception("Cannot create a temporary file for the demo scene in \"" + Dir + "\"");
  }
  const std::string Text = DemoSceneText();
  const bool Written = ::write(Fd, Text.data(), Text.size()) == static_cast<ssize_t>(Text.size());
  ::close(Fd);
  if (!Written) throw Exception("Cannot write the demo scene to \"" + Temp.Path + "\"");
  LoadScene(Temp.Path, Owner, Root);

  // The floor's texture, a grey checkerboard, bound to the floor: meshes bind their own.
  if (auto* Checker = dynamic_cast<TLumTexture*>(FindItem(Root, "Checker"))) {
    TBitmap B(256, 256);
    for (int Y = 0; Y < 256; ++Y)
      for (int X = 0; X < 256; ++X) B.SetPixel(X, Y, ((X / 32 + Y / 32) % 2) ? 0xD8D8D8 : 0x686868);
    Checker->SetBitmap(&B);
    if (auto* Floor = dynamic_cast<TLumPrimitiveObj*>(FindItem(Root, "Floor"))) {
      Floor->SetTexture(Checker);
      Floor->SetTextured(true);
    }
  }
  // A ripple: the curve runs along y, each of its points sweeps across x.
  if (auto* Wave = dynamic_cast<TLumFuncObj*>(FindItem(Root, "Wave"))) {
    Wave->OnCalcZ = [](const TLumMathVector&, double T) { return TLumMathVector{0, T - 0.5, 0}; };
    Wave->OnCalcXY = [](const TLumMathVector& P, double W) {
      const double X = W - 0.5, R = std::hypot(X, P.Y);
      return TLumMathVector{X * 1.2, P.Y * 1.2, 0.1 * std::cos(R * TwoPi * 1.6)};
    };
    Wave->Init();
  }
  // A vase: the profile gives the radius (x) along the height (z).
  if (auto* Vase = dynamic_cast<TLumRotObj*>(FindItem(Root, "Vase"))) {
    Vase->OnCalcZ = [](const TLumMathVector&, double T) {
      return TLumMathVector{0.22 + 0.16 * std::sin(T * TwoPi * 0.8 + 0.6), 0, T * 1.1};
    };
    Vase->Init();
  }
  // A trefoil knot, and a spiral cloud of points shading from gold to blue.
  if (auto* Knot = dynamic_cast<TLumTube*>(FindItem(Root, "Knot")))
    for (int I = 0; I < 120; ++I) {
      const double T = TwoPi * I / 120;
      const double K = 0.16;  // the size here, not by a scale, which would scale normals
      Knot->AddSection({K * (std::sin(T) + 2 * std::sin(2 * T)),
                        K * (std::cos(T) - 2 * std::cos(2 * T)), -K * std::sin(3 * T)},
                       K * 0.35);
    }
  if (auto* Cloud = dynamic_cast<TLumPointSet*>(FindItem(Root, "Cloud")))
    for (int I = 0; I < 3000; ++I) {
      const double F = I / 3000.0, A = F * TwoPi * 5, R = 0.05 + 0.4 * F;
      Cloud->AddPoint(R * std::cos(A), 0.6 * F, R * std::sin(A), float(1 - F), float(0.8 - 0.4 * F),
                      float(F));
    }
}

}  // namespace lumoxcmd
