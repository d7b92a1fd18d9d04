// The controllers: key tables, motion formulas and setter rules.
#include "lumox/control/lumcntrl.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "lumox/host/proptable.h"

namespace lumox {

const char* const TLumCntrlFlagStr[6] = {"teMoveX", "teMoveY", "teMoveZ",
                                         "teTurnX", "teTurnY", "teTurnZ"};
const char* const TLumPresentationModeStr[3] = {"pmStop", "pmLeft", "pmRight"};

namespace {
constexpr double Pi = std::numbers::pi;
double Radians(float Degrees) { return Degrees / 180.0 * Pi; }
}  // namespace

// --- TLumCustomController ------------------------------------------------------------------

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
  if (auto* C = dynamic_cast<TLumCustomController*>(Source)) CopyPublished(this, C);
  TLumComponent::Assign(Source);
}

void TLumCustomController::Notification(TComponent* AComponent, TOperation Operation) {
  TLumComponent::Notification(AComponent, Operation);
  if (Operation == opRemove && AComponent && AComponent == FControlled) FControlled = nullptr;
}

void TLumCustomController::ControlWithOrder(TLumTransformed* Value, TLumTransformationOrder Order) {
  TLumCustomController::SetControlled(Value);
  if (Value) Value->Transformation()->SetOrder(Order);
}

void TLumCustomController::MoveAlongHeading(float S) {
  if (!FControlled) return;
  TLumTranslation* T = FControlled->Transformation()->Translation();
  const double A = (90.0 - FControlled->Transformation()->Rotation()->Y()) / 180.0 * Pi;
  T->SetX(static_cast<float>(T->X() - std::cos(A) * S));
  T->SetZ(static_cast<float>(T->Z() + std::sin(A) * S));
}

float TLumCustomController::GetEyeHeight() const {
  return FControlled ? FControlled->Transformation()->Translation()->Y() : 0.0f;
}

void TLumCustomController::PutEyeHeight(float Value) {
  if (FControlled) FControlled->Transformation()->Translation()->SetY(Value);
}

// --- TLumCarController ------------------------------------------------------------------------

void TLumCarController::SetCurrentSpeed(float Value) {
  if (Value == FCurrentSpeed) return;
  FCurrentSpeed = Value;
  if (FCurrentSpeed > FMaxSpeed) FCurrentSpeed = FMaxSpeed;
  if (FCurrentSpeed < FReverseSpeed) FCurrentSpeed = FReverseSpeed;
}

void TLumCarController::SetMaxSpeed(float Value) {
  if (Value == FMaxSpeed || !(Value >= 0.0f)) return;
  FMaxSpeed = Value;
  if (FCurrentSpeed > FMaxSpeed) FCurrentSpeed = FMaxSpeed;
}

void TLumCarController::SetReverseSpeed(float Value) {
  if (Value == FReverseSpeed || !(Value <= 0.0f)) return;
  FReverseSpeed = Value;
  if (FCurrentSpeed < FReverseSpeed) FCurrentSpeed = FReverseSpeed;
}

void TLumCarController::SetAcceleration(float Value) {
  if (Value >= 0.0f) FAcceleration = Value;
}

void TLumCarController::SetBraking(float Value) {
  if (Value >= 0.0f) FBraking = Value;
}

void TLumCarController::SetTurnAngle(float Value) {
  if (Value >= 0.0f) FTurnAngle = Value;
}

void TLumCarController::SetControlled(TLumTransformed* Value) {
  ControlWithOrder(Value, toRotTraSca);
}

bool TLumCarController::HandleKey(uint16_t& Key, TShiftState) {
  switch (Key) {
    case VK_LEFT:
      Turn(-FTurnAngle);
      return true;
    case VK_UP:
      Accelerate(FAcceleration);
      return true;
    case VK_RIGHT:
      Turn(FTurnAngle);
      return true;
    case VK_DOWN:
      Brake(FBraking);
      return true;
    default:
      return false;
  }
}

void TLumCarController::Turn(float Angle) {
  if (TLumTransformed* C = Controlled()) {
    TLumRotation* R = C->Transformation()->Rotation();
    R->SetY(R->Y() + Angle);
  }
}

