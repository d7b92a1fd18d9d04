// Scene objects, grouping nodes and the registry of render classes.
#include "lumox/scene/lumobj.h"

#include <algorithm>
#include <memory>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/formfile.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"
#include "lumox/scene/lumattr.h"
#include "lumox/scene/lummat.h"

namespace lumox {

namespace detail {
// Registers the render classes of every unit, in unit order (package/lumregister.cpp).
void RegisterUnitClasses();
}  // namespace detail

const char* const TLumColorAsMaterialStr[6] = {"cmNone",     "cmAmbient",  "cmDiffuse",
                                               "cmSpecular", "cmEmission", "cmAmbientDiffuse"};

// --- TLumObject -----------------------------------------------------------------------

TLumObject::TLumObject(TComponent* AOwner) : TLumRender(AOwner) {
  FColor->SetColor(0xFFFFFF);
  FColor->SetAlpha(1.0f);
  FColor->OnChange = [this](TObject* Sender) { SubChange(Sender); };
}

TLumObject::~TLumObject() {
  Destroying();
  FColor = nullptr;
}

void TLumObject::SetColor(TLumColor* Value) {
  if (Value) FColor->Assign(Value);
}

void TLumObject::SetAttributes(TLumAttributes* Value) {
  if (Value == FAttributes) return;
  if (FAttributes) RemoveFreeNotification(FAttributes);
  FAttributes = Value;
  // Shared components often live on another owner: ask to be told of their end.
  if (Value) Value->FreeNotification(this);
  Changed();
}

void TLumObject::SetMaterial(TLumMaterial* Value) {
  if (Value == FMaterial) return;
  if (FMaterial) RemoveFreeNotification(FMaterial);
  FMaterial = Value;
  if (Value) Value->FreeNotification(this);
  Changed();
}

void TLumObject::SetName(const std::string& NewName) {
  const bool Follow =
      FObjectName == Name() && (!Owner() || !Owner()->ComponentState().Contains(csLoading));
  TLumRender::SetName(NewName);
  if (Follow) FObjectName = NewName;
}

void TLumObject::Assign(TPersistent* Source) {
  TLumRender::Assign(Source);
  if (auto* O = dynamic_cast<TLumObject*>(Source)) {
    // The picking ID is not published, so the table's copy leaves it.
    FObjectID = O->FObjectID;
    // The colour's Assign takes over the source colour's hook along with its value.
    CopyPublished(this, O);
  }
}

// Names are pushed only when there is a view to count them, and only in the modes
// that select or pick. The view is asked for its mode through TLumCustomView, so a
// view of another kind decides for itself whether its passes name the objects.
static bool PushesName(TLumCustomView* aView) {
  return aView && IsSelectingMode(aView->DrawMode());
}

void TLumObject::BeforeRender(TLumCustomView* aView) {
  TLumRender::BeforeRender(aView);
  if (PushesName(aView)) glPushName(static_cast<GLuint>(aView->GetNextID(this, -1)));
}

void TLumObject::DoRender(TLumCustomView* aView) {
  float P[4];
  FColor->GetParams(P);
  glColor4fv(P);
  if (FAttributes) FAttributes->Render(aView);
  if (FMaterial) FMaterial->Render(aView);
  if (FColorAsMaterial != cmNone) {
    static const GLenum Modes[6] = {0,           GL_AMBIENT,  GL_DIFFUSE,
                                    GL_SPECULAR, GL_EMISSION, GL_AMBIENT_AND_DIFFUSE};
    glEnable(GL_COLOR_MATERIAL);
    glColorMaterial(GL_FRONT_AND_BACK, Modes[FColorAsMaterial]);
  }
}

void TLumObject::AfterRender(TLumCustomView* aView) {
  TLumRender::AfterRender(aView);
  if (FColorAsMaterial != cmNone) glDisable(GL_COLOR_MATERIAL);
  if (PushesName(aView)) glPopName();
}

// ObjectID is written (-1 left out) though no table publishes it, before ObjectName and
// the Color child element.
void TLumObject::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  Exchange->addtag("ObjectID", FObjectID, -1);
  Exchange->addtag("ObjectName", FObjectName, std::string());
  FColor->WriteComp(Exchange, "Color");
}

