// The built-in demo: its LUMGL document loaded through a temporary file, then completed
// in code with what a scene file cannot hold (a generated texture bitmap, callbacks).
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/geometry/lumfuncobj.h"
#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/geometry/lumrotobj.h"
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
}

}  // namespace lumoxcmd
