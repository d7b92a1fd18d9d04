// Controllers: components that turn a view's key and mouse input into motion of a
// transformed component. This holds the interface the view calls.
#pragma once

#include <cstdint>

#include "lumox/host/controls.h"
#include "lumox/scene/lumcomp.h"

namespace lumox {

class TLumCustomController : public TLumComponent {
 public:
  explicit TLumCustomController(TComponent* AOwner) : TLumComponent(AOwner) {}
  ~TLumCustomController() override;
  const char* ClassName() const override { return "TLumCustomController"; }

  // The camera or object moved by this controller; cleared when it dies.
  TLumTransformed* Controlled() const { return FControlled; }
  virtual void SetControlled(TLumTransformed* Value);
  // Each handler returns true when something moved and the view should repaint.
  virtual bool HandleKey(uint16_t& Key, TShiftState Shift);
  virtual bool HandleMouseMove(TShiftState Shift, int X, int Y);
  virtual bool HandleMouseDown(TMouseButton Button, TShiftState Shift, int X, int Y);
  virtual bool HandleMouseUp(TMouseButton Button, TShiftState Shift, int X, int Y);
  void Assign(TPersistent* Source) override;

 protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

 private:
  TLumTransformed* FControlled = nullptr;
};

}  // namespace lumox