// Also reads the unpublished ObjectID; Color comes through ReadComp.
void TLumObject::ReadValues(TLumExchange* Exchange) {
  TLumRender::ReadValues(Exchange);
  Exchange->getvalue("ObjectID", FObjectID);
  Exchange->getvalue("ObjectName", FObjectName);
}

TObject* TLumObject::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (SameText(Tag->Name, "Color")) {
    FColor->ReadValues(Exchange);
    return FColor;
  }
  return TLumTransformed::ReadComp(Exchange, Tag);
}

void TLumObject::Notification(TComponent* AComponent, TOperation Operation) {
  TLumRender::Notification(AComponent, Operation);
  if (Operation != opRemove || !AComponent) return;
  if (AComponent == FAttributes) FAttributes = nullptr;
  if (AComponent == FMaterial) FMaterial = nullptr;
}

// --- TLumNode -------------------------------------------------------------------------

namespace {
// A list entry: the item, with the indirect bit in the lowest bit (items are aligned).
uintptr_t EntryOf(const TLumRender* Item, bool Indirect) {
  return reinterpret_cast<uintptr_t>(Item) | (Indirect ? 1u : 0u);
}
TLumRender* ItemOf(uintptr_t Entry) { return reinterpret_cast<TLumRender*>(Entry & ~uintptr_t{1}); }
bool IndirectEntry(uintptr_t Entry) { return (Entry & 1) != 0; }
}  // namespace

TLumNode::TLumNode(TComponent* AOwner) : TLumCustomNode(AOwner) {}

void TLumNode::Placed(void* Context, uintptr_t Entry, TRankedList::TLeaf* From,
                      TRankedList::TLeaf* To) {
  auto* Node = static_cast<TLumNode*>(Context);
  if (TLumRender* Item = ItemOf(Entry)) {
    Node->Held(Item, From, To);
    if (IndirectEntry(Entry) && !From != !To) Node->FIndirectHeld += To ? 1 : -1;
  } else
    Node->FEmpty += (To ? 1 : 0) - (From ? 1 : 0);
}

TLumNode::~TLumNode() {
  if (OnItemNotify) OnItemNotify(this, opRemove);
  // The items leave first, last to first, each in O(log n); whatever still names this
  // node is told next, while it is a complete node.
  Clear();
  Destroying();
}

int TLumNode::Add(TLumRender* Item) {
  if (!Item) return -1;  // nothing to add
  const int Old = GetCount();
  Insert(Old, Item);
  // The new last bit is cleared (a handler of the insertion may have added after it).
  if (const size_t N = FItems.Size(); N > 0 && IndirectEntry(FItems.At(N - 1)))
    FItems.Set(N - 1, FItems.At(N - 1) & ~uintptr_t{1});
  return Old;
}

int TLumNode::AddIndirect(TLumRender* Item) {
  CheckLink(Item);
  const int Old = GetCount();
  // A reference only: the item stays in its own node (this node hears of its end
  // through the registration its entries keep, Held).
  FItems.PushBack(EntryOf(Item, true));
  return Old;
}

void TLumNode::Insert(int Index, TLumRender* Item) {
  CheckLink(Item);
  if (!Item) return;
  Item->SetNodeDirect(this);
  Index = std::clamp(Index, 0, GetCount());
  FItems.Insert(static_cast<size_t>(Index), EntryOf(Item, false));
  Item->OnChange = [this](TObject* Sender) { SubChange(Sender); };
  if (OnItemNotify) OnItemNotify(Item, opInsert);
}

