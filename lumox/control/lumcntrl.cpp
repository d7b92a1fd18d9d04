// The controller interface: the controlled reference and handlers that do nothing.
#include "lumox/control/lumcntrl.h"

namespace lumox {

TLumCustomController::~TLumCustomController() { Destroying(); }

void TLumCustomController::SetControlled(TLumTransformed* Value) {
  if (Value == FControlled) return;
  if (FControlled) RemoveFreeNotification(FControlled);
  FControlled = Value;
  if (Value) Value->FreeNotification(this);
}

bool TLumCustomController::HandleKey(uint16_t&, TShiftState) { return false; }
bool TLumCustomController::HandleMouseMove(TShiftState, int, int) { return false; }
bool TLumCustomController::HandleMouseDown(TMouseButton, TShiftState, int, int) { return false; }
bool TLumCustomController::HandleMouseUp(TMouseButton, TShiftState, int, int) { return false; }

void TLumCustomController::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumCustomController*>(Source)) SetControlled(C->FControlled);
  TLumComponent::Assign(Source);
}

void TLumCustomController::Notification(TComponent* AComponent, TOperation Operation) {
  TLumComponent::Notification(AComponent, Operation);
  if (Operation == opRemove && AComponent && AComponent == FControlled) FControlled = nullptr;
}

}  // namespace lumox
