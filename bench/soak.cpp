// Soak: frames of the demo scene in one headless view, with objects added, changed,
// cached, uncached and freed between them. Reports the process's memory, the heap in
// use and the live display lists and textures over the second half of the run, and
// fails (exit 1) when lists or textures pile up, GL reports an error or memory grows.
//   soak [FRAMES] [SCENE | --empty | --bare] [--no-trim]
// FRAMES defaults to 1000, SCENE to the demo scene. --empty runs the same frames with
// nothing in the scene; --bare does the same GL work (a list compiled and called, a
// texture made and freed, two frames) with bare GL calls in the same kind of context:
// what the driver alone does with memory over as many frames. --no-trim samples without
// first handing the heap's free pages back to the system.
// llvmpipe runs single-threaded here (LP_NUM_THREADS=0 unless set otherwise): with its
// rasterizer threads the driver's own heap keeps growing over the run (about 2 KB a
// frame of this scene after 5 000 frames, all of it allocated inside the driver and
// freed with the context), which would hide any growth of ours.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>

#include "lumox/lumox.h"
#include "lumox/view/lumwgl.h"

using namespace lumox;

namespace {

// Bound of the pass criterion over the second half of the run (after the caches of the
// first half have filled): resident memory and the heap in use may grow by at most this
// many KB. Over the 5 040 frames of a 10 000-frame run, a leak of 52 bytes a frame or
// of one 64 x 64 texture copy every 300 frames exceeds it.
constexpr long MaxGrowthKB = 256;

long ResidentKB() {
  long Pages = 0, Resident = 0;
  if (FILE* F = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(F, "%ld %ld", &Pages, &Resident) != 2) Resident = 0;
    std::fclose(F);
  }
  return Resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// Bytes handed out by malloc, from the heap and in mappings of their own: large blocks
// move between the two as glibc raises its mapping threshold.
long HeapKB() {
  const struct mallinfo2 M = ::mallinfo2();
  return static_cast<long>((M.uordblks + M.hblkhd) / 1024);
}

// Names in use below the next free one: GL hands out list and texture names from 1 up.
int LiveLists() {
  const GLuint Next = glGenLists(1);
  glDeleteLists(Next, 1);
  int N = 0;
  for (GLuint I = 1; I < Next; ++I) N += glIsList(I) ? 1 : 0;
  return N;
}

int LiveTextures() {
  GLuint Next = 0;
  glGenTextures(1, &Next);
  glDeleteTextures(1, &Next);
  int N = 0;
  for (GLuint I = 1; I < Next; ++I) N += glIsTexture(I) ? 1 : 0;
  return N;
}

struct TSample {
  int Frame = 0;
  long ResidentKB = 0, HeapKB = 0;
  int Lists = 0, Textures = 0;
};

// Taken with a context current. The heap is trimmed first, so that resident memory
// counts what is in use rather than free pages the allocator keeps for later.
TSample Sample(int Frame, bool Trim) {
  if (Trim) ::malloc_trim(0);
  return {Frame, ResidentKB(), HeapKB(), LiveLists(), LiveTextures()};
}

TBitmap Checkerboard() {
  TBitmap Board(64, 64);
  for (int Y = 0; Y < 64; ++Y)
    for (int X = 0; X < 64; ++X) Board.SetPixel(X, Y, ((X / 8 + Y / 8) % 2) ? 0xFFFFFF : 0x404040);
  return Board;
}

// The scene's frames (or, Empty, the same frames of an empty scene): Step(F) runs frame F
// and leaves the view's context current for the sample.
std::function<void(int)> SceneFrames(TComponent& Form, const std::string& Scene, bool Empty) {
  auto* View = new TLumView(&Form);
  View->SetBounds(160, 120);
  auto* Camera = new TLumPerspectiveCamera(&Form);
  Camera->Transformation()->Translation()->SetZ(-6);
  View->SetCamera(Camera);
  auto* Root = new TLumNode(&Form);
  if (!Empty) {
    TLumExchange X(&Form);
    X.SetFileName(Scene);
    X.LoadfromFile(Root);
    if (Root->GetCount() == 0) throw Exception("the scene holds nothing");
  }
  static const TBitmap Board = Checkerboard();
  for (int I = 0; I < Root->GetCount(); ++I) {
    TLumRender* Item = Root->GetItems(I);
    if (I % 2 == 0) Item->SetCached(true);
    if (auto* T = dynamic_cast<TLumTexture*>(Item)) T->SetBitmap(const_cast<TBitmap*>(&Board));
    // A fresh attributes component passes line width 0 to GL, which refuses it on
    // purpose; the soak gives each a width so that any other GL error shows.
    if (auto* A = dynamic_cast<TLumAttributes*>(Item); A && A->LineWidth() <= 0) A->SetLineWidth(1);
  }
  View->OnRender = [Root](TLumView* V) { Root->Render(V); };
  return [&Form, View, Root, Empty](int F) {
    TLumSphere* Ball = nullptr;
    TLumTexture* Extra = nullptr;
    if (!Empty) {
      Ball = new TLumSphere(&Form);
      Ball->SetSlices(8 + F % 5);
      Ball->SetCached(F % 2 == 0);
      Ball->SetNode(Root);
      if (F % 10 == 0) {  // a texture that lives for one frame, freed with no context current
        Extra = new TLumTexture(&Form);
        Extra->SetBitmap(const_cast<TBitmap*>(&Board));
        Extra->SetNode(Root);
      }
      Root->GetItems(F % Root->GetCount())->Transformation()->Rotation()->SetY(F % 360);
    }
    View->Paint();
    if (!Empty) {
      Ball->SetRadius(0.2 + 0.01 * (F % 7));
      Root->SetCached(F % 3 == 0);
    }
    View->Paint();
    delete Ball;
    delete Extra;
    View->SetCurrent(true);
  };
}

// The same GL work without the library's objects, in a context of the same kind.
std::function<void(int)> BareFrames() {
  auto Context = std::shared_ptr<TLumGLContext>(CreateEGLContext(160, 120));
  static const TBitmap Board = Checkerboard();
  return [Context](int F) {
    Context->MakeCurrent();
    for (int Pass = 0; Pass < 2; ++Pass) {
      glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
      glPushAttrib(GL_ALL_ATTRIB_BITS);
      const GLuint List = glGenLists(1);
      glNewList(List, GL_COMPILE);
      GLUquadric* Q = gluNewQuadric();
      gluSphere(Q, 0.5, 8 + F % 5, 8);
      gluDeleteQuadric(Q);
      glEndList();
      glCallList(List);
      glDeleteLists(List, 1);
      if (F % 10 == 0 && Pass == 0) {
        GLuint Tex = 0;
        glGenTextures(1, &Tex);
        glBindTexture(GL_TEXTURE_2D, Tex);
        glTexImage2D(GL_TEXTURE_2D, 0, 4, 64, 64, 0, GL_RGBA, GL_UNSIGNED_BYTE, Board.ScanLine(0));
        glDeleteTextures(1, &Tex);
      }
      glPopAttrib();
      glFlush();
      Context->SwapBuffers();
    }
  };
}

// The scene's changes repeat every 210 frames (2 x 3 x 5 x 7): samples are taken at the
// same point of that cycle, the last one at the end, the middle one halfway to it.
constexpr int Cycle = 210;

int Soak(int Frames, const std::string& Mode, bool Trim) {
  TComponent Form(nullptr);
  const std::function<void(int)> Step =
      Mode == "--bare" ? BareFrames() : SceneFrames(Form, Mode, Mode == "--empty");
  const int End = (Frames - 1) / Cycle * Cycle, Half = End / 2 / Cycle * Cycle;
  TSample First, Middle, Last;
  GLenum Error = GL_NO_ERROR;
  for (int F = 0; F < Frames; ++F) {
    Step(F);
    if (Error == GL_NO_ERROR) Error = glGetError();
    if (F == 0) First = Sample(F, Trim);
    if (F == Half) Middle = Sample(F, Trim);
    if (F == End) Last = Sample(F, Trim);
  }
  const long Growth = Last.ResidentKB - Middle.ResidentKB, Heap = Last.HeapKB - Middle.HeapKB;
  std::printf(
      "soak %s: %d frames, LP_NUM_THREADS=%s\n"
      "  resident KB at frames 0 / %d / %d: %ld / %ld / %ld; second half %+ld KB\n"
      "  resident growth %.3f KB a frame; heap in use KB: %ld / %ld / %ld; second half %+ld KB\n"
      "  display lists: %d / %d / %d; textures: %d / %d / %d; GL error %#x\n",
      Mode.c_str(), Frames, std::getenv("LP_NUM_THREADS"), Half, End, First.ResidentKB,
      Middle.ResidentKB, Last.ResidentKB, Growth,
      static_cast<double>(Growth) / std::max(1, End - Half), First.HeapKB, Middle.HeapKB,
      Last.HeapKB, Heap, First.Lists, Middle.Lists, Last.Lists, First.Textures, Middle.Textures,
      Last.Textures, Error);
  const bool Flat = Error == GL_NO_ERROR && Last.Lists <= Middle.Lists &&
                    Last.Textures <= Middle.Textures && Growth <= MaxGrowthKB &&
                    Heap <= MaxGrowthKB;
  std::printf("  %s (bound: %ld KB over the second half)\n", Flat ? "flat" : "NOT FLAT",
              MaxGrowthKB);
  return Flat ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  ::setenv("LP_NUM_THREADS", "0", 0);  // before the first context; see the top of the file
  const int Frames = std::max(2 * Cycle + 1, argc > 1 ? std::atoi(argv[1]) : 1000);
  const std::string Mode = argc > 2 ? argv[2] : LUMOX_DEMO_SCENE;
  const bool Trim = !(argc > 3 && std::string(argv[3]) == "--no-trim");
  try {
    return Soak(Frames, Mode, Trim);
  } catch (const std::exception& E) {
    std::fprintf(stderr, "soak: %s\n", E.what());
    return 1;
  }
}