int TLumNode::Remove(TLumRender* Item) {
  TPlace P;
  const int Index = Item ? (FirstPlace(Item, P) ? static_cast<int>(P.Index) : -1) : IndexOf(Item);
  if (Index >= 0) {
    uintptr_t Entry = 0;
    if (Item) {
      Entry = P.Leaf->Entries[P.Offset];
      FItems.EraseAt(P.Leaf, P.Offset);
    } else {
      Entry = FItems.Erase(static_cast<size_t>(Index));
    }
    if (!IndirectEntry(Entry) && Item) {  // SetItems may have left an empty entry
      Item->OnChange = nullptr;
      Item->SetNode(nullptr);
    }
  }
  if (OnItemNotify) OnItemNotify(Item, opRemove);
  return Index;
}

void TLumNode::Delete(int Index) {
  if (Index >= 0 && Index < GetCount()) Remove(GetItems(Index));
}

void TLumNode::Exchange(int I, int J) {
  if (I < 0 || J < 0 || I >= GetCount() || J >= GetCount() || I == J) return;
  FItems.Swap(static_cast<size_t>(I), static_cast<size_t>(J));
}

void TLumNode::Move(int CurIndex, int NewIndex) {
  if (FItems.Empty()) return;
  const int Last = GetCount() - 1;
  CurIndex = std::clamp(CurIndex, 0, Last);
  NewIndex = std::clamp(NewIndex, 0, Last);
  if (CurIndex == NewIndex) return;
  const uintptr_t Entry = FItems.Erase(static_cast<size_t>(CurIndex));
  FItems.Insert(static_cast<size_t>(NewIndex), Entry);
}

int TLumNode::IndexOf(TLumRender* Item) const {
  if (!Item) {
    // Empty entries hold no place of their own: counted, and looked for when there are.
    if (FEmpty == 0) return -1;
    int I = 0, Found = -1;
    FItems.ForEach([&](uintptr_t E) {
      if (Found < 0 && !ItemOf(E)) Found = I;
      ++I;
    });
    return Found;
  }
  TPlace P;
  return FirstPlace(Item, P) ? static_cast<int>(P.Index) : -1;
}

bool TLumNode::FirstPlace(const TLumRender* Item, TPlace& First) const {
  First.Index = TRankedList::npos;
  auto Match = [Item](uintptr_t E) { return ItemOf(E) == Item; };
  // Held in many leaves (an item referred to many times): its first place is most often
  // in one of the first leaves, which a walk from the front finds without working out
  // where every one of its leaves starts; the walk goes no farther than that would cost.
  if (const size_t Leaves = LeavesOf(Item, this); Leaves > 8) {
    size_t Budget = Leaves;
    for (TRankedList::TLeaf* L = FItems.FirstLeaf(); L && Budget-- > 0; L = L->Next)
      if (HeldIn(Item, this, L))
        if (const size_t Offset = TRankedList::OffsetIn(L, Match); Offset != TRankedList::npos) {
          First = {L, Offset, FItems.IndexAt(L, Offset)};
          return true;
        }
  }
  ForEachHolding(Item, [&](const TLumHolding& H) {
    // An item with one place has one entry: it may be looked for from either end.
    const size_t Offset = PlacesOf(Item) == 1 ? TRankedList::LastOffsetIn(H.Leaf, Match)
                                              : TRankedList::OffsetIn(H.Leaf, Match);
    if (Offset == TRankedList::npos) return true;
    const size_t Index = FItems.IndexAt(H.Leaf, Offset);
    if (Index < First.Index) First = {H.Leaf, Offset, Index};
    return true;
  });
  return First.Index != TRankedList::npos;
}

void TLumNode::Clear() {
  for (int I = GetCount() - 1; I >= 0; --I) Delete(std::min(I, GetCount() - 1));
  FItems.Clear();
}

TLumRender* TLumNode::GetItems(int Index) const {
  if (Index < 0 || Index >= GetCount()) return nullptr;
  return ItemOf(FItems.At(static_cast<size_t>(Index)));
}

