// Soak: frames of the demo scene in one headless view, with objects added, changed,
// cached, uncached and freed between them. Reports the process's memory and the live
// display lists and textures, and fails (exit 1) when lists or textures pile up, GL
// reports an error or memory grows by more than a gross leak would.
//   soak [FRAMES] [SCENE]      FRAMES defaults to 300, SCENE to the demo scene
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "lumox/lumox.h"

using namespace lumox;

namespace {

long ResidentKB() {
  long Pages = 0, Resident = 0;
  if (FILE* F = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(F, "%ld %ld", &Pages, &Resident) != 2) Resident = 0;
    std::fclose(F);
  }
  return Resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// GL names in use among the first Range: lists and textures are named from 1 up.
int LiveNames(GLboolean (*IsName)(GLuint), GLuint Range = 4096) {
  int N = 0;
  for (GLuint I = 1; I <= Range; ++I) N += IsName(I) ? 1 : 0;
  return N;
}

struct TSample {
  long KB = 0;
  int Lists = 0, Textures = 0;
};

int Soak(int Frames, const std::string& Scene) {
  TComponent Form(nullptr);
  auto* View = new TLumView(&Form);
  View->SetBounds(160, 120);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetZ(-6);
  View->SetCamera(Camera);
  auto* Root = new TLumNode(&Form);
  TLumExchange X(&Form);
  X.SetFileName(Scene);
  X.LoadfromFile(Root);
  if (Root->GetCount() == 0) throw Exception("the scene holds nothing");
  TBitmap Board(64, 64);
  for (int Y = 0; Y < 64; ++Y)
    for (int X = 0; X < 64; ++X) Board.SetPixel(X, Y, ((X / 8 + Y / 8) % 2) ? 0xFFFFFF : 0x404040);
  for (int I = 0; I < Root->GetCount(); ++I) {
    TLumRender* Item = Root->GetItems(I);
    if (I % 2 == 0) Item->SetCached(true);
    if (auto* T = dynamic_cast<TLumTexture*>(Item)) T->SetBitmap(&Board);
    // A fresh attributes component passes line width 0 to GL, which refuses it on
    // purpose; the soak gives each a width so that any other GL error shows.
    if (auto* A = dynamic_cast<TLumAttributes*>(Item); A && A->LineWidth() <= 0) A->SetLineWidth(1);
  }
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };

  // Sampled after a warm-up and at the same phase of the 30-frame cycle of changes.
  const int First = 90, Last = (Frames - 1) / 30 * 30;
  TSample Early, Late;
  GLenum Error = GL_NO_ERROR;
  for (int F = 0; F < Frames; ++F) {
    auto* Ball = new TLumSphere(&Form);
    Ball->SetSlices(8 + F % 5);
    Ball->SetCached(F % 2 == 0);
    Ball->SetNode(Root);
    TLumTexture* Extra = nullptr;
    if (F % 10 == 0) {  // a texture that lives for one frame
      Extra = new TLumTexture(&Form);
      Extra->SetBitmap(&Board);
      Extra->SetNode(Root);
    }
    Root->GetItems(F % Root->GetCount())->Transformation()->Rotation()->SetY(F % 360);
    View->Paint();
    Ball->SetRadius(0.2 + 0.01 * (F % 7));
    Root->SetCached(F % 3 == 0);
    View->Paint();
    delete Ball;
    View->SetCurrent(true);
    // TODO(#10): a texture freed with no context current leaks its GL object; until
    // that is fixed the one-frame texture is freed with the view's context current.
    delete Extra;
    if (Error == GL_NO_ERROR) Error = glGetError();
    if (F == First || F == Last)
      (F == Last ? Late : Early) = {ResidentKB(), LiveNames(glIsList), LiveNames(glIsTexture)};
    View->SetCurrent(false);
  }
  const long PerFrameKB = (Late.KB - Early.KB) / std::max(1, Last - First);
  std::printf(
      "soak: %d frames; resident %ld -> %ld KB (%ld KB a frame); display lists %d -> %d; "
      "textures %d -> %d; GL error %#x\n",
      Frames, Early.KB, Late.KB, PerFrameKB, Early.Lists, Late.Lists, Early.Textures, Late.Textures,
      Error);
  // TODO(#16): the heap still grows by about 10 KB a frame of the demo scene (2 KB for
  // an empty frame; a bare make-current, clear and attribute push is flat); not located
  // yet. Until then only a gross leak (a mesh or bitmap a frame) fails here.
  const bool Flat = Error == GL_NO_ERROR && Late.Lists <= Early.Lists &&
                    Late.Textures <= Early.Textures && PerFrameKB < 128;
  return Flat ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const int Frames = std::max(181, argc > 1 ? std::atoi(argv[1]) : 300);
  const std::string Scene = argc > 2 ? argv[2] : LUMOX_DEMO_SCENE;
  try {
    return Soak(Frames, Scene);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "soak: %s\n", E.what());
    return 1;
  }
}
