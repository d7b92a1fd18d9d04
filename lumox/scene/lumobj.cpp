// Scene objects, grouping nodes and the registry of render classes.
#include "lumox/scene/lumobj.h"

#include <algorithm>
#include <memory>
#include <typeinfo>
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
    FObjectName = O->FObjectName;
    FObjectID = O->FObjectID;
    // The colour's Assign takes over the source colour's hook along with its value.
    FColor->Assign(O->FColor);
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

void TLumObject::WriteValues(TLumExchange* Exchange) {
  TLumRender::WriteValues(Exchange);
  Exchange->addtag("ObjectID", FObjectID, -1);
  Exchange->addtag("ObjectName", FObjectName, std::string());
  FColor->WriteComp(Exchange, "Color");
}

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

TLumNode::TLumNode(TComponent* AOwner) : TLumCustomNode(AOwner) {}

void TLumNode::Counted(TLumRender* Item, int Delta) {
  if (!Item) return;
  auto It = FOccurrences.try_emplace(Item, 0).first;
  if (It->second == 0) Hold(Item, true);
  It->second += Delta;
  if (It->second <= 0) {
    Hold(Item, false);
    FOccurrences.erase(It);
  }
}

TLumNode::~TLumNode() {
  if (OnItemNotify) OnItemNotify(this, opRemove);
  // The items leave first, last to first, each in constant time; whatever still
  // names this node is told next, while it is a complete node.
  Clear();
  Destroying();
}

int TLumNode::Add(TLumRender* Item) {
  if (!Item) return -1;  // nothing to add
  const int Old = GetCount();
  Insert(Old, Item);
  FIndirect.resize(FItems.size());
  FIndirect.back() = false;
  return Old;
}

int TLumNode::AddIndirect(TLumRender* Item) {
  CheckLink(Item);
  const int Old = GetCount();
  FItems.push_back(Item);
  Counted(Item, 1);
  FIndirect.resize(FItems.size());
  FIndirect.back() = true;
  // A reference only: the item stays in its own node, but this node must not keep
  // a dangling entry when the item dies.
  if (Item) Item->FreeNotification(this);
  return Old;
}

void TLumNode::Insert(int Index, TLumRender* Item) {
  CheckLink(Item);
  if (!Item) return;
  Item->SetNodeDirect(this);
  Index = std::clamp(Index, 0, GetCount());
  FItems.insert(FItems.begin() + Index, Item);
  Counted(Item, 1);
  // Keep the indirect bits aligned with their items.
  if (FIndirect.size() + 1 == FItems.size()) FIndirect.insert(FIndirect.begin() + Index, false);
  Item->OnChange = [this](TObject* Sender) { SubChange(Sender); };
  if (OnItemNotify) OnItemNotify(Item, opInsert);
}

int TLumNode::FindItem(TLumRender* Item) const {
  auto Found = FOccurrences.find(Item);
  if (Found == FOccurrences.end()) return Item ? -1 : IndexOf(Item);
  if (Found->second > 1) return IndexOf(Item);
  for (int I = GetCount() - 1; I >= 0; --I)
    if (FItems[static_cast<size_t>(I)] == Item) return I;
  return -1;
}

int TLumNode::Remove(TLumRender* Item) {
  const int Index = FindItem(Item);
  if (Index >= 0) {
    const bool Indirect = IsIndirect(Index);
    FItems.erase(FItems.begin() + Index);
    Counted(Item, -1);
    if (static_cast<size_t>(Index) < FIndirect.size()) FIndirect.erase(FIndirect.begin() + Index);
    FIndirect.resize(FItems.size());
    if (!Indirect && Item) {  // SetItems may have left an empty entry
      Item->OnChange = nullptr;
      Item->SetNode(nullptr);
    }
  }
  if (OnItemNotify) OnItemNotify(Item, opRemove);
  return Index;
}

void TLumNode::Delete(int Index) {
  if (Index >= 0 && Index < GetCount()) Remove(FItems[static_cast<size_t>(Index)]);
}

void TLumNode::Exchange(int I, int J) {
  if (I < 0 || J < 0 || I >= GetCount() || J >= GetCount()) return;
  std::swap(FItems[static_cast<size_t>(I)], FItems[static_cast<size_t>(J)]);
  const bool B = FIndirect[static_cast<size_t>(I)];
  FIndirect[static_cast<size_t>(I)] = FIndirect[static_cast<size_t>(J)];
  FIndirect[static_cast<size_t>(J)] = B;
}

void TLumNode::Move(int CurIndex, int NewIndex) {
  if (FItems.empty()) return;
  const int Last = GetCount() - 1;
  CurIndex = std::clamp(CurIndex, 0, Last);
  NewIndex = std::clamp(NewIndex, 0, Last);
  if (CurIndex == NewIndex) return;
  TLumRender* Item = FItems[static_cast<size_t>(CurIndex)];
  const bool Bit = FIndirect[static_cast<size_t>(CurIndex)];
  FItems.erase(FItems.begin() + CurIndex);
  FIndirect.erase(FIndirect.begin() + CurIndex);
  FItems.insert(FItems.begin() + NewIndex, Item);
  FIndirect.insert(FIndirect.begin() + NewIndex, Bit);
}

int TLumNode::IndexOf(TLumRender* Item) const {
  auto It = std::find(FItems.begin(), FItems.end(), Item);
  return It == FItems.end() ? -1 : static_cast<int>(It - FItems.begin());
}