void TLumNode::SetItems(int Index, TLumRender* Item) {
  if (Index < 0 || Index >= GetCount()) return;
  CheckLink(Item);
  const uintptr_t Old = FItems.At(static_cast<size_t>(Index));
  // Beyond replacing the entry: the node is registered with the item like with every
  // item it holds (Held), so the entry does not dangle when the item dies.
  FItems.Set(static_cast<size_t>(Index), EntryOf(Item, IndirectEntry(Old)));
}

bool TLumNode::IsIndirect(int Index) const {
  return Index >= 0 && Index < GetCount() && IndirectEntry(FItems.At(static_cast<size_t>(Index)));
}

int TLumNode::CountAllItems() const {
  // Through a list rather than by recursion (scenes may be nested very deep); a node
  // met again inside itself counts once more, not forever.
  int N = 0;
  std::vector<const TLumNode*> Pending{this};
  std::unordered_set<const TLumNode*> Seen{this};
  while (!Pending.empty()) {
    const TLumNode* Node = Pending.back();
    Pending.pop_back();
    Node->FItems.ForEach([&](uintptr_t E) {
      if (auto* Sub = dynamic_cast<TLumNode*>(ItemOf(E))) {
        if (Seen.insert(Sub).second) Pending.push_back(Sub);
      } else {
        ++N;
      }
    });
  }
  return N;
}

namespace {
// How far ahead RenderItems fetches items, and how much of each: a scene object's
// render fields span its whole block, about 900 bytes.
constexpr size_t PrefetchDistance = 3;
constexpr size_t PrefetchLines = 15;
}  // namespace

void TLumNode::RenderItems(TLumCustomView* aView) {
  // Indexed on purpose: a handler may change the list while it renders.
  for (size_t I = 0; I < FItems.Size(); ++I) {
    // Each item lives in a block of its own: fetching the blocks of the items a few
    // places ahead overlaps their cache misses with the drawing of this one. A hint
    // only: it reads nothing and cannot fault.
    if (I + PrefetchDistance < FItems.Size())
      if (const char* Ahead =
              reinterpret_cast<const char*>(ItemOf(FItems.At(I + PrefetchDistance))))
        for (size_t Line = 0; Line < PrefetchLines; ++Line) __builtin_prefetch(Ahead + 64 * Line);
    if (TLumRender* Item = ItemOf(FItems.At(I))) Item->Render(aView);
  }
}

namespace {
// The nodes a change is climbing through, when one is under way on this thread.
thread_local std::vector<TLumNode*>* ChangeClimb = nullptr;
}  // namespace

void TLumNode::SubChange(TObject*) {
  // A change climbs from node to node through OnChange. The outermost call walks
  // the chain through a queue instead of nesting a call per level, so the depth of
  // a scene is not bounded by the call stack.
  if (ChangeClimb) {
    ChangeClimb->push_back(this);
    return;
  }
  // This node first, then those its change reaches: the queue allocates only when the
  // change climbs (a change while loading stays here, and every value read makes one).
  std::vector<TLumNode*> Queue;
  ChangeClimb = &Queue;
  struct TReset {
    ~TReset() { ChangeClimb = nullptr; }
  } Reset;
  for (size_t I = 0;; ++I) {
    TLumNode* Node = I == 0 ? this : Queue[I - 1];
    // A node being read keeps changes to itself: otherwise every value read in a
    // scene nested N deep would climb N levels.
    if (!Node->ComponentState().Contains(csReading)) Node->Changed();
    Node->ClearCache();  // any change of an item invalidates the compiled list
    if (I == Queue.size()) break;
  }
}

void TLumNode::DoRender(TLumCustomView* aView) {
  if (OnRender)
    OnRender(aView);
  else
    RenderItems(aView);
}

// No published values of its own: the render's values, then the items as child elements.
void TLumNode::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  WriteItems(Exchange);
}