void TLumCarController::Accelerate(float Amount) {
  SetCurrentSpeed(std::min(FCurrentSpeed + std::abs(Amount), FMaxSpeed));
}

void TLumCarController::Brake(float Amount) {
  SetCurrentSpeed(std::max(FCurrentSpeed - std::abs(Amount), FReverseSpeed));
}

void TLumCarController::Stop() { SetCurrentSpeed(0.0f); }

void TLumCarController::Move() { MoveAlongHeading(FCurrentSpeed); }

void TLumCarController::Assign(TPersistent* Source) {
  // Not the table's copy: the speeds go through their setters, CurrentSpeed after the two
  // limits that clamp it, where it is published first.
  if (auto* C = dynamic_cast<TLumCarController*>(Source)) {
    SetMaxSpeed(C->FMaxSpeed);
    SetReverseSpeed(C->FReverseSpeed);
    SetCurrentSpeed(C->FCurrentSpeed);
    FAcceleration = C->FAcceleration;
    FBraking = C->FBraking;
    FTurnAngle = C->FTurnAngle;
    SetEyeHeight(C->EyeHeight());
  }
  TLumCustomController::Assign(Source);
}

// --- TLumPersonController ---------------------------------------------------------------------

void TLumPersonController::SetStepLength(float Value) {
  if (Value > 0.0f) FStepLength = Value;
}

void TLumPersonController::SetTurnAngle(float Value) {
  if (Value > 0.0f) FTurnAngle = Value;
}

void TLumPersonController::SetControlled(TLumTransformed* Value) {
  ControlWithOrder(Value, toRotTraSca);
}

bool TLumPersonController::HandleKey(uint16_t& Key, TShiftState) {
  switch (Key) {
    case VK_PRIOR:
      NodHead(-FTurnAngle);
      return true;
    case VK_NEXT:
      NodHead(FTurnAngle);
      return true;
    case VK_HOME:
      HeadForward();
      return true;
    case VK_LEFT:
      Turn(-FTurnAngle);
      return true;
    case VK_UP:
      Move(FStepLength);
      return true;
    case VK_RIGHT:
      Turn(FTurnAngle);
      return true;
    case VK_DOWN:
      Move(-FStepLength);
      return true;
    default:
      return false;  // VK_END among them
  }
}

void TLumPersonController::Move(float Distance) { MoveAlongHeading(Distance); }

void TLumPersonController::Turn(float Angle) {
  if (TLumTransformed* C = Controlled()) {
    TLumRotation* R = C->Transformation()->Rotation();
    R->SetY(R->Y() + Angle);
  }
}

void TLumPersonController::NodHead(float Angle) {
  if (TLumTransformed* C = Controlled()) {
    TLumRotation* R = C->Transformation()->Rotation();
    R->SetX(R->X() + Angle);
  }
}

void TLumPersonController::HeadForward() {
  if (TLumTransformed* C = Controlled()) C->Transformation()->Rotation()->SetX(0.0f);
}

void TLumPersonController::Assign(TPersistent* Source) {
  if (auto* P = dynamic_cast<TLumPersonController*>(Source)) CopyPublished(this, P);
  TLumCustomController::Assign(Source);
}

// --- TLumMouseController ------------------------------------------------------------------------

void TLumMouseController::SetTurnSensitivity(int32_t Value) {
  FTurnSensitivity = std::max(Value, int32_t{1});
}

void TLumMouseController::SetMoveSensitivity(int32_t Value) {
  FMoveSensitivity = std::max(Value, int32_t{1});
}

void TLumMouseController::SetControlled(TLumTransformed* Value) {
  ControlWithOrder(Value, toRotTraSca);
}

bool TLumMouseController::HandleMouseDown(TMouseButton Button, TShiftState, int X, int Y) {
  const TMouseButton Primary = FSwitchButtons ? mbRight : mbLeft;
  const TMouseButton Secondary = FSwitchButtons ? mbLeft : mbRight;
  if (Button == Primary)
    FDragState = 1;
  else if (Button == Secondary)
    FDragState = 2;
  FLastX = X;
  FLastY = Y;
  return false;
}

bool TLumMouseController::HandleMouseUp(TMouseButton, TShiftState, int, int) {
  FDragState = 0;
  return false;
}

