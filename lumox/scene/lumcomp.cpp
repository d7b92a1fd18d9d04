// The render protocol, display-list caching and node membership of scene components.
#include "lumox/scene/lumcomp.h"

#include <algorithm>
#include <cstdio>
#include <unordered_set>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

const char* const TLumDrawModeStr[5] = {"dmWindow", "dmBitmap", "dmSelection", "dmPick",
                                        "dmNothing"};

void TLumCustomView::ListMade() {
  ++FLiveLists;
  const size_t Need = FDeferredLists.size() + FLiveLists;
  if (FDeferredLists.capacity() < Need)
    FDeferredLists.reserve(std::max(Need, 2 * FDeferredLists.capacity()));
}

void TLumCustomView::DeleteDeferredLists() {
  for (const TListRange& R : FDeferredLists) glDeleteLists(R.First, R.Count);
  FDeferredLists.clear();
}

// --- TLumComponent --------------------------------------------------------------------

void TLumComponent::Changed() {
  if (OnChange) OnChange(this);
}

void TLumComponent::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumComponent*>(Source)) {
    OnChange = C->OnChange;
    Changed();
  }
}

// The name is the lowercase "name" attribute, from TComponent's Name: no entry of this
// class carries it.
void TLumComponent::WriteValues(TLumExchange* Exchange) { Exchange->addtag("name", Name(), ""); }

// Reads the lowercase "name" attribute that WriteValues writes.
void TLumComponent::ReadValues(TLumExchange* Exchange) {
  std::string N = Name();
  Exchange->getvalue("name", N);
  SetName(N);
}

void TLumComponent::WriteComp(TLumExchange* Exchange, std::string_view Tag) {
  Exchange->StartTag(Tag);
  try {
    WriteValues(Exchange);
  } catch (EUnwritableValue& E) {
    if (E.Named) throw;
    const std::string Who = Name().empty() ? std::string("a ") + ClassName() + " without a name"
                                           : "component \"" + Name() + "\" (" + ClassName() + ")";
    EUnwritableValue Named(Who + ", " + E.what());
    Named.Named = true;
    throw Named;
  }
  Exchange->EndTag();
}

// --- TLumTransformed ------------------------------------------------------------------

TLumTransformed::TLumTransformed(TComponent* AOwner) : TLumComponent(AOwner) {
  FTransformation.OnChange = [this](TObject* Sender) { SubChange(Sender); };
}

TLumTransformed::~TLumTransformed() = default;

void TLumTransformed::SetTransformation(TLumTransformation* Value) {
  if (!Value) return;
  FTransformation.Assign(Value);
  Changed();
}

void TLumTransformed::SubChange(TObject*) { Changed(); }

void TLumTransformed::Assign(TPersistent* Source) {
  if (auto* T = dynamic_cast<TLumTransformed*>(Source)) CopyPublished(this, T);
  TLumComponent::Assign(Source);
}

// Transformation is hidden at this level (descendants publish it), yet every transformed
// component writes it, as a child element.
void TLumTransformed::WriteValues(TLumExchange* Exchange) {
  TLumComponent::WriteValues(Exchange);
  FTransformation.WriteComp(Exchange, "Transformation");
}

TObject* TLumTransformed::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (SameText(Tag->Name, "Transformation")) {
    FTransformation.ReadValues(Exchange);
    return &FTransformation;
  }
  return TLumComponent::ReadComp(Exchange, Tag);
}

// --- TLumRender -----------------------------------------------------------------------

TLumRender::TLumRender(TComponent* AOwner) : TLumTransformed(AOwner) {}

TLumRender::~TLumRender() {
  Destroying();
  ClearCache();
  delete FProjectionMatrix;
  FProjectionMatrix = nullptr;
  SetNode(nullptr);
  if (FView) RemoveFreeNotification(FView);
}

void TLumRender::SetEnabled(bool Value) { SetField(FEnabled, Value); }

void TLumRender::SetView(TLumCustomView* aView) {
  if (FView) {
    ClearCache();
    if (FView != aView) RemoveFreeNotification(FView);
  }
  FView = aView;
  // Told when the view dies even if another component owns it, so the cache leaves
  // with the view's context.
  if (aView) aView->FreeNotification(this);
}

void TLumRender::SetCached(bool Value) {
  if (Value == FCached) return;
  FCached = Value;
  if (!Value) ClearCache();
}

