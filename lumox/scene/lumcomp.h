// The base classes of every scene element: TLumComponent (exchange format, change
// listener), TLumTransformed (a transformation), TLumRender (the render protocol and
// display-list caching), TLumCustomNode, and TLumCustomView, the view as components see it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "lumox/host/classes.h"
#include "lumox/math/lumclass.h"
#include "lumox/scene/lumrenderstate.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumcompProperties();
}  // namespace detail

class TLumCustomNode;

// What the current render pass is for. Scene objects push selection names in the
// selecting modes dmSelection, dmPick and dmNothing.
enum TLumDrawMode : uint8_t { dmWindow, dmBitmap, dmSelection, dmPick, dmNothing };
extern const char* const TLumDrawModeStr[5];
inline bool IsSelectingMode(TLumDrawMode Mode) { return Mode >= dmSelection && Mode <= dmNothing; }

// The view as render components see it.
class TLumCustomView : public TComponent {
 public:
  explicit TLumCustomView(TComponent* AOwner) : TComponent(AOwner) {}
  const char* ClassName() const override { return "TLumCustomView"; }
  // Whether the view's GL context is current on the calling thread.
  virtual bool GetCurrent() = 0;
  // Makes the context current (true) or releases it (false); never throws.
  virtual void SetCurrent(bool Value) = 0;
  // The next selection name of the current pass.
  virtual int32_t GetNextID(TObject* Obj, int32_t num) = 0;
  virtual TLumDrawMode DrawMode() const = 0;
  // The camera's matrix as captured this frame, or nullptr without a camera.
  virtual TLumMatrix* CameraMatrix() const = 0;
  // Whether the view has a context of its own, in which it deletes the lists put aside
  // with DeferListDeletion.
  virtual bool HasContext() const { return false; }

  // Display lists freed while the context was not current, deleted the next time it
  // is (DeleteDeferredLists): freeing a scene then costs one switch of context, not
  // one per cached component. Count consecutive lists from First (a font's glyphs).
  void DeferListDeletion(uint32_t First, int32_t Count = 1) {
    ListDeleted();
    FDeferredLists.push_back({First, Count});  // room was taken when the list was made
  }
  // A list was made in the view's context: room for its deferred deletion is taken
  // now, so that freeing a scene allocates nothing (an allocation amid many frees makes
  // the allocator sort all the small blocks just freed, which costs more than the frees).
  void ListMade();
  // A list of the view's context was deleted at once.
  void ListDeleted() {
    if (FLiveLists > 0) --FLiveLists;
  }
  // Deletes the deferred lists; the view's context (or one sharing its lists) must
  // be current.
  void DeleteDeferredLists();
  bool HasDeferredLists() const { return !FDeferredLists.empty(); }

  // What the context the view renders with now holds, as far as the components rendered
  // in it know: the last material, attributes and texture and the running traversal.
  TLumRenderState& RenderState() const { return *FRenderState; }

 protected:
  // Points RenderState at the state of the context the view renders with (nullptr: the
  // view's own, for a view that keeps no contexts).
  void UseRenderState(TLumRenderState* State) { FRenderState = State ? State : &FOwnState; }

 private:
  struct TListRange {
    uint32_t First;
    int32_t Count;
  };
  std::vector<TListRange> FDeferredLists;
  size_t FLiveLists = 0;
  TLumRenderState FOwnState;
  TLumRenderState* FRenderState = &FOwnState;
};

class TLumComponent : public TComponent {
 public:
  explicit TLumComponent(TComponent* AOwner) : TComponent(AOwner) {}
  const char* ClassName() const override { return "TLumComponent"; }

  // The listener that a containing node or the view installs.
  TNotifyEvent OnChange;

  virtual void Changed();
  // Copies OnChange from a component source and notifies.
  void Assign(TPersistent* Source) override;
  TLumStreamable* Streamable() override { return this; }
  // The name attribute.
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  // A value the format cannot carry fails naming this component.
  void WriteComp(TLumExchange* Exchange, std::string_view Tag) override;

 protected:
  // The compare-store-notify step of the setters: stores Value and calls Changed when
  // it differs from Field.
  template <typename T, typename V>
  bool SetField(T& Field, const V& Value) {
    return StoreChanged(Field, Value, [this] { Changed(); });
  }
};

class TLumTransformed : public TLumComponent {
 public:
  explicit TLumTransformed(TComponent* AOwner);
  ~TLumTransformed() override;
  const char* ClassName() const override { return "TLumTransformed"; }

