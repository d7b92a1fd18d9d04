// The controllers driven through a view's input entry points: motion of a camera's
// transformation after scripted key and mouse input (a table per controller), and the
// setter rules.
#include "lumox/control/lumcntrl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"
#include "support/propvalues.h"

using namespace lumox;

namespace {

// A camera at translation (0, 0, -2) moved by a controller C through a view.
template <typename C>
struct Rig {
  Rig() {
    Ctl->SetControlled(Cam);
    View->SetController(Ctl);
  }
  void Keys(const std::vector<uint16_t>& Keys) {
    for (uint16_t K : Keys) View->KeyDown(K, {});
  }
  // Translation x, y, z and rotation x, y of the camera.
  void Expect(double X, double Y, double Z, double RX, double RY) const {
    const TLumTransformation* T = Cam->Transformation();
    EXPECT_NEAR(T->Translation()->X(), X, 1e-5);
    EXPECT_NEAR(T->Translation()->Y(), Y, 1e-5);
    EXPECT_NEAR(T->Translation()->Z(), Z, 1e-5);
    EXPECT_NEAR(T->Rotation()->X(), RX, 1e-4);
    EXPECT_NEAR(T->Rotation()->Y(), RY, 1e-4);
  }
  TComponent Form{nullptr};
  TLumView* View = new TLumView(&Form);
  TLumPerspectiveCamera* Cam = new TLumPerspectiveCamera(&Form);
  C* Ctl = new C(&Form);
};

bool Handles(TLumCustomController* C, uint16_t Key) { return C->HandleKey(Key, {}); }

}  // namespace

TEST(CarControllerTest, KeysSetSpeedAndHeadingAndMoveFollowsThem) {
  struct Case {
    std::vector<uint16_t> Keys;
    float TurnAngle, ReverseSpeed, Speed, RotY, X, Z;  // after two calls of Move
  };
  const Case Cases[] = {
      {{VK_UP, VK_UP, VK_UP}, 1, 0, 0.15f, 0, 0, -1.7f},  // heading 0 drives along +z
      {{VK_RIGHT, VK_UP}, 90, 0, 0.05f, 90, -0.1f, -2},   // heading 90 along -x
      {{VK_LEFT, VK_UP}, 90, 0, 0.05f, 270, 0.1f, -2},    // a left turn wraps to 270
      {{VK_UP, VK_DOWN, VK_DOWN}, 1, 0, 0, 0, 0, -2},     // no reverse gear by default
      {std::vector<uint16_t>(7, VK_DOWN), 1, -0.5f, -0.5f, 0, 0, -3},
      {std::vector<uint16_t>(25, VK_UP), 1, 0, 1, 0, 0, 0},  // MaxSpeed is the limit
  };
  for (const Case& C : Cases) {
    Rig<TLumCarController> S;
    S.Ctl->SetTurnAngle(C.TurnAngle);
    S.Ctl->SetReverseSpeed(C.ReverseSpeed);
    S.Keys(C.Keys);
    S.Ctl->Move();
    S.Ctl->Move();
    EXPECT_NEAR(S.Ctl->CurrentSpeed(), C.Speed, 1e-5);
    S.Expect(C.X, 0, C.Z, 0, C.RotY);
  }
}

TEST(CarControllerTest, SettersClampAndSignalNothing) {
  Rig<TLumCarController> S;
  TLumCarController* Car = S.Ctl;
  int Changes = 0;
  Car->OnChange = [&](TObject*) { ++Changes; };
  Car->SetCurrentSpeed(5);
  EXPECT_EQ(Car->CurrentSpeed(), 1.0f);
  Car->SetMaxSpeed(0.4f);  // lowers the speed at once
  EXPECT_EQ(Car->CurrentSpeed(), 0.4f);
  Car->SetMaxSpeed(-1), Car->SetReverseSpeed(1), Car->SetAcceleration(-1);
  Car->SetBraking(-1), Car->SetTurnAngle(-1);
  const float Kept[] = {Car->MaxSpeed(), Car->ReverseSpeed(), Car->Acceleration(), Car->Braking(),
                        Car->TurnAngle()};
  EXPECT_EQ(std::vector<float>(Kept, Kept + 5), (std::vector<float>{0.4f, 0, 0.05f, 0.1f, 1}));
  Car->SetCurrentSpeed(-3), Car->SetReverseSpeed(-0.2f), Car->SetCurrentSpeed(-3);
  EXPECT_EQ(Car->CurrentSpeed(), -0.2f);
  EXPECT_EQ(Changes, 0);
  EXPECT_FALSE(Handles(Car, VK_HOME));

  Car->SetEyeHeight(1.5f);  // the camera's Translation.Y
  S.Expect(0, 1.5, -2, 0, 0);
  delete S.Cam;
  Car->SetEyeHeight(2);  // nothing controlled (the camera is gone): nothing to set
  EXPECT_TRUE(Car->Controlled() == nullptr && Car->EyeHeight() == 0.0f);
}

