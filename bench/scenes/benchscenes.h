// The reference scenes the library is measured on (S1 to S4), the ways of caching them,
// their counts, and the frame clock shared by `lumox bench` and the benchmark programs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lumox/geometry/lumbounds.h"

namespace lumox {
class TComponent;
class TLumNode;
class TLumPerspectiveCamera;
class TLumView;
}  // namespace lumox

namespace lumoxbench {

enum TBenchScene : uint8_t {
  bsS1,  // 1000 lit spheres of 32 x 16, each with a material and a translation of its own
  bsS2,  // one function surface of 1000 x 1000 vertices, every vertex welding
  bsS3,  // 200 000 small objects in nested nodes: the file-size scene
  bsS4   // 20 000 boxes in a 20 x 20 x 50 grid, each with its own material and translation
};
// "s1" .. "s4".
extern const char* const TBenchSceneStr[4];
// One line saying what the scene holds.
const char* SceneDescription(TBenchScene Scene);

// Builds Scene into Root (every component owned by Owner) and places Camera to see it
// whole: S1 from z = 18, S4 from z = 80 (as the grid's centre is the origin).
// S2's surface is sampled by callbacks, which a scene file cannot hold.
void BuildScene(TBenchScene Scene, lumox::TComponent* Owner, lumox::TLumNode* Root,
                lumox::TLumPerspectiveCamera* Camera);

// Which components of a scene keep a display list.
enum TBenchCache : uint8_t {
  bcEveryObject,  // every object (shapes, meshes, text), no node and no render state
  bcRootOnly,     // the root node alone: the whole scene in one list
  bcUncached      // nothing
};
extern const char* const TBenchCacheStr[3];
// Sets the Cached flag of every component under Root (Root included) by Mode, replacing
// what the scene had.
void SetCaching(lumox::TLumNode* Root, TBenchCache Mode);

struct TSceneCounts {
  int64_t Items = 0;      // every component in the tree, nodes and render state included
  int64_t Objects = 0;    // enabled components with geometry among them
  int64_t Nodes = 0;      // nested nodes (the root not counted)
  int64_t Vertices = 0;   // of every enabled one
  int64_t Triangles = 0;  // a frame draws (visible lists; a quad counts two)
  lumox::TLumBounds Bounds;  // of every vertex, in world coordinates
};
// Counts Root's tree, building the meshes not yet built; each item is counted once
// for every place it is drawn.
TSceneCounts CountScene(lumox::TLumNode* Root);

// Builds every mesh under Root that is not built yet (as the first frame would).
void BuildMeshes(lumox::TLumNode* Root);

// Resident memory of the process, kilobytes.
long ResidentKB();

// Milliseconds of one View->Paint(), with glFinish before each read of the steady
// clock so that the GL work of the frame is inside the measurement and no earlier work
// is.
double TimedPaint(lumox::TLumView* View);

double Median(std::vector<double> Values);
double Mean(const std::vector<double>& Values);

}  // namespace lumoxbench