void TLumRender::SetNode(TLumCustomNode* NewNode) {
  if (FNode != NewNode && FNode) FNode->Remove(this);
  LinkNode(nullptr);
  if (NewNode) NewNode->Add(this);  // the node sets the field back
}

void TLumRender::SetNodeDirect(TLumCustomNode* NewNode) {
  // The node is still set while it removes the component, so its nested SetNode(nullptr)
  // asks it once more (finding nothing), as it does for every removal of a direct item.
  if (FNode) FNode->Remove(this);
  LinkNode(NewNode);
}

bool TLumRender::AddHolding(TLumCustomNode* Node, TRankedList::TLeaf* Leaf) {
  if (!FMoreHoldings) {
    if (!FHolding.Node) {
      FHolding = {Node, Leaf, 1};
      return true;
    }
    if (FHolding.Node == Node && FHolding.Leaf == Leaf) {
      ++FHolding.Count;
      return false;
    }
    // A second leaf: from now on every place is kept in the tables.
    FMoreHoldings = std::make_unique<TLumHoldings>();
    FMoreHoldings->ByNode[FHolding.Node].push_back(FHolding);
    FMoreHoldings->Slot[{FHolding.Node, FHolding.Leaf}] = 0;
    FMoreHoldings->Places = FHolding.Count;
    FHolding = {nullptr, nullptr, 0};
  }
  TLumHoldings& M = *FMoreHoldings;
  std::vector<TLumHolding>& Of = M.ByNode[Node];
  const bool First = Of.empty();
  const auto [It, Inserted] = M.Slot.try_emplace({Node, Leaf}, uint32_t(Of.size()));
  if (Inserted)
    Of.push_back({Node, Leaf, 1});
  else
    ++Of[It->second].Count;
  ++M.Places;
  return First;
}

bool TLumRender::DropHolding(TLumCustomNode* Node, TRankedList::TLeaf* Leaf) {
  if (!FMoreHoldings) {
    if (FHolding.Node != Node || FHolding.Leaf != Leaf) return false;
    if (--FHolding.Count > 0) return false;
    FHolding = {nullptr, nullptr, 0};
    return true;
  }
  TLumHoldings& M = *FMoreHoldings;
  const auto It = M.Slot.find({Node, Leaf});
  if (It == M.Slot.end()) return false;
  const auto Of = M.ByNode.find(Node);
  std::vector<TLumHolding>& V = Of->second;
  --M.Places;
  const uint32_t I = It->second;
  if (--V[I].Count > 0) return false;
  // The node's last record fills the gap.
  M.Slot.erase(It);
  if (I + 1 != V.size()) {
    V[I] = V.back();
    M.Slot[{Node, V[I].Leaf}] = I;
  }
  V.pop_back();
  const bool NodeGone = V.empty();
  if (NodeGone) M.ByNode.erase(Of);
  if (M.Slot.size() <= 1) {  // one leaf left, or none: back to the single place
    FHolding = M.Slot.empty() ? TLumHolding{nullptr, nullptr, 0} : M.ByNode.begin()->second[0];
    FMoreHoldings.reset();
  }
  return NodeGone;
}

void TLumRender::MoveHolding(TLumCustomNode* Node, TRankedList::TLeaf* From,
                             TRankedList::TLeaf* To) {
  if (!FMoreHoldings && FHolding.Count == 1) {  // the usual case: the one entry moves
    if (FHolding.Node == Node && FHolding.Leaf == From) FHolding.Leaf = To;
    return;
  }
  // Added first, so that the node never seems to have let go of the item.
  AddHolding(Node, To);
  DropHolding(Node, From);
}

void TLumRender::LinkNode(TLumCustomNode* NewNode) {
  if (FNode == NewNode) return;
  // Told when the node dies, whoever owns it, so the field never dangles; the old node
  // stays registered while its list still holds this component (as a reference).
  if (FNode && !HeldBy(FNode)) RemoveFreeNotification(FNode);
  FNode = NewNode;
  if (FNode) FNode->FreeNotification(this);
}

void TLumRender::SetProjectionEnabled(bool Value) {
  if (!ComponentState().Contains(csDesigning)) {
    if (FProjectionEnabled && !Value && FProjectionMatrix) {
      delete FProjectionMatrix;
      FProjectionMatrix = nullptr;
    } else if (!FProjectionEnabled && Value) {
      delete FProjectionMatrix;
      FProjectionMatrix = new TLumMatrix;
    }
  }
  FProjectionEnabled = Value;
}