void TLumNode::WriteItems(TLumExchange* Exchange) {
  // A plain node's element is what WriteComp would write (its start tag, its values,
  // its items, its end tag), unrolled here; other classes write themselves.
  struct TFrame {
    TLumNode* Node;
    size_t Next;
  };
  std::vector<TFrame> Stack{{this, 0}};
  std::unordered_set<TLumNode*> Open{this};
  while (!Stack.empty()) {
    TFrame& Top = Stack.back();
    if (Top.Next >= Top.Node->FItems.Size()) {
      Open.erase(Top.Node);
      Stack.pop_back();
      if (!Stack.empty()) {
        Exchange->EndTag();
        Exchange->ObjStep();
      }
      continue;
    }
    TLumRender* Item = ItemOf(Top.Node->FItems.At(Top.Next++));
    if (!Item) continue;
    if (typeid(*Item) == typeid(TLumNode)) {
      auto* Sub = static_cast<TLumNode*>(Item);
      // Recursion would never end either: refuse a node that holds itself.
      if (!Open.insert(Sub).second)
        throw Exception("The node \"" + Sub->Name() + "\" contains itself.");
      Exchange->StartTag(UpperCase(Sub->ClassName()));
      Sub->TLumRender::WriteValues(Exchange);
      Stack.push_back({Sub, 0});
    } else {
      Item->WriteComp(Exchange, UpperCase(Item->ClassName()));
      Exchange->ObjStep();
    }
  }
}

TObject* TLumNode::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (const TLumRenderClass* Class = GetRenderClass(Tag->Name)) {
    TComponent* C = Class->Create(this);
    auto* R = Class->MakesRender ? static_cast<TLumRender*>(C) : dynamic_cast<TLumRender*>(C);
    if (R) {
      // Until the load ends (see TLumExchange::LoadfromFile).
      C->SetReading(true);
      Add(R);
      R->ReadValues(Exchange);
      return R;
    }
    delete C;
  }
  return TLumRender::ReadComp(Exchange, Tag);
}

void TLumNode::Notification(TComponent* AComponent, TOperation Operation) {
  TLumRender::Notification(AComponent, Operation);
  if (Operation == opRemove && AComponent)
    if (auto* Item = dynamic_cast<TLumRender*>(AComponent)) DropEntries(Item);
  if (OnItemNotify) OnItemNotify(AComponent, Operation);
}

void TLumNode::DropEntries(TLumRender* Item) {
  // Direct items of this node leave through their own destructor (SetNode(nullptr)).
  const bool Own = Item->Node() == this;
  if (Own && FIndirectHeld == 0) return;  // only references could be left
  auto Stale = [Item, Own](uintptr_t E) { return ItemOf(E) == Item && (IndirectEntry(E) || !Own); };
  // Each erasure changes the places: look again from the first until none is stale.
  for (bool Erased = true; Erased;) {
    Erased = false;
    ForEachHolding(Item, [&](const TLumHolding& H) {
      Erased = H.Node == this && FItems.EraseFrom(H.Leaf, Stale);
      return !Erased;
    });
  }
}

// --- registry -------------------------------------------------------------------------

namespace {

// Hash and equality of class names without regard to ASCII case.
struct TNameHash {
  size_t operator()(const std::string& S) const {
    size_t H = 14695981039346656037ull;
    for (char C : S) H = (H ^ static_cast<unsigned char>(C | 0x20)) * 1099511628211ull;
    return H;
  }
};
struct TNameEqual {
  bool operator()(const std::string& A, const std::string& B) const { return SameText(A, B); }
};

struct TRegistry {
  std::vector<TLumRenderClass> Classes;
  // Where each name is in Classes: a file names a class for every element it holds.
  std::unordered_map<std::string, size_t, TNameHash, TNameEqual> Index;
  bool UnitsRegistered = false;
};

TRegistry& RawRegistry() {
  static TRegistry R;
  return R;
}

// The registry, with every unit's classes in it.
TRegistry& Registry() {
  TRegistry& R = RawRegistry();
  if (!R.UnitsRegistered) {
    R.UnitsRegistered = true;
    detail::RegisterUnitClasses();
  }
  return R;
}

}  // namespace

