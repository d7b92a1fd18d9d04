// Load warnings on the command line (the check subcommand, --strict, the warning list
// printed by render, info and convert) and the scene tree that info --list-scene prints.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>

#include "apps/lumox/lumoxcmd.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/geometry/lumprimitiveobj.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace lumoxcmd {

void PrintWarnings(const std::vector<TLumLoadWarning>& Warnings) {
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
  PrintWarnings(Load.Warnings);
  if (!Load.Warnings.empty()) return StrictStatus(Scene, Load.Warnings);
  std::printf("%s: no warnings\n", Scene.c_str());
  return 0;
}

namespace {

struct TBox {
  double Min[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
  double Max[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  bool Empty() const { return Min[0] > Max[0]; }
  void Add(const TBox& B) {
    for (int R = 0; R < 3; ++R) {
      Min[R] = std::min(Min[R], B.Min[R]);
      Max[R] = std::max(Max[R], B.Max[R]);
    }
  }
};

std::string BoxText(const TBox& B) {
  if (B.Empty()) return "no vertices";
  char S[200];
  std::snprintf(S, sizeof S, "(%g, %g, %g) .. (%g, %g, %g)", B.Min[0], B.Min[1], B.Min[2], B.Max[0],
                B.Max[1], B.Max[2]);
  return S;
}

struct TLine {
  int Depth;
  std::string Text;
  TBox Box;
};

// The world box of Item (with the modelview matrix holding its parents' transformations),
// adding its line, and those of its items, to Lines.
TBox Walk(TLumRender* Item, int Depth, std::vector<TLine>& Lines) {
  const size_t Own = Lines.size();
  std::string Text = Item->ClassName();
  if (!Item->Name().empty()) Text += " \"" + Item->Name() + "\"";
  if (auto* O = dynamic_cast<TLumObject*>(Item);
      O && !O->ObjectName().empty() && O->ObjectName() != Item->Name())
    Text += " (" + O->ObjectName() + ")";
  if (!Item->Enabled()) Text += " [disabled]";
  Lines.push_back({Depth, Text, {}});
  TBox Box;
  glPushMatrix();
  Item->Transformation()->Execute();
  if (auto* Mesh = dynamic_cast<TLumPrimitiveObj*>(Item)) {
    if (!Mesh->Initialized()) Mesh->Init();
    double M[16];
    glGetDoublev(GL_MODELVIEW_MATRIX, M);
    const TLumPrimitivePoints* P = Mesh->Points();
    const double* V = P->Vertices();
    for (int32_t K = 0; V && K < P->Count(); ++K)
      for (int R = 0; R < 3; ++R) {
        const double W =
            M[R] * V[3 * K] + M[4 + R] * V[3 * K + 1] + M[8 + R] * V[3 * K + 2] + M[12 + R];
        if (!std::isfinite(W)) continue;
        Box.Min[R] = std::min(Box.Min[R], W);
        Box.Max[R] = std::max(Box.Max[R], W);
      }
  }
  if (auto* Node = dynamic_cast<TLumNode*>(Item); Node && Depth < 256)
    for (int I = 0; I < Node->GetCount(); ++I)
      if (TLumRender* Child = Node->GetItems(I)) Box.Add(Walk(Child, Depth + 1, Lines));
  glPopMatrix();
  Lines[Own].Box = Box;
  return Box;
}

}  // namespace

void PrintSceneTree(TLumView* View, TLumNode* Root) {
  View->HandleNeeded();
  View->SetCurrent(true);
  if (!View->GetCurrent()) throw Exception("no GL context for the scene's bounding boxes");
  std::vector<TLine> Lines;
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
  Walk(Root, 0, Lines);
  glPopMatrix();
  View->SetCurrent(false);
  std::printf("Scene tree (world bounding boxes):\n");
  for (const TLine& L : Lines)
    std::printf("%s%s: %s\n", std::string(2 * static_cast<size_t>(L.Depth) + 2, ' ').c_str(),
                L.Text.c_str(), BoxText(L.Box).c_str());
}

}  // namespace lumoxcmd
