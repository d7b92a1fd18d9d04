// A form as a running application: the first view of an owner draws the owner's scene
// (every render component that no node holds), repaints when the scene changes, and
// the owner's timers step the presentation controllers and repaint. Both `lumox view
// app.lumform` and the studio run forms through it.
#pragma once

#include <string>
#include <vector>

#include "lumox/host/classes.h"

namespace lumox {
class TLumCamera;
class TLumRender;
class TLumView;
class TLumNode;

class TLumFormApp {
 public:
  explicit TLumFormApp(TComponent* Owner) : FOwner(Owner) {}
  TComponent* Owner() const { return FOwner; }
  // The first view component of the owner, or nullptr.
  TLumView* FirstView() const;
  // The scene's top: the owner's render components that belong to no node, in order.
  std::vector<TLumRender*> Roots() const;
  // The first root that is a node, or nullptr.
  TLumNode* RootNode() const;
  // Gives an owner without a view (a scene file) a view named View1 with a camera
  // (Camera when given, else a new Camera1 two units back) and a mouse controller on it.
  // Returns the view.
  TLumView* EnsureView(TLumCamera* Camera);
  // Lets View draw the roots and repaint on their changes, and the timers step the
  // presentation controllers; call again after roots come or go.
  void Connect(TLumView* View);

 private:
  TComponent* FOwner;
};

// Frees Owner's components except its views, last first: a window frees the scene while
// its context lives, and the views after the window.
void LumFreeScene(TComponent* Owner);

// A name for a new component of ClassName under Owner: the class name without its "T"
// and "Lum" prefixes and the first free number, "Sphere1".
std::string LumNewComponentName(TComponent* Owner, const std::string& ClassName);

}  // namespace lumox