bool TLumMouseController::HandleMouseMove(TShiftState, int X, int Y) {
  // Integer pixel differences times gains divided as floating point, passed as Single.
  const int32_t DX = X - FLastX, DY = Y - FLastY;
  const double KM = (FMoveSensitivity + 5) / 50000.0;
  const double KT = (FTurnSensitivity + 5) / 2000.0;
  if (FDragState == 1) {
    if (FCntrlFlags.Contains(teMoveY)) MoveY(static_cast<float>(DY * KM));
    if (FCntrlFlags.Contains(teTurnY)) TurnY(static_cast<float>(DX * KT));
  } else if (FDragState == 2) {
    if (FCntrlFlags.Contains(teMoveX)) MoveX(static_cast<float>(DX * KM));
    if (FCntrlFlags.Contains(teMoveZ)) MoveZ(static_cast<float>(-DY * KM));
  }
  FLastX = X;
  FLastY = Y;
  return FDragState == 1 || FDragState == 2;
}

void TLumMouseController::TurnY(float D) {
  if (TLumTransformed* C = Controlled()) C->Transformation()->Rotation()->incY(D);
}

void TLumMouseController::MoveY(float D) {
  if (TLumTransformed* C = Controlled()) {
    TLumTranslation* T = C->Transformation()->Translation();
    T->SetY(T->Y() + D);
  }
}

void TLumMouseController::MoveX(float D) {
  TLumTransformed* C = Controlled();
  if (!C) return;
  const TLumRotation* R = C->Transformation()->Rotation();
  const TLumMathVector V = CalcVecX(Radians(R->X()), Radians(R->Y()), Radians(R->Z()));
  TLumTranslation* T = C->Transformation()->Translation();
  T->SetX(static_cast<float>(T->X() - V.X * D));
  T->SetZ(static_cast<float>(T->Z() + V.Z * D));
}

void TLumMouseController::MoveZ(float D) {
  TLumTransformed* C = Controlled();
  if (!C) return;
  const TLumRotation* R = C->Transformation()->Rotation();
  const TLumMathVector V = CalcVecZ(Radians(R->X()), Radians(R->Y()), Radians(R->Z()));
  TLumTranslation* T = C->Transformation()->Translation();
  T->SetX(static_cast<float>(T->X() - V.X * D));
  T->SetY(static_cast<float>(T->Y() - V.Y * D));
  T->SetZ(static_cast<float>(T->Z() + V.Z * D));
}

TLumMathVector TLumMouseController::CalcVecX(double, double Y, double Z) const {
  return {std::cos(Y) * std::cos(Z), -(std::cos(Y) * std::sin(Z)), -std::sin(Y)};
}

TLumMathVector TLumMouseController::CalcVecZ(double X, double Y, double Z) const {
  double R = std::sqrt(std::pow(std::sin(Y) * std::cos(X), 2) + std::pow(std::sin(X), 2));
  // Angles far below zero (or infinite) would make the loop below endless or very long:
  // they are brought near zero at once.
  if (Y < -1e6) Y = std::fmod(Y, 2 * Pi);
  while (Y < 0) Y += 2 * Pi;
  if (R == 0) R = 1;
  double A = std::asin(std::sin(X) / R);
  if (Y > Pi && std::cos(A + Z) > 0) A = std::asin(std::sin(X) / R) + Pi;
  return {std::cos(A + Z) * R, -std::sin(A + Z) * R, std::cos(X) * std::cos(Y)};
}

void TLumMouseController::Assign(TPersistent* Source) {
  if (auto* M = dynamic_cast<TLumMouseController*>(Source)) CopyPublished(this, M);
  TLumCustomController::Assign(Source);
}

// --- TLumPresentationController
// --------------------------------------------------------------------

void TLumPresentationController::SetTurnAngle(float Value) {
  if (Value >= 0.0f) FTurnAngle = Value;
}

void TLumPresentationController::SetDistanceStep(float Value) {
  if (Value >= 0.0f) FDistanceStep = Value;
}

void TLumPresentationController::SetMode(TLumPresentationMode Value) {
  if (Value != FMode) FMode = Value;
}

