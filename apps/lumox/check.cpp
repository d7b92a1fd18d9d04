// Load warnings on the command line (the check subcommand, --strict, the warning list
// printed by render, info and convert) and the scene tree that info --list-scene prints.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumbounds.h"
#include "lumox/scene/lumobj.h"

using namespace lumox;

namespace lumoxcmd {

void PrintWarnings(const TSceneLoad& Load) {
  for (const TLumLoadWarning& N : Load.Notes)
    std::fprintf(stderr, "note: %s\n", N.ToString().c_str());
  const std::vector<TLumLoadWarning>& Warnings = Load.Warnings;
  constexpr size_t Shown = 20;
  for (size_t I = 0; I < Warnings.size() && I < Shown; ++I)
    std::fprintf(stderr, "warning: %s\n", Warnings[I].ToString().c_str());
  if (Warnings.size() > Shown)
    std::fprintf(stderr, "... and %zu more warnings (%zu in all)\n", Warnings.size() - Shown,
                 Warnings.size());
}

int StrictStatus(const std::string& File, const std::vector<TLumLoadWarning>& Warnings) {
  if (Warnings.empty()) return 0;
  std::fprintf(stderr, "lumox: %s: %zu load warning%s\n", File.c_str(), Warnings.size(),
               Warnings.size() == 1 ? "" : "s");
  return ExitFailure;
}

int RunCheck(const TArgs& Args) {
  std::string Scene;
  for (const auto& A : Args) {
    if (!A.empty() && A[0] == '-') return BadUsage("unknown option '" + A + "'");
    if (!Scene.empty()) return BadUsage("check takes one scene file");
    Scene = A;
  }
  if (Scene.empty()) return BadUsage("check needs a scene file");
  TSceneLoad Load;
  try {
    TComponent Form(nullptr);
    auto* Root = new TLumNode(&Form);
    LoadScene(Scene, &Form, Root, &Load);
  } catch (const std::exception& E) {
    return Fail(Scene, E.what());
  }
  PrintWarnings(Load);
  if (!Load.Warnings.empty()) return StrictStatus(Scene, Load.Warnings);
  std::printf("%s: no warnings\n", Scene.c_str());
  return 0;
}

namespace {

std::string BoxText(const TLumBounds& B) {
  if (B.Empty()) return "no vertices";
  char S[200];
  std::snprintf(S, sizeof S, "(%g, %g, %g) .. (%g, %g, %g)", B.Min.X, B.Min.Y, B.Min.Z, B.Max.X,
                B.Max.Y, B.Max.Z);
  return S;
}

struct TLine {
  int Depth;
  size_t Parent;  // the line of the node holding the item
  std::string Text;
  bool Enabled;
  TLumBounds Box;
};

std::string ItemText(TLumRender* Item) {
  std::string Text = Item->ClassName();
  if (!Item->Name().empty()) Text += " \"" + Item->Name() + "\"";
  if (auto* O = dynamic_cast<TLumObject*>(Item);
      O && !O->ObjectName().empty() && O->ObjectName() != Item->Name())
    Text += " (" + O->ObjectName() + ")";
  if (!Item->Enabled()) Text += " [disabled]";
  return Text;
}

}  // namespace

void PrintSceneTree(TLumNode* Root) {
  // The items in drawing order with their world matrices; each line's box then takes in
  // its own vertices and, from the last line back, those of the enabled items it holds.
  constexpr int MaxDepth = 256;
  std::vector<TLine> Lines;
  struct TAt {
    TLumRender* Item;
    int Depth;
    size_t Parent;
    TLumMathMatrix Above;
  };
  std::vector<TAt> Stack{{Root, 0, 0, IDENTITYMATRIX}};
  while (!Stack.empty()) {
    const TAt At = Stack.back();
    Stack.pop_back();
    const size_t Own = Lines.size();
    const TLumMathMatrix World =
        LumMathMatrixMultiply(At.Above, At.Item->Transformation()->GetMatrix());
    TLine& L =
        Lines.emplace_back(TLine{At.Depth, At.Parent, ItemText(At.Item), At.Item->Enabled(), {}});
    LumForEachVertex(At.Item,
                     [&](const TLumMathVector& P) { L.Box.Add(LumMathMatrixTransform(World, P)); });
    if (auto* Node = dynamic_cast<TLumNode*>(At.Item); Node && At.Depth < MaxDepth)
      for (int I = Node->GetCount(); I-- > 0;)
        if (TLumRender* Child = Node->GetItems(I))
          Stack.push_back({Child, At.Depth + 1, Own, World});
  }
  for (size_t I = Lines.size(); I-- > 1;)
    if (Lines[I].Enabled) Lines[Lines[I].Parent].Box.Add(Lines[I].Box);
  std::printf("Scene tree (world bounding boxes):\n");
  for (const TLine& L : Lines)
    std::printf("%s%s: %s\n", std::string(2 * static_cast<size_t>(L.Depth) + 2, ' ').c_str(),
                L.Text.c_str(), BoxText(L.Box).c_str());
}

}  // namespace lumoxcmd