void TLumNode::Clear() {
  for (int I = GetCount() - 1; I >= 0; --I) Delete(std::min(I, GetCount() - 1));
  FItems.clear();
  FIndirect.clear();
  FOccurrences.clear();
}

TLumRender* TLumNode::GetItems(int Index) const {
  if (Index < 0 || Index >= GetCount()) return nullptr;
  return FItems[static_cast<size_t>(Index)];
}

void TLumNode::SetItems(int Index, TLumRender* Item) {
  if (Index < 0 || Index >= GetCount()) return;
  CheckLink(Item);
  Counted(FItems[static_cast<size_t>(Index)], -1);
  FItems[static_cast<size_t>(Index)] = Item;
  Counted(Item, 1);
}

bool TLumNode::IsIndirect(int Index) const {
  return Index >= 0 && static_cast<size_t>(Index) < FIndirect.size() &&
         FIndirect[static_cast<size_t>(Index)];
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
    for (TLumRender* Item : Node->FItems) {
      if (auto* Sub = dynamic_cast<TLumNode*>(Item)) {
        if (Seen.insert(Sub).second) Pending.push_back(Sub);
      } else {
        ++N;
      }
    }
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
  for (size_t I = 0; I < FItems.size(); ++I) {
    // Each item lives in a block of its own: fetching the blocks of the items a few
    // places ahead overlaps their cache misses with the drawing of this one. A hint
    // only: it reads nothing and cannot fault.
    if (I + PrefetchDistance < FItems.size())
      if (const char* Ahead = reinterpret_cast<const char*>(FItems[I + PrefetchDistance]))
        for (size_t Line = 0; Line < PrefetchLines; ++Line) __builtin_prefetch(Ahead + 64 * Line);
    if (FItems[I]) FItems[I]->Render(aView);
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
  std::vector<TLumNode*> Queue{this};
  ChangeClimb = &Queue;
  struct TReset {
    ~TReset() { ChangeClimb = nullptr; }
  } Reset;
  for (size_t I = 0; I < Queue.size(); ++I) {
    TLumNode* Node = Queue[I];
    // A node being read keeps changes to itself: otherwise every value read in a
    // scene nested N deep would climb N levels.
    if (!Node->ComponentState().Contains(csReading)) Node->Changed();
    Node->ClearCache();  // any change of an item invalidates the compiled list
  }
}

void TLumNode::DoRender(TLumCustomView* aView) {
  if (OnRender)
    OnRender(aView);
  else
    RenderItems(aView);
}

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
    if (Top.Next >= Top.Node->FItems.size()) {
      Open.erase(Top.Node);
      Stack.pop_back();
      if (!Stack.empty()) {
        Exchange->EndTag();
        Exchange->ObjStep();
      }
      continue;
    }
    TLumRender* Item = Top.Node->FItems[Top.Next++];
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
    if (auto* R = dynamic_cast<TLumRender*>(C)) {
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
  auto* AsItem = Operation == opRemove ? dynamic_cast<TLumRender*>(AComponent) : nullptr;
  auto Found = AsItem ? FOccurrences.find(AsItem) : FOccurrences.end();
  if (Found != FOccurrences.end() && Found->second == 1) {
    // The common case, an item that dies while it is in the list once.
    const int I = FindItem(AsItem);
    if (I >= 0 && IsIndirect(I)) {
      Counted(AsItem, -1);
      FItems.erase(FItems.begin() + I);
      FIndirect.erase(FIndirect.begin() + I);
    }
  } else if (Found != FOccurrences.end()) {
    // Drop indirect references to a dying component; direct items leave through
    // their own destructor.
    for (int I = GetCount() - 1; I >= 0; --I)
      if (FItems[static_cast<size_t>(I)] == AComponent && IsIndirect(I)) {
        Counted(FItems[static_cast<size_t>(I)], -1);
        FItems.erase(FItems.begin() + I);
        FIndirect.erase(FIndirect.begin() + I);
      }
  }
  if (OnItemNotify) OnItemNotify(AComponent, Operation);
}

// --- registry -------------------------------------------------------------------------

namespace {

struct TRegistry {
  std::vector<TLumRenderClass> Classes;
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

void RegisterRenderClass(const std::string& Name, TLumRenderClassFactory Create) {
  TRegistry& R = Registry();
  for (const auto& C : R.Classes)
    if (SameText(C.Name, Name)) throw Exception("This class was already registered.");
  R.Classes.push_back({Name, std::move(Create)});
}

const TLumRenderClass* GetRenderClass(const std::string& Name) {
  for (const auto& C : Registry().Classes)
    if (SameText(C.Name, Name)) return &C;
  return nullptr;
}

void GetRenderClassList(std::vector<TLumRenderClass>& List) { List = Registry().Classes; }

// --- the published-property table ------------------------------------------------------

namespace detail {
// Called once from the package's registration (package/lumregister.cpp).
void RegisterLumobjProperties();
}  // namespace detail

void detail::RegisterLumobjProperties() {
  TLumClassTable<TLumObject, TLumRender> Obj("TLumObject", "",
                                             "A visible scene object: colour, material, name");
  Obj.String("ObjectName", &TLumObject::ObjectName, &TLumObject::SetObjectName, std::string(),
             "The picking name; follows the component's name unless set apart")
      .Exchange();
  Obj.Object("Color", &TLumObject::Color, &TLumObject::SetColor,
             "The colour drawn when no material is in force")
      .Exchange();
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