float TLumPresentationController::Distance() const {
  return Controlled() ? Controlled()->Transformation()->Translation()->Z() : 0.0f;
}

void TLumPresentationController::SetDistance(float Value) {
  if (Controlled()) Controlled()->Transformation()->Translation()->SetZ(Value);
}

void TLumPresentationController::SetControlled(TLumTransformed* Value) {
  ControlWithOrder(Value, toTraRotSca);
}

bool TLumPresentationController::HandleKey(uint16_t& Key, TShiftState) {
  switch (Key) {
    case VK_END:
      SetMode(pmStop);
      return true;
    case VK_LEFT:
      SetMode(pmLeft);
      return true;
    case VK_RIGHT:
      SetMode(pmRight);
      return true;
    case VK_UP:
      SetDistance(Distance() + FDistanceStep);
      return true;
    case VK_DOWN:
      SetDistance(Distance() - FDistanceStep);
      return true;
    default:
      return false;  // VK_HOME among them
  }
}

void TLumPresentationController::Present() {
  TLumTransformed* C = Controlled();
  if (!C || FMode == pmStop) return;
  TLumRotation* R = C->Transformation()->Rotation();
  R->SetY(FMode == pmLeft ? R->Y() - FTurnAngle : R->Y() + FTurnAngle);
}

