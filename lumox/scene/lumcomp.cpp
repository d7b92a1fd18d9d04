// The render protocol, display-list caching and node membership of scene components.
#include "lumox/scene/lumcomp.h"

#include <algorithm>
#include <unordered_set>
#include <cstdio>
#include <vector>

#include "lumox/exchange/lumexchange.h"
#include "lumox/math/lumgl.h"

namespace lumox {

const char* const TLumDrawModeStr[5] = {"dmWindow", "dmBitmap", "dmSelection", "dmPick",
                                        "dmNothing"};

static std::vector<TLumFrameResetHook>& FrameResetHooks() {
  static std::vector<TLumFrameResetHook> Hooks;
  return Hooks;
}

void RegisterFrameResetHook(TLumFrameResetHook Hook) {
  auto& Hooks = FrameResetHooks();
  for (auto H : Hooks)
    if (H == Hook) return;
  Hooks.push_back(Hook);
}

void RunFrameResetHooks(bool BeforeImage) {
  for (auto H : FrameResetHooks()) H(BeforeImage);
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

void TLumComponent::WriteValues(TLumExchange* Exchange) { Exchange->addtag("name", Name(), ""); }

void TLumComponent::ReadValues(TLumExchange* Exchange) {
  std::string N = Name();
  Exchange->getvalue("name", N);
  SetName(N);
}

void TLumComponent::WriteComp(TLumExchange* Exchange, const std::string& Tag) {
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

TObject* TLumComponent::ReadComp(TLumExchange*, TXMLTag*) { return nullptr; }

// --- TLumTransformed ------------------------------------------------------------------

TLumTransformed::TLumTransformed(TComponent* AOwner)
    : TLumComponent(AOwner), FTransformation(new TLumTransformation) {
  FTransformation->OnChange = [this](TObject* Sender) { SubChange(Sender); };
}

TLumTransformed::~TLumTransformed() { delete FTransformation; }

void TLumTransformed::SetTransformation(TLumTransformation* Value) {
  if (!Value) return;
  FTransformation->Assign(Value);
  Changed();
}

void TLumTransformed::SubChange(TObject*) { Changed(); }

void TLumTransformed::Assign(TPersistent* Source) {
  if (auto* T = dynamic_cast<TLumTransformed*>(Source)) FTransformation->Assign(T->FTransformation);
  TLumComponent::Assign(Source);
}

void TLumTransformed::WriteValues(TLumExchange* Exchange) {
  TLumComponent::WriteValues(Exchange);
  FTransformation->WriteComp(Exchange, "Transformation");
}

TObject* TLumTransformed::ReadComp(TLumExchange* Exchange, TXMLTag* Tag) {
  if (SameText(Tag->Name, "Transformation")) {
    FTransformation->ReadValues(Exchange);
    return FTransformation;
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

void TLumRender::SetEnabled(bool Value) {
  if (Value != FEnabled) {
    FEnabled = Value;
    Changed();
  }
}

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

void TLumRender::LinkNode(TLumCustomNode* NewNode) {
  if (FNode == NewNode) return;
  // Told when the node dies, whoever owns it, so the field never dangles.
  if (FNode) RemoveFreeNotification(FNode);
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

// Nesting of Render calls on this thread, the levels the modelview stack has room
// for below the outermost call, and the branches left out for want of room.
thread_local int RenderDepth = 0;
thread_local int RenderRoom = 0;
thread_local int RenderRefused = 0;

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
  TRenderLevel() { ++RenderDepth; }
  ~TRenderLevel() { --RenderDepth; }
};

}  // namespace

void SetRenderDiagnostics(TLumRenderMessageEvent Handler) {
  RenderDiagnostics() = std::move(Handler);
}

void TLumRender::Render(TLumCustomView* aView) {
  if (!FEnabled) {
    DoDisable(aView);
    return;
  }
  // A level deeper than the modelview stack holds would overflow it and draw with
  // wrong matrices: such a branch is left out and reported once for the frame.
  if (RenderDepth == 0) {
    GLint Max = 0, Used = 0;
    glGetIntegerv(GL_MAX_MODELVIEW_STACK_DEPTH, &Max);
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &Used);
    // Without a context the queries answer nothing: GL guarantees 32 levels.
    RenderRoom = Max > 0 ? Max - Used : 32;
    RenderRefused = RenderRoom > 0 ? 0 : 1;
    if (RenderRoom > 0) {
      TRenderLevel Level;
      RenderProtocol(aView);
    }
    if (RenderRefused > 0)
      ReportRenderMessage(
          "The scene is nested deeper than the OpenGL matrix stack allows (" +
          std::to_string(RenderRoom) + " levels); " + std::to_string(RenderRefused) +
          (RenderRefused == 1 ? " branch was" : " branches were") + " left out of the frame.");
    return;
  }
  if (RenderDepth >= RenderRoom) {
    ++RenderRefused;
    return;
  }
  TRenderLevel Level;
  RenderProtocol(aView);
}

void TLumRender::RenderProtocol(TLumCustomView* aView) {
  BeforeRender(aView);
  if (!FView && FCached) {
    // The first view that renders a cached component owns its cache.
    SetView(aView);
    FListId = 0;
  }
  // A drawing that fails (a mesh over its size limit) must not leave a list open or
  // the matrix pushed: the list is dropped and the stack balanced before it goes on.
  bool Compiling = false;
  try {
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
  } catch (...) {
    if (Compiling) {
      CloseCache();
      ClearCache();
    }
    glPopMatrix();
    throw;
  }
  AfterRender(aView);
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
  if (!glIsList(FListId)) FListId = 0;
  // Deliberately beyond the plain protocol: the list must hold all the state it draws
  // with, so the material, attributes and texture before it must not be skipped as
  // "last rendered". Otherwise it replays with whatever state precedes it later.
  RunFrameResetHooks(false);
}

void TLumRender::CloseCache() {
  if (FView && FListId != 0) glEndList();
}

void TLumRender::CallCache() {
  if (!FView) return;
  glCallList(FListId);
  // The list has left its own state behind: no last-rendered pointer tells the truth.
  RunFrameResetHooks(false);
}

void TLumRender::ClearCache() {
  if (!FView || FListId == 0) return;
  bool MadeCurrent = false;
  if (!FView->GetCurrent()) {
    FView->SetCurrent(true);
    MadeCurrent = FView->GetCurrent();
    if (!MadeCurrent) return;  // no context: the list is kept
  }
  glDeleteLists(FListId, 1);
  FListId = 0;
  if (MadeCurrent) FView->SetCurrent(false);
}

void TLumRender::Assign(TPersistent* Source) {
  if (auto* R = dynamic_cast<TLumRender*>(Source)) {
    FEnabled = R->FEnabled;
    OnTransform = R->OnTransform;
  }
  TLumTransformed::Assign(Source);
}

void TLumRender::WriteValues(TLumExchange* Exchange) {
  TLumTransformed::WriteValues(Exchange);
  Exchange->addtag("Enabled", FEnabled, true);
  Exchange->addtag("Cached", FCached, false);
}

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
  if (!dynamic_cast<const TLumCustomNode*>(Item)) return;
  std::vector<const TLumCustomNode*> Pending{this};
  std::unordered_set<const TLumCustomNode*> Seen{this};
  while (!Pending.empty()) {
    const TLumCustomNode* N = Pending.back();
    Pending.pop_back();
    for (const TLumCustomNode* H : N->FHolders) {
      if (H == Item) throw Exception("Can not create a link to myself.");
      if (Seen.insert(H).second) Pending.push_back(H);
    }
  }
}

void TLumCustomNode::Hold(TLumRender* Item, bool Value) {
  auto& H = Item->FHolders;
  if (Value)
    H.push_back(this);
  else
    H.erase(std::remove(H.begin(), H.end(), this), H.end());
}

}  // namespace lumox