  TLumTransformation* Transformation() const { return &FTransformation; }
  // Copies the value's contents in, then notifies; nullptr is ignored.
  void SetTransformation(TLumTransformation* Value);
  // The change hook of owned value objects.
  virtual void SubChange(TObject* Sender);
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  // After a load: the transformation may have changed.
  void Loaded() override { SubChange(this); }

 private:
  // Part of the component rather than allocated apart, so the frame finds it next to
  // the component's own fields; mutable because the accessor hands it out from const.
  mutable TLumTransformation FTransformation;
  friend void detail::RegisterLumcompProperties();
};

// The places of a component in one leaf of a node's list (see TLumCustomNode::Held):
// its entries there are alike, so they are counted rather than listed.
struct TLumHolding {
  TLumCustomNode* Node;
  TRankedList::TLeaf* Leaf;
  uint32_t Count;
};

// The places of a component held in more than one leaf: each node's holdings, and where
// each (node, leaf) stands among them, so that adding, moving and dropping a place and
// asking for a node's places cost the same however many nodes hold the component.
struct TLumHoldings {
  struct TKeyHash {
    size_t operator()(const std::pair<const TLumCustomNode*, const void*>& K) const {
      return std::hash<const void*>()(K.first) * 31 + std::hash<const void*>()(K.second);
    }
  };
  std::unordered_map<const TLumCustomNode*, std::vector<TLumHolding>> ByNode;
  std::unordered_map<std::pair<const TLumCustomNode*, const void*>, uint32_t, TKeyHash> Slot;
  size_t Places = 0;
};

class TLumRender : public TLumTransformed {
 public:
  explicit TLumRender(TComponent* AOwner);
  ~TLumRender() override;
  const char* ClassName() const override { return "TLumRender"; }

  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool Value);
  // When assigned, it replaces the transformation: it places the component itself.
  TNotifyEvent OnTransform;
  TLumRenderEvent OnAfterRender;
  TLumRenderEvent OnBeforeRender;

  // The view whose context owns the display list.
  TLumCustomView* View() const { return FView; }
  virtual void SetView(TLumCustomView* aView);
  // Display-list name of the cache, 0 = none.
  uint32_t ListId() const { return FListId; }
  bool Cached() const { return FCached; }
  virtual void SetCached(bool Value);
  TLumCustomNode* Node() const { return FNode; }
  // Leaves the old node and joins NewNode through its Add.
  void SetNode(TLumCustomNode* NewNode);
  // Leaves the old node and records NewNode without calling its Add (nodes use it).
  void SetNodeDirect(TLumCustomNode* NewNode);
  // The modelview matrix at which the component was last drawn, while enabled.
  TLumMatrix* ProjectionMatrix() const { return FProjectionMatrix; }
  bool ProjectionEnabled() const { return FProjectionEnabled; }
  void SetProjectionEnabled(bool Value);

  // The render protocol; see Render.
  virtual void BeforeRender(TLumCustomView* aView);
  virtual void DoRender(TLumCustomView* aView);
  virtual void AfterRender(TLumCustomView* aView);
  virtual void DoDisable(TLumCustomView* aView);
  virtual void Render(TLumCustomView* aView);
  virtual void Disable(TLumCustomView* aView);
  // V in Other's local frame, as last drawn, expressed in this component's frame.
  virtual TLumMathVector ProjectVector(TLumRender* Other, const TLumMathVector& V);
  // V in the camera's frame expressed in this component's frame.
  virtual TLumMathVector ProjectVector(TLumCustomView* aView, const TLumMathVector& V);

  void OpenCache();
  void CloseCache();
  void CallCache();
  // Deletes the display list, making the view's context current for it if needed.
  void ClearCache();
  bool IsMyView(TLumCustomView* aView) const { return aView && aView == FView; }

  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  friend class TLumCustomNode;
  // Render's steps once the component is known to be enabled and to fit the stack.
  // Whatever throws leaves the modelview stack at Stack, its depth before the call.
  void RenderProtocol(TLumCustomView* aView, int Stack);
  // The outermost Render call of a traversal: finds the room the stack has and reports
  // the branches left out for want of it.
  void RenderOutermost(TLumCustomView* aView, TLumTraversal& T);
  // Sets FNode, keeping the removal notification between component and node.
  void LinkNode(TLumCustomNode* NewNode);
  // The places in nodes' lists that hold this component, as an item or a reference: the
  // node and the leaf of its list the entries are in. The usual single leaf is kept here,
  // so that finding it reads no other block; a component in more leaves keeps them all in
  // FMoreHoldings instead (and FHolding is empty).
  TLumHolding FHolding{nullptr, nullptr, 0};
  std::unique_ptr<TLumHoldings> FMoreHoldings;
  size_t PlaceCount() const { return FMoreHoldings ? FMoreHoldings->Places : FHolding.Count; }
  bool HeldBy(const TLumCustomNode* Node) const {
    return FMoreHoldings ? FMoreHoldings->ByNode.count(Node) != 0 : FHolding.Node == Node;
  }
  // How many leaves of Node's list hold the component, and whether Leaf does.
  size_t LeavesIn(const TLumCustomNode* Node) const {
    if (!FMoreHoldings) return FHolding.Node == Node ? 1 : 0;
    const auto It = FMoreHoldings->ByNode.find(Node);
    return It == FMoreHoldings->ByNode.end() ? 0 : It->second.size();
  }
  bool HeldIn(const TLumCustomNode* Node, const void* Leaf) const {
    if (!FMoreHoldings) return FHolding.Node == Node && FHolding.Leaf == Leaf;
    return FMoreHoldings->Slot.count({Node, Leaf}) != 0;
  }
  // Each returns whether Node held no place of the component before (Add) or holds none
  // after (Drop).
  bool AddHolding(TLumCustomNode* Node, TRankedList::TLeaf* Leaf);
  bool DropHolding(TLumCustomNode* Node, TRankedList::TLeaf* Leaf);
  void MoveHolding(TLumCustomNode* Node, TRankedList::TLeaf* From, TRankedList::TLeaf* To);
  bool FEnabled = true;
  TLumCustomView* FView = nullptr;
  uint32_t FListId = 0;
  bool FCached = false;
  TLumCustomNode* FNode = nullptr;
  TLumMatrix* FProjectionMatrix = nullptr;
  bool FProjectionEnabled = false;
  friend void detail::RegisterLumcompProperties();
};