void TLumPresentationController::Assign(TPersistent* Source) {
  // EyeHeight and Distance, the controlled object's, are not copied.
  if (auto* P = dynamic_cast<TLumPresentationController*>(Source)) CopyPublished(this, P);
  TLumCustomController::Assign(Source);
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumcntrlProperties() {
  TLumClassTable<TLumCustomController, TLumComponent> Base(
      "TLumCustomController", "", "Turns a view's key and mouse input into motion");
  Base.Component("Controlled", &TLumCustomController::Controlled,
                 &TLumCustomController::SetControlled, true, "The camera or object it moves")
      .Copied();
  const TLumRange NotNegative = TLumRange::AtLeast(0);

  TLumClassTable<TLumCarController, TLumCustomController> Car(
      "TLumCarController", "Lumox", "Drives like a car: arrows steer and change speed");
  Car.Creatable();
  // It is clamped to MaxSpeed and ReverseSpeed, so it is read after them.
  Car.Single("CurrentSpeed", &TLumCarController::CurrentSpeed, &TLumCarController::SetCurrentSpeed,
             0.0f, "Distance per Move; negative when reversing")
      .LoadLast();
  Car.Single("MaxSpeed", &TLumCarController::MaxSpeed, &TLumCarController::SetMaxSpeed, 1.0f,
             "Highest speed, 0 or more")
      .Range(NotNegative);
  Car.Single("ReverseSpeed", &TLumCarController::ReverseSpeed, &TLumCarController::SetReverseSpeed,
             0.0f, "Lowest speed, 0 or less")
      .Range(TLumRange::AtMost(0));
  Car.Single("Acceleration", &TLumCarController::Acceleration, &TLumCarController::SetAcceleration,
             0.05f, "Speed gained per up arrow")
      .Range(NotNegative);
  Car.Single("Braking", &TLumCarController::Braking, &TLumCarController::SetBraking, 0.1f,
             "Speed lost per down arrow")
      .Range(NotNegative);
  Car.Single("TurnAngle", &TLumCarController::TurnAngle, &TLumCarController::SetTurnAngle, 1.0f,
             "Degrees turned per left or right arrow")
      .Range(NotNegative);
  Car.Single("EyeHeight", &TLumCarController::EyeHeight, &TLumCarController::SetEyeHeight,
             NoStoredDefault, "The controlled object's height (its translation's Y)");
  Car.DefineZero("CurrentSpeed", &TLumCarController::CurrentSpeed);
  Car.DefineZero("MaxSpeed", &TLumCarController::MaxSpeed);
  Car.DefineZero("ReverseSpeed", &TLumCarController::ReverseSpeed);
  Car.DefineZero("Acceleration", &TLumCarController::Acceleration);
  Car.DefineZero("Braking", &TLumCarController::Braking);
  Car.DefineZero("TurnAngle", &TLumCarController::TurnAngle);

  TLumClassTable<TLumPersonController, TLumCustomController> Person(
      "TLumPersonController", "Lumox", "Walks like a person: a step or a turn per key");
  Person.Creatable();
  Person
      .Single("StepLength", &TLumPersonController::StepLength, &TLumPersonController::SetStepLength,
              0.1f, "Distance of one step, above 0")
      .Range(TLumRange::Above(0))
      .Field(&TLumPersonController::FStepLength);
  Person
      .Single("TurnAngle", &TLumPersonController::TurnAngle, &TLumPersonController::SetTurnAngle,
              1.0f, "Degrees per turn or nod, above 0")
      .Range(TLumRange::Above(0))
      .Field(&TLumPersonController::FTurnAngle);
  Person
      .Single("EyeHeight", &TLumPersonController::EyeHeight, &TLumPersonController::SetEyeHeight,
              NoStoredDefault, "The controlled object's height (its translation's Y)")
      .Copied();
  Person.DefineZero("StepLength", &TLumPersonController::StepLength);
  Person.DefineZero("TurnAngle", &TLumPersonController::TurnAngle);

  TLumClassTable<TLumMouseController, TLumCustomController> Mouse(
      "TLumMouseController", "Lumox", "Drag to turn and move: left button turns, right moves");
  Mouse.Creatable();
  Mouse
      .Integer("TurnSensitivity", &TLumMouseController::TurnSensitivity,
               &TLumMouseController::SetTurnSensitivity, 128, "Turning gain, at least 1")
      .Range(TLumRange::AtLeast(1))
      .Field(&TLumMouseController::FTurnSensitivity);
  Mouse
      .Integer("MoveSensitivity", &TLumMouseController::MoveSensitivity,
               &TLumMouseController::SetMoveSensitivity, 128, "Moving gain, at least 1")
      .Range(TLumRange::AtLeast(1))
      .Field(&TLumMouseController::FMoveSensitivity);
  Mouse
      .SetOf("CntrlFlags", "TLumCntrlFlag", &TLumMouseController::CntrlFlags,
             &TLumMouseController::SetCntrlFlags, TLumCntrlFlagStr,
             TLumCntrlFlags{teMoveX, teMoveY, teMoveZ, teTurnX, teTurnY, teTurnZ},
             "The motions allowed (teTurnX and teTurnZ are kept but move nothing)")
      .Field(&TLumMouseController::FCntrlFlags);
  Mouse
      .Boolean("SwitchButtons", &TLumMouseController::SwitchButtons,
               &TLumMouseController::SetSwitchButtons, false,
               "Exchanges the left and right buttons' roles")
      .Field(&TLumMouseController::FSwitchButtons);

  TLumClassTable<TLumPresentationController, TLumCustomController> Show(
      "TLumPresentationController", "Lumox", "Turns the controlled object round on each Present");
  Show.Creatable();
  Show.Single("TurnAngle", &TLumPresentationController::TurnAngle,
              &TLumPresentationController::SetTurnAngle, 1.0f, "Degrees turned per Present")
      .Range(NotNegative)
      .Field(&TLumPresentationController::FTurnAngle);
  Show.Single("DistanceStep", &TLumPresentationController::DistanceStep,
              &TLumPresentationController::SetDistanceStep, 0.1f,
              "Change of Distance per up or down arrow")
      .Range(NotNegative)
      .Field(&TLumPresentationController::FDistanceStep);
  Show.Enum("Mode", "TLumPresentationMode", &TLumPresentationController::Mode,
            &TLumPresentationController::SetMode, TLumPresentationModeStr, pmStop,
            "Turning direction: stopped, left or right")
      .Field(&TLumPresentationController::FMode);
  Show.Single("EyeHeight", &TLumPresentationController::EyeHeight,
              &TLumPresentationController::SetEyeHeight, NoStoredDefault,
              "The controlled object's height (its translation's Y)");
  Show.Single("Distance", &TLumPresentationController::Distance,
              &TLumPresentationController::SetDistance, NoStoredDefault,
              "The controlled object's distance (its translation's Z)");
  Show.DefineZero("TurnAngle", &TLumPresentationController::TurnAngle);
  Show.DefineZero("DistanceStep", &TLumPresentationController::DistanceStep);
}

}  // namespace lumox
