// Scene objects (TLumObject: picking name, colour, shared attributes and material),
// grouping nodes (TLumNode) and the registry that creates render classes by name.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumobjProperties();
}  // namespace detail

class TLumAttributes;
class TLumMaterial;

enum TLumColorAsMaterial : uint8_t {
  cmNone,
  cmAmbient,
  cmDiffuse,
  cmSpecular,
  cmEmission,
  cmAmbientDiffuse
};
extern const char* const TLumColorAsMaterialStr[6];

class TLumObject : public TLumRender {
 public:
  explicit TLumObject(TComponent* AOwner);
  ~TLumObject() override;
  const char* ClassName() const override { return "TLumObject"; }

  // Follows the component name unless set to something else.
  const std::string& ObjectName() const { return FObjectName; }
  void SetObjectName(const std::string& Value) { FObjectName = Value; }
  // A number of the application's choice; -1 at creation.
  int32_t ObjectID() const { return FObjectID; }
  void SetObjectID(int32_t Value) { FObjectID = Value; }
  // White by default.
  TLumColor* Color() const { return FColor; }
  void SetColor(TLumColor* Value);
  // Shared render state, referenced and not owned; cleared when the component dies.
  TLumAttributes* Attributes() const { return FAttributes; }
  void SetAttributes(TLumAttributes* Value);
  TLumMaterial* Material() const { return FMaterial; }
  void SetMaterial(TLumMaterial* Value);
  TLumColorAsMaterial ColorAsMaterial() const { return FColorAsMaterial; }
  // Values outside cmNone..cmAmbientDiffuse are ignored.
  void SetColorAsMaterial(TLumColorAsMaterial Value) {
    if (Value <= cmAmbientDiffuse) FColorAsMaterial = Value;
  }

  void SetName(const std::string& NewName) override;
  void Assign(TPersistent* Source) override;
  void BeforeRender(TLumCustomView* aView) override;
  void DoRender(TLumCustomView* aView) override;
  void AfterRender(TLumCustomView* aView) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  std::string FObjectName;
  int32_t FObjectID = -1;
  // Held in the object, next to the fields the frame reads, rather than apart.
  TLumColor FColorStore;
  TLumColor* FColor = &FColorStore;
  TLumAttributes* FAttributes = nullptr;
  TLumMaterial* FMaterial = nullptr;
  TLumColorAsMaterial FColorAsMaterial = cmNone;
  bool FNamePushed = false;
  friend void detail::RegisterLumobjProperties();
};

// A node's OnItemNotify. Assigning a handler also makes the node hear its siblings'
// insertions and removals through their owner; a node without one asks for none, so
// an owner of many nodes does not tell each of them of every new sibling.
class TLumItemNotifyEvent {
 public:
  explicit TLumItemNotifyEvent(TComponent* Node) : FNode(Node) {}
  TLumItemNotifyEvent(const TLumItemNotifyEvent&) = delete;
  TLumItemNotifyEvent& operator=(const TLumItemNotifyEvent&) = delete;
  TLumItemNotifyEvent& operator=(TNotificationEvent Handler) {
    FHandler = std::move(Handler);
    FNode->SetSiblingNotifications(static_cast<bool>(FHandler));
    return *this;
  }
  explicit operator bool() const { return static_cast<bool>(FHandler); }
  void operator()(TComponent* AComponent, TOperation Operation) const {
    FHandler(AComponent, Operation);
  }

 private:
  TComponent* FNode;
  TNotificationEvent FHandler;
};

// A group that renders its items in order, inside its own transformation. Items
// added with AddIndirect are only referred to: they stay in their own node.
class TLumNode : public TLumCustomNode {
 public:
  explicit TLumNode(TComponent* AOwner);
  ~TLumNode() override;
  const char* ClassName() const override { return "TLumNode"; }

  // Told of insertions and removals (a view uses it to follow the scene).
  TLumItemNotifyEvent OnItemNotify{this};
  // When assigned, replaces the drawing of the items.
  TLumRenderEvent OnRender;

