// Controllers: components that turn a view's key and mouse input into motion of a
// transformed component (usually a camera): a car, a walking person, a mouse drag and
// a presentation turntable. Every motion goes through the setters of the controlled
// object's Rotation (degrees) and Translation, so each step notifies the owner and
// repaints the view that shows it. Controllers are not render classes: scene files
// (which hold render components) do not carry them.
#pragma once

#include <cstdint>

#include "lumox/host/controls.h"
#include "lumox/math/lummath.h"
#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumcntrlProperties();
}  // namespace detail

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
  // Sets Controlled and, when there is one, its transformation order.
  void ControlWithOrder(TLumTransformed* Value, TLumTransformationOrder Order);
  // Moves the controlled object by S in the horizontal plane along its heading
  // (Rotation.Y): X first, then Z.
  void MoveAlongHeading(float S);
  // The controlled object's Translation.Y (0 without one); written through its setter.
  float GetEyeHeight() const;
  void PutEyeHeight(float Value);

 private:
  TLumTransformed* FControlled = nullptr;
};

// Drives like a car: up and down arrows change the speed, left and right turn.
// Nothing moves until Move is called (by a timer, say) once per step. Controlling an
// object sets its transformation order to toRotTraSca. The setters of this class
// store silently: they signal no change.
class TLumCarController : public TLumCustomController {
 public:
  explicit TLumCarController(TComponent* AOwner) : TLumCustomController(AOwner) {}
  const char* ClassName() const override { return "TLumCarController"; }

  // Distance per Move; negative when reversing. Clamped to ReverseSpeed..MaxSpeed.
  float CurrentSpeed() const { return FCurrentSpeed; }
  void SetCurrentSpeed(float Value);
  // 0 or more; lowers CurrentSpeed to it.
  float MaxSpeed() const { return FMaxSpeed; }
  void SetMaxSpeed(float Value);
  // 0 or less; raises CurrentSpeed to it.
  float ReverseSpeed() const { return FReverseSpeed; }
  void SetReverseSpeed(float Value);
  // Speed gained per up-arrow press, 0 or more.
  float Acceleration() const { return FAcceleration; }
  void SetAcceleration(float Value);
  // Speed lost per down-arrow press, 0 or more.
  float Braking() const { return FBraking; }
  void SetBraking(float Value);
  // Degrees per left/right-arrow press, 0 or more.
  float TurnAngle() const { return FTurnAngle; }
  void SetTurnAngle(float Value);
  // The controlled object's Translation.Y; 0 and ignored without one.
  float EyeHeight() const { return GetEyeHeight(); }
  void SetEyeHeight(float Value) { PutEyeHeight(Value); }

  void SetControlled(TLumTransformed* Value) override;
  bool HandleKey(uint16_t& Key, TShiftState Shift) override;
  void Turn(float Angle);
  void Accelerate(float Amount);
  void Brake(float Amount);
  void Stop();
  // One step of CurrentSpeed along the heading.
  void Move();
  void Assign(TPersistent* Source) override;

 private:
  float FCurrentSpeed = 0.0f;
  float FMaxSpeed = 1.0f;
  float FReverseSpeed = 0.0f;
  float FAcceleration = 0.05f;
  float FBraking = 0.1f;
  float FTurnAngle = 1.0f;
};

// Walks like a person: up and down arrows step, left and right turn, page up and down
// nod the head, home looks straight ahead (end is not handled). Controlling an object
// sets its transformation order to toRotTraSca.
class TLumPersonController : public TLumCustomController {
 public:
  explicit TLumPersonController(TComponent* AOwner) : TLumCustomController(AOwner) {}
  const char* ClassName() const override { return "TLumPersonController"; }

  // Greater than 0.
  float StepLength() const { return FStepLength; }
  void SetStepLength(float Value);
  // Degrees per turn or nod, greater than 0.
  float TurnAngle() const { return FTurnAngle; }
  void SetTurnAngle(float Value);
  float EyeHeight() const { return GetEyeHeight(); }
  void SetEyeHeight(float Value) { PutEyeHeight(Value); }

  void SetControlled(TLumTransformed* Value) override;
  bool HandleKey(uint16_t& Key, TShiftState Shift) override;
  // A step along the heading; the nod does not tilt it.
  void Move(float Distance);
  void Turn(float Angle);
  void NodHead(float Angle);
  void HeadForward();
  void Assign(TPersistent* Source) override;

 private:
  float FStepLength = 0.1f;
  float FTurnAngle = 1.0f;
  friend void detail::RegisterLumcntrlProperties();
};

enum TLumCntrlFlag : uint8_t { teMoveX, teMoveY, teMoveZ, teTurnX, teTurnY, teTurnZ };
using TLumCntrlFlags = TLumSet<TLumCntrlFlag>;
extern const char* const TLumCntrlFlagStr[6];