void TLumRender::BeforeRender(TLumCustomView* aView) {
  glPushMatrix();
  if (OnTransform)
    OnTransform(this);
  else
    Transformation()->Execute();
  if (FProjectionMatrix) FProjectionMatrix->PickGLModelviewMatrix();
  if (OnBeforeRender) OnBeforeRender(aView);
}

void TLumRender::DoRender(TLumCustomView*) {}

void TLumRender::AfterRender(TLumCustomView* aView) {
  if (OnAfterRender) OnAfterRender(aView);
  glPopMatrix();
}

void TLumRender::DoDisable(TLumCustomView*) {}

namespace {

TLumRenderMessageEvent& RenderDiagnostics() {
  static TLumRenderMessageEvent Handler;
  return Handler;
}

void ReportRenderMessage(const std::string& Message) {
  if (RenderDiagnostics()) {
    RenderDiagnostics()(Message);
    return;
  }
  static std::string Last;
  if (Message == Last) return;
  Last = Message;
  std::fprintf(stderr, "lumox: %s\n", Message.c_str());
}

// Counts one level of nesting for the lifetime of a Render call.
struct TRenderLevel {
  explicit TRenderLevel(TLumTraversal& T) : FT(T) { ++FT.Depth; }
  ~TRenderLevel() { --FT.Depth; }
  TLumTraversal& FT;
};

// Pops the modelview stack down to Depth levels, as it was before a Render call that
// threw: whatever the protocol or a handler pushed goes.
void RestoreModelviewStack(int Depth) {
  glMatrixMode(GL_MODELVIEW);
  GLint Now = 0;
  glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &Now);
  for (; Now > Depth && Now > 1; --Now) glPopMatrix();
}

}  // namespace

void SetRenderDiagnostics(TLumRenderMessageEvent Handler) {
  RenderDiagnostics() = std::move(Handler);
}

void TLumRender::Render(TLumCustomView* aView) {
  if (!FEnabled) {
    DoDisable(aView);
    return;
  }
  if (!aView) {
    // Without a view there is no context's state to keep: each call is outermost.
    TLumTraversal Alone;
    RenderOutermost(aView, Alone);
    return;
  }
  TLumTraversal& T = aView->RenderState().Traversal;
  if (T.Depth == 0) {
    RenderOutermost(aView, T);
    return;
  }
  // A level deeper than the modelview stack holds would overflow it and draw with
  // wrong matrices: such a branch is left out and reported once for the frame.
  if (T.Depth >= T.Room) {
    ++T.Refused;
    return;
  }
  TRenderLevel Level(T);
  RenderProtocol(aView, T.BaseStack + T.Depth - 1);
}

void TLumRender::RenderOutermost(TLumCustomView* aView, TLumTraversal& T) {
  GLint Max = 0, Used = 0;
  glGetIntegerv(GL_MAX_MODELVIEW_STACK_DEPTH, &Max);
  glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &Used);
  // Without a context the queries answer nothing: GL guarantees 32 levels.
  T.Room = Max > 0 ? Max - Used : 32;
  T.BaseStack = Used;
  T.Refused = T.Room > 0 ? 0 : 1;
  if (T.Room > 0) {
    TRenderLevel Level(T);
    RenderProtocol(aView, Used);
  }
  if (T.Refused > 0)
    ReportRenderMessage("The scene is nested deeper than the OpenGL matrix stack allows (" +
                        std::to_string(T.Room) + " levels); " + std::to_string(T.Refused) +
                        (T.Refused == 1 ? " branch was" : " branches were") +
                        " left out of the frame.");
}

void TLumRender::RenderProtocol(TLumCustomView* aView, int Stack) {
  // Whatever throws (a handler, a mesh over its size limit) must not leave a list open
  // or a matrix pushed, or every later frame in the context would inherit it. The list
  // is dropped and the stack restored before the exception goes on.
  bool Compiling = false;
  try {
    BeforeRender(aView);
    if (!FView && FCached) {
      // The first view that renders a cached component owns its cache.
      SetView(aView);
      FListId = 0;
    }
    if (!IsMyView(aView)) {
      DoRender(aView);
    } else if (FListId == 0) {
      if (FCached) OpenCache();
      Compiling = FCached;
      DoRender(aView);
      Compiling = false;
      if (FCached) CloseCache();
    } else {
      CallCache();
    }
    AfterRender(aView);
  } catch (...) {
    if (Compiling) {
      CloseCache();
      ClearCache();
    }
    RestoreModelviewStack(Stack);
    throw;
  }
}