  // The list operations below leave a cached node's display list as it is (only a change
  // of an item clears it): after adding, removing or reordering items of a cached node,
  // call ClearCache for the next frame to show the new list.
  // Returns the item's former index, or -1 when it was not in the list.
  int Remove(TLumRender* Item) override;
  // Returns the former Count; -1 for nullptr, which is not added.
  int Add(TLumRender* Item) override;
  virtual int AddIndirect(TLumRender* Item);
  // Throws Exception("Can not create a link to myself.") for the node itself.
  virtual void Insert(int Index, TLumRender* Item);
  virtual void Delete(int Index);
  virtual void Exchange(int I, int J);
  // Both indices are clamped to 0..Count-1.
  virtual void Move(int CurIndex, int NewIndex);
  virtual int IndexOf(TLumRender* Item) const;
  virtual void Clear();

  TLumRender* GetItems(int Index) const;
  // Replaces the list entry only, without any bookkeeping; a cycle is still refused.
  void SetItems(int Index, TLumRender* Item);
  int GetCount() const { return static_cast<int>(FItems.Size()); }
  bool IsIndirect(int Index) const;
  // Leaves below this node; nested nodes count their own leaves.
  int CountAllItems() const override;
  void RenderItems(TLumCustomView* aView);

  // Passes the change on and clears the cache; a node being read from a file keeps
  // the change to itself (the load tells its target once at the end).
  void SubChange(TObject* Sender) override;
  void DoRender(TLumCustomView* aView) override;
  // Items that are plain nodes are written through a list of their own rather than
  // by recursion, so the nesting of a scene is not bounded by the call stack.
  void WriteValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  // The items in render order, each with its indirect bit as the lowest bit of the
  // entry; every item knows where its entries are (its holdings), so that finding,
  // removing and moving items cost O(log n) in lists of any size.
  TRankedList FItems{&Placed, this};
  // Empty entries (SetItems(i, nullptr)), which no item can hold the place of.
  int FEmpty = 0;
  // Entries of components held as references; while there are none, a component's end
  // leaves nothing of it behind in its own node (DropEntries has nothing to look for).
  int FIndirectHeld = 0;
  static void Placed(void* Context, uintptr_t Entry, TRankedList::TLeaf* From,
                     TRankedList::TLeaf* To);
  struct TPlace {
    TRankedList::TLeaf* Leaf = nullptr;
    size_t Offset = 0, Index = 0;
  };
  // Where the first entry of Item (not nullptr) is; false when it is not in the list.
  bool FirstPlace(const TLumRender* Item, TPlace& First) const;
  // Drops the entries of a component leaving the scene that its own removal from this
  // node will not take: references, and entries that SetItems placed.
  void DropEntries(TLumRender* Item);
  void WriteItems(TLumExchange* Exchange);
};

// Calls Visit(Node, Index, Item) for every item under Root, node by node, and goes into
// an item that is a node when Visit returns true (commonly: when the node holds it rather
// than refers to it, so that each node is walked once). Without recursion: scenes nest
// deeper than the call stack reaches.
template <typename F>
void LumWalkItems(TLumNode* Root, F&& Visit) {
  std::vector<TLumNode*> Nodes{Root};
  while (!Nodes.empty()) {
    TLumNode* N = Nodes.back();
    Nodes.pop_back();
    for (int I = 0; I < N->GetCount(); ++I)
      if (TLumRender* Item = N->GetItems(I); Item && Visit(N, I, Item))
        if (auto* Sub = dynamic_cast<TLumNode*>(Item)) Nodes.push_back(Sub);
  }
}

// --- the render-class registry ---------------------------------------------------------

using TLumRenderClassFactory = std::function<TComponent*(TComponent* AOwner)>;

struct TLumRenderClass {
  std::string Name;
  TLumRenderClassFactory Create;
  // Known at registration to make a TLumRender, so that loading needs no cast to check
  // each object it makes (a factory registered by name alone is checked).
  bool MakesRender = false;
};

// Registers a class under its name; a second class of the same name (compared
// without regard to case) throws Exception("This class was already registered.").
void RegisterRenderClass(const std::string& Name, TLumRenderClassFactory Create,
                         bool MakesRender = false);
template <typename T>
void RegisterRenderClass() {
  T Probe(nullptr);
  RegisterRenderClass(
      Probe.ClassName(), [](TComponent* AOwner) { return new T(AOwner); },
      std::is_base_of_v<TLumRender, T>);
}
// Registers TLumNode (the unit's own class).
void RegisterLumobjClasses();
// The class registered under Name (case-insensitive), or nullptr.
const TLumRenderClass* GetRenderClass(const std::string& Name);
// The registered classes in registration order.
void GetRenderClassList(std::vector<TLumRenderClass>& List);

}  // namespace lumox