// Turns and moves with mouse drags. Left drag: vertical motion moves along y, horizontal
// turns about y. Right drag: horizontal moves sideways, vertical moves along the
// viewing direction. SwitchButtons exchanges the buttons. teTurnX and teTurnZ are
// stored but no motion reads them. Controlling an object sets its transformation order
// to toRotTraSca.
class TLumMouseController : public TLumCustomController {
 public:
  explicit TLumMouseController(TComponent* AOwner) : TLumCustomController(AOwner) {}
  const char* ClassName() const override { return "TLumMouseController"; }

  // Turning gain: a pixel turns (TurnSensitivity + 5) / 2000 degrees. At least 1.
  int32_t TurnSensitivity() const { return FTurnSensitivity; }
  void SetTurnSensitivity(int32_t Value);
  // Moving gain: a pixel moves (MoveSensitivity + 5) / 50000 units. At least 1.
  int32_t MoveSensitivity() const { return FMoveSensitivity; }
  void SetMoveSensitivity(int32_t Value);
  TLumCntrlFlags CntrlFlags() const { return FCntrlFlags; }
  void SetCntrlFlags(TLumCntrlFlags Value) { FCntrlFlags = Value; }
  bool SwitchButtons() const { return FSwitchButtons; }
  void SetSwitchButtons(bool Value) { FSwitchButtons = Value; }
  // 0 none, 1 primary (left) drag, 2 secondary (right) drag.
  int32_t DragState() const { return FDragState; }
  int32_t LastX() const { return FLastX; }
  int32_t LastY() const { return FLastY; }

  void SetControlled(TLumTransformed* Value) override;
  // Starts a drag; reports false (nothing moved yet).
  bool HandleMouseDown(TMouseButton Button, TShiftState Shift, int X, int Y) override;
  // Ends any drag; reports false.
  bool HandleMouseUp(TMouseButton Button, TShiftState Shift, int X, int Y) override;
  // True during a drag, even when no flag allows a motion.
  bool HandleMouseMove(TShiftState Shift, int X, int Y) override;
  void MoveX(float D);
  void MoveY(float D);
  void MoveZ(float D);
  void TurnY(float D);
  // The sideways direction for rotation angles in radians (x is not used).
  TLumMathVector CalcVecX(double X, double Y, double Z) const;
  // The viewing direction for rotation angles in radians.
  TLumMathVector CalcVecZ(double X, double Y, double Z) const;
  void Assign(TPersistent* Source) override;

 private:
  int32_t FLastX = 0, FLastY = 0;
  int32_t FDragState = 0;
  int32_t FTurnSensitivity = 128;
  int32_t FMoveSensitivity = 128;
  TLumCntrlFlags FCntrlFlags{teMoveX, teMoveY, teMoveZ, teTurnX, teTurnY, teTurnZ};
  bool FSwitchButtons = false;
  friend void detail::RegisterLumcntrlProperties();
};

enum TLumPresentationMode : uint8_t { pmStop, pmLeft, pmRight };
extern const char* const TLumPresentationModeStr[3];

// Orbits the controlled object around the origin: left and right arrows start turning,
// end stops, up and down change the distance (home is not handled); Present turns one
// step and is meant to be called by a timer. Controlling an object sets its
// transformation order to toTraRotSca, so Rotation.Y orbits at Distance.
class TLumPresentationController : public TLumCustomController {
 public:
  explicit TLumPresentationController(TComponent* AOwner) : TLumCustomController(AOwner) {}
  const char* ClassName() const override { return "TLumPresentationController"; }

  // Degrees per Present, 0 or more.
  float TurnAngle() const { return FTurnAngle; }
  void SetTurnAngle(float Value);
  // Change of Distance per up/down press, 0 or more.
  float DistanceStep() const { return FDistanceStep; }
  void SetDistanceStep(float Value);
  TLumPresentationMode Mode() const { return FMode; }
  void SetMode(TLumPresentationMode Value);
  float EyeHeight() const { return GetEyeHeight(); }
  void SetEyeHeight(float Value) { PutEyeHeight(Value); }
  // The controlled object's Translation.Z; 0 and ignored without one.
  float Distance() const;
  void SetDistance(float Value);

  void SetControlled(TLumTransformed* Value) override;
  bool HandleKey(uint16_t& Key, TShiftState Shift) override;
  void Present();
  void Assign(TPersistent* Source) override;

 private:
  float FTurnAngle = 1.0f;
  float FDistanceStep = 0.1f;
  TLumPresentationMode FMode = pmStop;
  friend void detail::RegisterLumcntrlProperties();
};

}  // namespace lumox