void TLumRender::Disable(TLumCustomView* aView) { DoDisable(aView); }

TLumMathVector TLumRender::ProjectVector(TLumRender* Other, const TLumMathVector& V) {
  if (!FProjectionMatrix || !Other || !Other->FProjectionMatrix) return ZEROVEC;
  return FProjectionMatrix->ProjectMatrix(Other->FProjectionMatrix, V);
}

TLumMathVector TLumRender::ProjectVector(TLumCustomView* aView, const TLumMathVector& V) {
  if (!FProjectionMatrix || !aView) return ZEROVEC;
  TLumMatrix* Cam = aView->CameraMatrix();
  if (!Cam) return ZEROVEC;
  TLumMatrix A;
  A.Assign(FProjectionMatrix);
  A.Invert();
  TLumMatrix C;
  C.Assign(Cam);
  C.MultMatrix(&A);
  const TLumMathVector4d R = C.MultVector({V.X, V.Y, V.Z, 1.0});
  return {R.X, R.Y, R.Z};
}

void TLumRender::OpenCache() {
  if (!FView) return;
  // Lists do not nest: GL refuses glNewList while one is compiled, and the glEndList
  // that follows would end the enclosing list early. Inside another component's list
  // this one is drawn into that list.
  GLint Compiling = 0;
  glGetIntegerv(GL_LIST_INDEX, &Compiling);
  if (Compiling != 0) return;
  ClearCache();
  FListId = glGenLists(1);
  // Compiled and executed at once, so the frame that builds the cache shows the
  // component too (a single off-screen frame would otherwise come out empty).
  glNewList(FListId, GL_COMPILE_AND_EXECUTE);
  // Drawing goes on uncompiled when no list was made; the next render tries again.
  if (!glIsList(FListId))
    FListId = 0;
  else
    FView->ListMade();
  // Deliberately beyond the plain protocol: the list must hold all the state it draws
  // with, so the material, attributes and texture before it must not be skipped as
  // "last rendered". Otherwise it replays with whatever state precedes it later.
  FView->RenderState().Reset();
}

void TLumRender::CloseCache() {
  if (FView && FListId != 0) glEndList();
}

void TLumRender::CallCache() {
  if (!FView) return;
  glCallList(FListId);
  // The list has left its own state behind: no last-rendered test tells the truth.
  FView->RenderState().Reset();
}

void TLumRender::ClearCache() {
  if (!FView || FListId == 0) return;
  if (FView->GetCurrent()) {
    glDeleteLists(FListId, 1);
    FView->ListDeleted();
    FListId = 0;
    return;
  }
  if (FView->HasContext()) {
    // Beyond making the context current for each list: that switch (and even asking
    // which context is current) costs more than the deletion, so freeing a large
    // cached scene would be dominated by it, and inside another view's frame it would
    // take that view's context away. The view deletes the list the next time it makes
    // its context current (a frame, an image, SetCurrent) or before the context goes;
    // the name stays taken until then, so no new list can reuse it.
    FView->DeferListDeletion(FListId);
    FListId = 0;
    return;
  }
  FView->SetCurrent(true);
  if (!FView->GetCurrent()) return;  // no context: the list is kept
  glDeleteLists(FListId, 1);
  FView->ListDeleted();
  FListId = 0;
  FView->SetCurrent(false);
}

void TLumRender::Assign(TPersistent* Source) {
  if (auto* R = dynamic_cast<TLumRender*>(Source)) CopyPublished(this, R);
  TLumTransformed::Assign(Source);
}

// Cached is hidden at this level, yet the format writes it with Enabled for every render
// component.
void TLumRender::WriteValues(TLumExchange* Exchange) {
  TLumTransformed::WriteValues(Exchange);
  Exchange->addtag("Enabled", FEnabled, true);
  Exchange->addtag("Cached", FCached, false);
}

// Reads Enabled and the hidden Cached before the inherited name, each set as it is read.
void TLumRender::ReadValues(TLumExchange* Exchange) {
  SetEnabled(Exchange->getvalueor("Enabled", FEnabled));
  SetCached(Exchange->getvalueor("Cached", FCached));
  TLumTransformed::ReadValues(Exchange);
}

void TLumRender::Notification(TComponent* AComponent, TOperation Operation) {
  TLumTransformed::Notification(AComponent, Operation);
  if (Operation != opRemove) return;
  if (AComponent && AComponent == FView) SetView(nullptr);
  if (AComponent && AComponent == FNode) SetNode(nullptr);
}

