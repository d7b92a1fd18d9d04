// The polygon, tube, point cloud, mesh container and 3D text in one lit scene: built in
// code, saved to named_objects.lumgl, loaded back and rendered to named_objects.png (or
// the PNG named on the command line; the scene file goes beside it).
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>

#include "lumox/lumox.h"

using namespace lumox;

namespace {

constexpr double TwoPi = 6.283185307179586;

// Puts Obj at (X, Y) after a material of its colour (materials travel through the file).
void Place(TLumObject* Obj, TLumNode* Root, float X, float Y, uint32_t Color) {
  auto* M = new TLumMaterial(Obj->Owner());
  M->ColorDiffuse()->SetColor(Color);
  M->ColorAmbient()->SetColor((Color >> 2) & 0x3F3F3F);  // a quarter of it
  M->SetNode(Root);
  Obj->Transformation()->SetOrder(toTraRotSca);
  Obj->Transformation()->Translation()->SetValues(X, Y, 0);
  Obj->SetNode(Root);
}

void BuildScene(TComponent* Form, TLumNode* Root) {
  auto* Lit = new TLumAttributes(Form);
  Lit->SetLighting(true);
  Lit->SetNode(Root);
  auto* Key = new TLumLight(Form);
  Key->SetKind(lkDirection);
  Key->Direction()->SetValues(0.4f, 0.6f, 0.8f);
  Key->SetNode(Root);

  // An extruded letter-box frame: a concave outline with a hole.
  auto* Frame = new TLumPolygon(Form);
  const double Outer[][2] = {{-0.6, -0.4}, {0.6, -0.4}, {0.6, 0.4}, {0.1, 0.4},
                             {0, 0.25},    {-0.1, 0.4}, {-0.6, 0.4}};
  for (const auto& P : Outer) Frame->AddPoint(P[0], P[1], 0);
  for (const auto& P : {TLumPoint2{-0.4, -0.2}, {0.4, -0.2}, {0.4, 0.1}, {-0.4, 0.1}})
    Frame->AddPoint(P.X, P.Y, 1);
  Frame->SetDepth(0.15);
  Frame->Transformation()->Rotation()->SetValues(-25, 20, 0);
  Place(Frame, Root, -1.6f, 0.7f, 0x3080E0);

  // A tube running straight, around a right angle and up a tapering spiral.
  auto* Tube = new TLumTube(Form);
  Tube->AddSection({-0.6, -0.3, 0}, 0.08);
  Tube->AddSection({0, -0.3, 0}, 0.08);
  for (int I = 1; I <= 24; ++I) {
    const double A = TwoPi * I / 24;
    Tube->AddSection({0.3 * std::sin(A), -0.3 + 0.3 * (1 - std::cos(A)), 0.02 * I},
                     0.08 - 0.002 * I);
  }
  Tube->SetSegments(16);
  Place(Tube, Root, 0.2f, 0.7f, 0x30C0E0);

  // A point cloud: a sphere of 8 000 points coloured by height.
  auto* Cloud = new TLumPointSet(Form);
  for (int I = 0; I < 8000; ++I) {
    const double Z = 1 - 2.0 * (I + 0.5) / 8000, R = std::sqrt(1 - Z * Z), A = I * 2.399963;
    Cloud->AddPoint(0.45 * R * std::cos(A), 0.45 * R * std::sin(A), 0.45 * Z, float(0.5 + Z / 2),
                    0.4f, float(0.5 - Z / 2));
  }
  Cloud->SetPointSize(1.5f);
  Place(Cloud, Root, 1.8f, 0.7f, 0xFFFFFF);

  // A mesh container filled the way a model importer fills it: a pyramid of two parts.
  auto* Model = new TLum3dObj(Form);
  Model->SetObjectName("Pyramid");
  const double Base[12] = {-0.4, -0.4, 0, 0.4, -0.4, 0, 0.4, 0.4, 0, -0.4, 0.4, 0};
  const double Down[12] = {0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1};
  const uint32_t Square[4] = {0, 3, 2, 1};
  TLum3dPart* Floor = Model->AddPart("Base");
  Floor->SetVertexData(4, Base, Down);
  Floor->AddIndices(GL_QUADS, Square, 4);
  Floor->CreateMaterial()->ColorDiffuse()->SetColor(0x404040);
  TLum3dPart* Sides = Model->AddPart("Sides");
  const double Apex[3] = {0, 0, 0.6};
  for (int K = 0; K < 4; ++K) {
    const double* A = Base + K * 3;
    const double* B = Base + ((K + 1) % 4) * 3;
    const TLumMathVector N = [&] {
      TLumMathVector R;
      LumMathNormalVector({A[0], A[1], A[2]}, {B[0], B[1], B[2]}, {Apex[0], Apex[1], Apex[2]}, true,
                          R);
      return R;
    }();
    for (const double* P : {A, B, Apex}) Sides->AddVertex({P[0], P[1], P[2]}, N);
  }
  const uint32_t Faces[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  Sides->AddIndices(GL_TRIANGLES, Faces, 12);
  Sides->CreateMaterial()->ColorDiffuse()->SetColor(0x2090E0);
  Model->Transformation()->Rotation()->SetValues(-60, 0, 30);
  Place(Model, Root, -1.6f, -0.8f, 0xFFFFFF);

  // Extruded text, centred, in two lines.
  auto* Text = new TLumText(Form);
  Text->SetText("Named\nobjects");
  Text->SetSize(0.45);
  Text->SetDepth(0.08);
  Text->SetAlignment(haCenter);
  Text->Transformation()->Rotation()->SetValues(-15, 0, 0);
  Place(Text, Root, 0.9f, -0.45f, 0x40C0F0);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string Out = argc > 1 ? argv[1] : "named_objects.png";
  const std::string SceneFile = Out.substr(0, Out.rfind('.')) + ".lumgl";
  try {
    {  // build and save
      TComponent Form(nullptr);
      auto* Root = new TLumNode(&Form);
      BuildScene(&Form, Root);
      TLumExchange Ex(nullptr);
      Ex.SetFileName(SceneFile);
      Ex.SavetoFile(Root);
    }
    // load and render what the file holds
    TComponent Form(nullptr);
    auto* View = new TLumView(&Form);
    View->SetBounds(800, 500);
    View->SetBackgroundColor(0x302418);
    auto* Camera = new TLumPerspectiveCamera(&Form);
    Camera->Transformation()->Translation()->SetZ(-4.5f);
    View->SetCamera(Camera);
    auto* Root = new TLumNode(&Form);
    TLumExchange Ex(nullptr);
    Ex.SetFileName(SceneFile);
    Ex.LoadfromFile(Root);
    View->OnRender = [Root](TLumView* V) { Root->Render(V); };
    TBitmap Image(View->Width(), View->Height());
    if (!View->GetImage(&Image)) {
      std::fprintf(stderr, "named_objects: no image could be rendered\n");
      return 1;
    }
    Image.SaveToFile(Out);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "named_objects: %s\n", E.what());
    return 1;
  }
  std::printf("wrote %s and %s\n", Out.c_str(), SceneFile.c_str());
  return 0;
}
