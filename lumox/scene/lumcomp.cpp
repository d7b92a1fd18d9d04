// The render protocol, display-list caching and node membership of scene components.
#include "lumox/scene/lumcomp.h"

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

void TLumRender::Render(TLumCustomView* aView) {
  if (!FEnabled) {
    DoDisable(aView);
    return;
  }
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
    DoRender(aView);
    if (FCached) CloseCache();
  } else {
    CallCache();
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
  ClearCache();
  FListId = glGenLists(1);
  // Compiled and executed at once, so the frame that builds the cache shows the
  // component too (a single off-screen frame would otherwise come out empty).
  glNewList(FListId, GL_COMPILE_AND_EXECUTE);
  // Drawing goes on uncompiled when no list was made; the next render tries again.
  if (!glIsList(FListId)) FListId = 0;
}

void TLumRender::CloseCache() {
  if (FView && FListId != 0) glEndList();
}

void TLumRender::CallCache() {
  if (FView) glCallList(FListId);
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

}  // namespace lumox
