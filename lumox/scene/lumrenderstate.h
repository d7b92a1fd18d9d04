// TLumRenderState: what one GL context's state is believed to be between the calls that
// set it (the material, attributes and texture rendered last) and the Render calls
// running in it. Every context has one; components reach it through the view they
// are rendered in.
#pragma once

#include <cstdint>

namespace lumox {

// A number that names a component in the "last rendered" tests. Numbers are not used
// twice until 2^32 more have been handed out, so a component freed and another one made
// at its address are not taken for each other, and a state needs no word of a
// component's end. (32 bits: a material's key fits in what was padding.)
using TLumStateKey = uint32_t;
TLumStateKey NewStateKey();

// The component whose state a context holds now, for one kind of render state.
class TLumLastRendered {
 public:
  bool Is(TLumStateKey Key) const { return Key == FKey; }
  void Set(TLumStateKey Key) { FKey = Key; }
  void Forget() { FKey = 0; }

 private:
  TLumStateKey FKey = 0;
};

// Render calls nested in one context: how deep they are, how many levels the modelview
// stack had room for below the outermost call, the branches left out for want of room,
// and the stack's depth when the outermost call began.
struct TLumTraversal {
  int Depth = 0;
  int Room = 0;
  int Refused = 0;
  int BaseStack = 0;
};

class TLumRenderState {
 public:
  // A frame, an image or a display list begins, or a list was called: nothing rendered
  // before counts as set, so the next material, attributes and texture emit their state
  // in full.
  void Reset() {
    Material.Forget();
    Attributes.Forget();
    FTexture.Forget();
    FTextureTested = false;
  }

  TLumLastRendered Material;
  TLumLastRendered Attributes;

  // The texture test of a frame: false for the first test after Reset or
  // RedrawTextures, whatever was bound, then whether Key was bound last.
  bool IsLastTexture(TLumStateKey Key) {
    const bool Result = FTextureTested && FTexture.Is(Key);
    FTextureTested = true;
    return Result;
  }
  void SetLastTexture(TLumStateKey Key) { FTexture.Set(Key); }
  void RedrawTextures() { FTextureTested = false; }

  TLumTraversal Traversal;

 private:
  TLumLastRendered FTexture;
  bool FTextureTested = false;
};

}  // namespace lumox
