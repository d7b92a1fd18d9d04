// Loads a LUMGL scene, changes it in code and saves it again:
// edit_scene IN.lumgl OUT.lumgl. Every sphere grows by half and turns blue, and a
// box joins the scene.
#include <cstdio>
#include <exception>

#include "lumox/geometry/lumshape.h"
#include "lumox/lumox.h"

using namespace lumox;

// Visits the items of a node and of the nodes inside it.
template <typename F>
void ForEachItem(TLumNode* Node, F&& Visit) {
  for (int I = 0; I < Node->GetCount(); ++I) {
    TLumRender* Item = Node->GetItems(I);
    Visit(Item);
    if (auto* Child = dynamic_cast<TLumNode*>(Item)) ForEachItem(Child, Visit);
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: edit_scene IN.lumgl OUT.lumgl\n");
    return 2;
  }
  TComponent Form(nullptr);
  auto* Root = new TLumNode(&Form);
  TLumExchange Exchange(&Form);
  try {
    Exchange.SetFileName(argv[1]);
    Exchange.LoadfromFile(Root);  // the file's objects become items of Root

    int Spheres = 0;
    ForEachItem(Root, [&Spheres](TLumRender* Item) {
      if (auto* S = dynamic_cast<TLumSphere*>(Item)) {
        S->SetRadius(S->Radius() * 1.5);
        S->Color()->SetColor(0xFF0000);  // $00BBGGRR: blue
        ++Spheres;
      }
    });
    auto* Box = new TLumBox(&Form);
    Box->SetName("AddedBox");
    Box->SetWidth(0.5f);
    Box->SetHeight(0.5f);
    Box->SetDepth(0.5f);
    Box->Transformation()->Translation()->SetValues(0, 0.8f, 0);
    Box->SetNode(Root);

    Exchange.SetFileName(argv[2]);
    Exchange.SetNoDefaultValues(true);  // a compact file: values at their defaults stay out
    Exchange.SavetoFile(Root);
    std::printf("%d sphere(s) changed, a box added; wrote %s\n", Spheres, argv[2]);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "edit_scene: %s\n", E.what());
    return 1;
  }
  return 0;
}
