// The bare-GL baseline of a flat scene: the display lists and state calls a program
// would write by hand for the same picture, and frames of it interleaved with frames of
// the library's scene in one view, so that both are measured in the same context.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lumox {
class TLumNode;
class TLumView;
}  // namespace lumox

namespace lumoxbench {

class TBareScene {
 public:
  // Copies Root's items into plain data: attributes (lighting, shading, polygon mode,
  // culling), lights, materials, and meshes placed by a translation alone, each mesh
  // compiled into a display list of its own from the vertices, normals and index lists
  // the library built. The GL context that draws must be current. Throws
  // lumox::Exception naming what it cannot copy (a nested node, a rotation, a texture,
  // an event handler ...), for which a bare program would need more than this one.
  explicit TBareScene(lumox::TLumNode* Root);
  // Deletes the lists; the context must be current.
  ~TBareScene();
  TBareScene(const TBareScene&) = delete;
  TBareScene& operator=(const TBareScene&) = delete;

  // The frame's GL calls: per mesh its material's five calls, a matrix push, the
  // translation, the list and the pop.
  void Draw() const;
  size_t Lists() const { return FLists.size(); }

 private:
  struct TStep;
  std::vector<TStep> FSteps;
  std::vector<uint32_t> FLists;
};

// Whether Root can be copied into a TBareScene; otherwise Why says what stands in the way.
bool BareSceneSupports(lumox::TLumNode* Root, std::string& Why);

// What compiling the meshes' lists costs a bare program, for a scene of any shape: every
// mesh under Root (nested nodes included, each drawn place once) compiled into a list of
// its own as TBareScene does, then deleted. Returns the count; the context must be current.
size_t CompileBareLists(lumox::TLumNode* Root);

struct TInterleavedTimes {
  std::vector<double> Scene;  // ms per frame of the library's scene
  std::vector<double> Bare;   // ms per frame of the bare program (empty without one)
};
// Frames of Root (rendered through the view's OnRender) and of Bare (when given)
// alternate in View: first Warmup of each, unmeasured, then Frames of each, measured
// with TimedPaint. View's OnRender is left rendering Root.
TInterleavedTimes RunInterleaved(lumox::TLumView* View, lumox::TLumNode* Root,
                                 const TBareScene* Bare, int Warmup, int Frames);

}  // namespace lumoxbench