void RegisterLumobjClasses() { RegisterRenderClass<TLumNode>(); }

void RegisterRenderClass(const std::string& Name, TLumRenderClassFactory Create, bool MakesRender) {
  TRegistry& R = Registry();
  if (!R.Index.emplace(Name, R.Classes.size()).second)
    throw Exception("This class was already registered.");
  R.Classes.push_back({Name, std::move(Create), MakesRender});
}

const TLumRenderClass* GetRenderClass(const std::string& Name) {
  TRegistry& R = Registry();
  auto It = R.Index.find(Name);
  return It == R.Index.end() ? nullptr : &R.Classes[It->second];
}

void GetRenderClassList(std::vector<TLumRenderClass>& List) { List = Registry().Classes; }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumobjProperties() {
  TLumClassTable<TLumObject, TLumRender> Obj("TLumObject", "",
                                             "A visible scene object: colour, material, name");
  Obj.String("ObjectName", &TLumObject::ObjectName, &TLumObject::SetObjectName, std::string(),
             "The picking name; follows the component's name unless set apart")
      .Exchange()
      .Field(&TLumObject::FObjectName);
  Obj.Object("Color", &TLumObject::Color, &TLumObject::SetColor,
             "The colour drawn when no material is in force")
      .Exchange()
      .Field(&TLumObject::FColor);
  // Assign leaves the two references: a copy does not share them.
  Obj.Component("Attributes", &TLumObject::Attributes, &TLumObject::SetAttributes, true,
                "Render attributes applied before the geometry (shared, not owned)");
  Obj.Component("Material", &TLumObject::Material, &TLumObject::SetMaterial, true,
                "The material applied before the geometry (shared, not owned)");
  for (const char* Name :
       {"Transformation", "OnTransform", "OnAfterRender", "OnBeforeRender", "ProjectionEnabled"})
    Obj.Publish(Name);

  TLumClassTable<TLumNode, TLumCustomNode> Node("TLumNode", "Lumox",
                                                "A group that renders its items in order");
  Node.Creatable();
  // The items of a scene loaded from a file belong to their nodes.
  Node.StoresOwnedComponents();
  for (const char* Name : {"OnTransform", "OnAfterRender", "OnBeforeRender", "Transformation"})
    Node.Publish(Name);
  Node.Event("OnRender", "TLumRenderEvent", &TLumNode::OnRender,
             "Draws instead of the items when assigned");
  // The items in render order; "@" marks those the node only refers to (AddIndirect).
  Node.DefineData(
      "Items", "The items in render order; @ marks items only referred to",
      [](const TLumNode* N) { return N->GetCount() > 0; },
      [](const TLumNode* N, TLumFormWriter& W) {
        W.WriteListBegin();
        for (int I = 0; I < N->GetCount(); ++I) {
          if (N->GetCount() > 1) W.NewLine();
          W.WriteReference(N->GetItems(I), N->IsIndirect(I));
        }
        W.WriteListEnd();
      },
      [](TLumNode* N, TLumFormReader& R) {
        R.ReadListBegin();
        while (!R.EndOfList()) {
          auto Indirect = std::make_shared<bool>(false);
          *Indirect = R.ReadReference([N, Indirect](TComponent* C) {
            auto* Item = dynamic_cast<TLumRender*>(C);
            if (!Item) throw Exception(std::string("a ") + C->ClassName() + " cannot be an item");
            if (*Indirect)
              N->AddIndirect(Item);
            else
              N->Add(Item);
          });
        }
        R.ReadListEnd();
      });
}

}  // namespace lumox