TEST(PersonControllerTest, KeysStepTurnAndNod) {
  struct Case {
    std::vector<uint16_t> Keys;
    float RotX, RotY, Z;
  };
  const Case Cases[] = {
      {{VK_UP, VK_UP, VK_DOWN}, 0, 0, -1.9f},
      {{VK_PRIOR, VK_PRIOR}, 358, 0, -2},
      {{VK_NEXT, VK_NEXT, VK_HOME, VK_NEXT}, 1, 0, -2},
      {{VK_NEXT, VK_UP}, 1, 0, -1.9f},  // the nod does not tilt the step
      {{VK_LEFT, VK_RIGHT, VK_RIGHT}, 0, 1, -2},
  };
  for (const Case& C : Cases) {
    Rig<TLumPersonController> S;
    S.Keys(C.Keys);
    S.Expect(0, 0, C.Z, C.RotX, C.RotY);
  }
  Rig<TLumPersonController> S;
  EXPECT_FALSE(Handles(S.Ctl, VK_END));
}

TEST(MouseControllerTest, DragsMoveAndTurn) {
  // Per pixel: kM = (128 + 5) / 50000 units, kT = (128 + 5) / 2000 degrees.
  const double KM = 133 / 50000.0, KT = 133 / 2000.0;
  const TLumCntrlFlags All{teMoveX, teMoveY, teMoveZ, teTurnX, teTurnY, teTurnZ};
  struct Case {
    TMouseButton Button;
    bool Switch;
    TLumCntrlFlags Flags;
    double X, Y, Z, RotY;
  };
  // Press at (10, 10), move to (20, 30): dX = 10, dY = 20.
  const Case Cases[] = {
      {mbLeft, false, All, 0, 20 * KM, -2, 10 * KT},
      {mbLeft, false, {teMoveY}, 0, 20 * KM, -2, 0},
      {mbRight, true, All, 0, 20 * KM, -2, 10 * KT},
      // Sideways by dX along CalcVecX(0, 0, 0) = (1, 0, 0), forward by -dY along
      // CalcVecZ(0, 0, 0) = (1, 0, 1).
      {mbRight, false, All, 10 * KM, 0, -2 - 20 * KM, 0},
      {mbRight, false, {teMoveZ}, 20 * KM, 0, -2 - 20 * KM, 0},
      {mbMiddle, false, All, 0, 0, -2, 0},
  };
  for (const Case& C : Cases) {
    Rig<TLumMouseController> S;
    S.Ctl->SetSwitchButtons(C.Switch);
    S.Ctl->SetCntrlFlags(C.Flags);
    S.View->MouseDown(C.Button, {}, 10, 10);
    S.View->MouseMove({}, 20, 30);
    S.Expect(C.X, C.Y, C.Z, 0, C.RotY);
  }
}

TEST(MouseControllerTest, DragStateReportedMotionAndSensitivityFloor) {
  Rig<TLumMouseController> S;
  TLumMouseController* M = S.Ctl;
  EXPECT_FALSE(M->HandleMouseMove({}, 5, 6));  // no drag: only the position is kept
  EXPECT_EQ(M->LastY(), 6);
  EXPECT_FALSE(M->HandleMouseDown(mbLeft, {}, 1, 1));
  for (TMouseButton B : {mbMiddle, mbExtra1, mbExtra2}) {
    M->HandleMouseDown(B, {}, 1, 1);  // leaves the drag as it is
    EXPECT_EQ(M->DragState(), 1);
  }
  M->HandleMouseUp(mbExtra1, {}, 1, 1);  // any release ends it
  EXPECT_EQ(M->DragState(), 0);
  M->HandleMouseDown(mbExtra2, {}, 1, 1);  // and starts none
  EXPECT_EQ(M->DragState(), 0);
  M->HandleMouseDown(mbLeft, {}, 1, 1);
  M->SetCntrlFlags({});
  EXPECT_TRUE(M->HandleMouseMove({}, 3, 3));  // a drag reports motion even when none is allowed
  S.Expect(0, 0, -2, 0, 0);
  EXPECT_FALSE(M->HandleMouseUp(mbRight, {}, 3, 3));
  EXPECT_EQ(M->DragState(), 0);
  M->SetTurnSensitivity(0), M->SetMoveSensitivity(-5);  // sensitivities are at least one
  EXPECT_TRUE(M->TurnSensitivity() == 1 && M->MoveSensitivity() == 1);
}