// --- TLumCustomNode --------------------------------------------------------------------

void TLumCustomNode::CheckLink(const TLumRender* Item) const {
  // Deliberately beyond refusing a node in itself: a link that closes any cycle would
  // make rendering and saving recurse without end. Only nodes hold others, and the walk
  // goes up through this node's holders, so it costs the depth, not the scene's size.
  if (Item == this) throw Exception("Can not create a link to myself.");
  // Asked of the item rather than cast: a load checks every object it adds.
  const TLumCustomNode* ItemNode = Item ? const_cast<TLumRender*>(Item)->AsNode() : nullptr;
  if (!ItemNode || ItemNode->FHeldCount == 0) return;
  std::vector<const TLumCustomNode*> Pending{this};
  std::unordered_set<const TLumCustomNode*> Seen{this};
  while (!Pending.empty()) {
    const TLumCustomNode* N = Pending.back();
    Pending.pop_back();
    auto Visit = [&](const TLumCustomNode* H) {
      if (H == Item) throw Exception("Can not create a link to myself.");
      if (Seen.insert(H).second) Pending.push_back(H);
    };
    if (!N->FMoreHoldings) {
      if (N->FHolding.Node) Visit(N->FHolding.Node);
    } else {
      for (const auto& Held : N->FMoreHoldings->ByNode) Visit(Held.first);
    }
  }
}

void TLumCustomNode::Held(TLumRender* Item, TRankedList::TLeaf* From, TRankedList::TLeaf* To) {
  if (!From) {
    if (Item->AddHolding(this, To)) Item->FreeNotification(this);
    ++FHeldCount;
    return;
  }
  if (To) return Item->MoveHolding(this, From, To);
  --FHeldCount;
  if (Item->DropHolding(this, From) && Item->Node() != this) Item->RemoveFreeNotification(this);
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumcompProperties() {
  TLumClassTable<TLumCustomView, TComponent>("TLumCustomView", "",
                                             "The view as render components see it");
  TLumClassTable<TLumComponent, TComponent>("TLumComponent", "", "A component of the scene format");

  TLumClassTable<TLumTransformed, TLumComponent> Transformed("TLumTransformed", "",
                                                             "A component with a transformation");
  Transformed
      .Object("Transformation", &TLumTransformed::Transformation,
              &TLumTransformed::SetTransformation, "Rotation, scale and translation")
      .Exchange()
      .Hidden()
      .Field(&TLumTransformed::FTransformation);

  TLumClassTable<TLumRender, TLumTransformed> Render("TLumRender", "",
                                                     "A component that renders in a view");
  // Assign copies Enabled and OnTransform; a copy keeps its own node, view, cache and
  // projection.
  Render
      .Boolean("Enabled", &TLumRender::Enabled, &TLumRender::SetEnabled, true,
               "Rendered; when off it only switches its feature off")
      .Exchange()
      .Field(&TLumRender::FEnabled);
  // Node membership is held by the node's list of items in form files.
  Render
      .Component("Node", &TLumRender::Node, &TLumRender::SetNode, true,
                 "The node that contains the component")
      .NotStored()
      .Accept([](const TPersistent* Self, const TComponent* C) { return C != Self; });
  Render
      .Component("View", &TLumRender::View, &TLumRender::SetView, true,
                 "The view whose GL context holds the display list")
      .Hidden();
  Render
      .Boolean("Cached", &TLumRender::Cached, &TLumRender::SetCached, false,
               "Compiles the drawing into a display list")
      .Exchange()
      .Hidden();
  Render
      .Event("OnTransform", "TNotifyEvent", &TLumRender::OnTransform,
             "Places the component instead of its transformation")
      .Hidden()
      .Copied();
  Render
      .Event("OnAfterRender", "TLumRenderEvent", &TLumRender::OnAfterRender,
             "Raised after the component is drawn")
      .Hidden();
  Render
      .Event("OnBeforeRender", "TLumRenderEvent", &TLumRender::OnBeforeRender,
             "Raised before the component is drawn")
      .Hidden();
  Render
      .Boolean("ProjectionEnabled", &TLumRender::ProjectionEnabled,
               &TLumRender::SetProjectionEnabled, false,
               "Keeps the modelview matrix at which the component was last drawn")
      .Hidden();

  TLumClassTable<TLumCustomNode, TLumRender>("TLumCustomNode", "",
                                             "The container of render components");
}

}  // namespace lumox
