// Builds a small scene of coloured squares in nested nodes in plain C++, renders it
// off-screen and writes nested_nodes.png (or the file named on the command line).
#include <cstdio>
#include <exception>

#include "lumox/lumox.h"

using namespace lumox;

// A scene object of one's own: a unit square in the X-Y plane.
class TSquare : public TLumObject {
 public:
  using TLumObject::TLumObject;
  const char* ClassName() const override { return "TSquare"; }
  void DoRender(TLumCustomView* aView) override {
    TLumObject::DoRender(aView);  // colour, attributes, material
    glBegin(GL_QUADS);
    glVertex3f(-0.5f, -0.5f, 0);
    glVertex3f(0.5f, -0.5f, 0);
    glVertex3f(0.5f, 0.5f, 0);
    glVertex3f(-0.5f, 0.5f, 0);
    glEnd();
  }
};

int main(int argc, char** argv) {
  const char* Out = argc > 1 ? argv[1] : "nested_nodes.png";
  TComponent Form(nullptr);  // owns and frees everything below
  auto* View = new TLumView(&Form);
  View->SetBounds(320, 200);
  View->SetBackgroundColor(0x402010);  // $00BBGGRR: a dark blue
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetZ(-4);
  View->SetCamera(Camera);

  auto* Root = new TLumNode(&Form);
  auto* Row = new TLumNode(&Form);
  Row->Transformation()->Translation()->SetY(-0.6f);
  Row->SetNode(Root);
  const uint32_t Colors[3] = {0x0000FF, 0x00FF00, 0xFF0000};  // red, green, blue
  for (int I = 0; I < 3; ++I) {
    auto* S = new TSquare(&Form);
    S->Color()->SetColor(Colors[I]);
    S->Transformation()->Translation()->SetX(-1.2f + 1.2f * I);
    S->SetNode(Row);
  }
  auto* Top = new TSquare(&Form);
  Top->Color()->SetColor(0x00FFFF);  // yellow
  Top->Transformation()->Rotation()->SetZ(45);
  Top->Transformation()->Translation()->SetY(0.8f);
  Top->SetNode(Root);
  Root->SetCached(true);

  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  TBitmap Image(View->Width(), View->Height());
  try {
    if (!View->GetImage(&Image)) {
      std::fprintf(stderr, "nested_nodes: no image could be rendered\n");
      return 1;
    }
    Image.SaveToFile(Out);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "nested_nodes: %s\n", E.what());
    return 1;
  }
  std::printf("wrote %s\n", Out);
  return 0;
}