TEST(MouseControllerTest, ViewingDirection) {
  TComponent Form(nullptr);
  TLumMouseController M(&Form);
  const double Cases[][7] = {
      // x, y, z in, the vector out, tolerance
      {0.3, 1.0, 0.2, 0.729152897030, -0.449337355970, 0.516170507955, 1e-9},
      // y beyond pi takes the other branch of the arc sine.
      {0.3, 4.0, 0.2, -0.649878352207, 0.433267610174, -0.624449601895, 1e-9},
      // Negative y is brought into 0..2 pi first, however far below zero it is.
      {0.3, -2.0, 0.2, -0.792658344567, 0.462210547495, -0.397560257788, 1e-9},
      {0.3, -2.0 - 2 * M_PI * 1e7, 0.2, -0.792658344567, 0.462210547495, -0.397560257788, 1e-6},
  };
  for (const auto& C : Cases) {
    const TLumMathVector V = M.CalcVecZ(C[0], C[1], C[2]);
    EXPECT_NEAR(V.X, C[3], C[6]) << C[1];
    EXPECT_NEAR(V.Y, C[4], C[6]) << C[1];
    EXPECT_NEAR(V.Z, C[5], C[6]) << C[1];
  }
  // An infinite angle gives no vector (and returns rather than adding 2 pi for ever).
  const TLumMathVector None = M.CalcVecZ(0.1, -INFINITY, 0.1);
  EXPECT_TRUE(std::isnan(None.X) && std::isnan(None.Y) && std::isnan(None.Z));
}

// Assign copies a controller's own settings from one of its class, and what it controls
// from any controller; the car and the person take the eye height through its setter.
TEST(ControllerAssignTest, CopiesOwnSettingsAndTheControlledObject) {
  Rig<TLumCarController> Car, CarCopy;
  // A reverse speed first, so that the current speed may be below zero.
  Car.Ctl->SetMaxSpeed(2), Car.Ctl->SetReverseSpeed(-1), Car.Ctl->SetCurrentSpeed(-0.5f);
  Car.Ctl->SetAcceleration(0.3f), Car.Ctl->SetBraking(0.4f), Car.Ctl->SetTurnAngle(5);
  Car.Ctl->SetEyeHeight(1.25f);
  CarCopy.Ctl->Assign(Car.Ctl);
  EXPECT_EQ(CarCopy.Ctl->Controlled(), Car.Cam);
  test::ExpectSameValues(Car.Ctl, CarCopy.Ctl, "car");
  // CarCopy's own camera got the eye height before the controlled object changed.
  EXPECT_EQ(CarCopy.Cam->Transformation()->Translation()->Y(), 1.25f);

  Rig<TLumPersonController> Person, PersonCopy;
  Person.Ctl->SetStepLength(0.5f), Person.Ctl->SetTurnAngle(3), Person.Ctl->SetEyeHeight(1.7f);
  PersonCopy.Ctl->Assign(Person.Ctl);
  test::ExpectSameValues(Person.Ctl, PersonCopy.Ctl, "person");
  EXPECT_EQ(PersonCopy.Cam->Transformation()->Translation()->Y(), 1.7f);

  Rig<TLumMouseController> Mouse, MouseCopy;
  Mouse.Ctl->SetTurnSensitivity(9), Mouse.Ctl->SetMoveSensitivity(11);
  Mouse.Ctl->SetCntrlFlags({teMoveZ}), Mouse.Ctl->SetSwitchButtons(true);
  MouseCopy.Ctl->Assign(Mouse.Ctl);
  test::ExpectSameValues(Mouse.Ctl, MouseCopy.Ctl, "mouse");

  Rig<TLumPresentationController> Show, ShowCopy;
  Show.Ctl->SetTurnAngle(2), Show.Ctl->SetDistanceStep(0.5f), Show.Ctl->SetMode(pmRight);
  ShowCopy.Ctl->Assign(Show.Ctl);
  test::ExpectSameValues(Show.Ctl, ShowCopy.Ctl, "presentation");
  EXPECT_EQ(ShowCopy.Ctl->Controlled(), Show.Cam);

  // From a controller of another class only what is controlled is copied.
  Rig<TLumPersonController> Other;
  Other.Ctl->Assign(Show.Ctl);
  EXPECT_TRUE(Other.Ctl->Controlled() == Show.Cam && Other.Ctl->StepLength() == 0.1f);
}

TEST(PresentationControllerTest, KeysSetModeAndDistanceAndPresentTurns) {
  struct Case {
    std::vector<uint16_t> Keys;
    TLumPresentationMode Mode;
    float RotY, Distance;  // after three calls of Present
  };
  const Case Cases[] = {
      {{VK_LEFT}, pmLeft, 357, -2},
      {{VK_RIGHT}, pmRight, 3, -2},
      {{VK_RIGHT, VK_END}, pmStop, 0, -2},
      {{VK_UP, VK_UP, VK_DOWN, VK_UP}, pmStop, 0, -1.8f},
  };
  for (const Case& C : Cases) {
    Rig<TLumPresentationController> S;
    EXPECT_EQ(S.Cam->Transformation()->Order(), toTraRotSca);
    S.Keys(C.Keys);
    for (int I = 0; I < 3; ++I) S.Ctl->Present();
    EXPECT_EQ(S.Ctl->Mode(), C.Mode);
    S.Expect(0, 0, C.Distance, 0, C.RotY);
  }
  Rig<TLumPresentationController> S;
  EXPECT_FALSE(Handles(S.Ctl, VK_HOME));
}