// Told when a frame left out the branches of a scene nested deeper than the GL
// modelview stack holds (each level pushes a matrix), once per outermost Render that
// left any out. Without a handler the message goes to standard error, once for each
// different message; nullptr restores that.
using TLumRenderMessageEvent = std::function<void(const std::string& Message)>;
void SetRenderDiagnostics(TLumRenderMessageEvent Handler);

// The container of render components.
class TLumCustomNode : public TLumRender {
 public:
  explicit TLumCustomNode(TComponent* AOwner) : TLumRender(AOwner) {}
  const char* ClassName() const override { return "TLumCustomNode"; }
  TLumCustomNode* AsNode() override { return this; }
  virtual int Remove(TLumRender* Item) = 0;
  virtual int Add(TLumRender* Item) = 0;
  // Leaves below the node; saving a scene reports its progress against this count.
  virtual int CountAllItems() const { return 0; }

 protected:
  // Throws Exception("Can not create a link to myself.") when Item is this node or
  // holds it at any depth, so that linking Item below this node would close a cycle.
  void CheckLink(const TLumRender* Item) const;
  // Records that an entry of Item entered a leaf of this node's list (From null), left
  // the list (To null) or moved from one leaf to another. A node is registered with
  // every component its list holds (FreeNotification), so that it hears of the
  // component's end and drops its entries, whatever else links the two.
  void Held(TLumRender* Item, TRankedList::TLeaf* From, TRankedList::TLeaf* To);
  // How many places Item has in nodes' lists.
  static size_t PlacesOf(const TLumRender* Item) { return Item->PlaceCount(); }
  static size_t LeavesOf(const TLumRender* Item, const TLumCustomNode* Node) {
    return Item->LeavesIn(Node);
  }
  static bool HeldIn(const TLumRender* Item, const TLumCustomNode* Node, const void* Leaf) {
    return Item->HeldIn(Node, Leaf);
  }
  // The leaves of this node's list that hold Item: Fn(Holding) for each, while Fn
  // returns true (Fn may change the places only when it then returns false).
  template <typename F>
  void ForEachHolding(const TLumRender* Item, F&& Fn) const {
    if (!Item->FMoreHoldings) {
      if (Item->FHolding.Node == this) Fn(Item->FHolding);
      return;
    }
    const auto It = Item->FMoreHoldings->ByNode.find(this);
    if (It == Item->FMoreHoldings->ByNode.end()) return;
    for (const TLumHolding& H : It->second)
      if (!Fn(H)) return;
  }

 private:
  // How many entries of components this node's list holds; a node that holds none cannot
  // close a cycle, which keeps linking fresh nodes (a load, nested to any depth)
  // constant-time.
  int FHeldCount = 0;
};

}  // namespace lumox
