// The controllers driven through a view's key and mouse entry points: motion of a
// camera's transformation after scripted input, one table per controller, and the
// setter rules.
#include "lumox/control/lumcntrl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"

using namespace lumox;

namespace {

// A camera (at translation (0, 0, -2)) moved by a controller through a view.
struct Rig {
  TComponent Form{nullptr};
  TLumView* View = new TLumView(&Form);
  TLumPerspectiveCamera* Cam = new TLumPerspectiveCamera(&Form);
  TLumTranslation* T() const { return Cam->Transformation()->Translation(); }
  TLumRotation* R() const { return Cam->Transformation()->Rotation(); }
  void Keys(const std::vector<uint16_t>& Keys) {
    for (uint16_t K : Keys) View->KeyDown(K, {});
  }
};

constexpr float Eps = 1e-5f;

}  // namespace

TEST(CarControllerTest, KeysSetSpeedAndHeadingAndMoveFollowsThem) {
  struct Case {
    std::vector<uint16_t> Keys;
    float TurnAngle, ReverseSpeed;
    int Moves;
    float Speed, RotY, X, Z;
  };
  const Case Cases[] = {
      // Heading 0 drives along +z only.
      {{VK_UP, VK_UP, VK_UP}, 1, 0, 2, 0.15f, 0, 0, -2 + 0.3f},
      // Heading 90 drives along -x; 270 (a left turn wrapped) along +x.
      {{VK_RIGHT, VK_UP}, 90, 0, 1, 0.05f, 90, -0.05f, -2},
      {{VK_LEFT, VK_UP, VK_UP}, 90, 0, 1, 0.1f, 270, 0.1f, -2},
      // No reverse gear by default: braking stops at 0.
      {{VK_UP, VK_DOWN, VK_DOWN}, 1, 0, 1, 0, 0, 0, -2},
      // With one, braking reaches it and stays there; the car backs off.
      {{VK_DOWN, VK_DOWN, VK_DOWN, VK_DOWN, VK_DOWN, VK_DOWN, VK_DOWN},
       1,
       -0.5f,
       1,
       -0.5f,
       0,
       0,
       -2.5f},
      // Up to MaxSpeed (1.0) and no further.
      {std::vector<uint16_t>(25, VK_UP), 1, 0, 1, 1.0f, 0, 0, -1},
  };
  for (const Case& C : Cases) {
    Rig S;
    auto* Car = new TLumCarController(&S.Form);
    Car->SetControlled(S.Cam);
    EXPECT_EQ(S.Cam->Transformation()->Order(), toRotTraSca);
    Car->SetTurnAngle(C.TurnAngle);
    Car->SetReverseSpeed(C.ReverseSpeed);
    S.View->SetController(Car);
    S.Keys(C.Keys);
    for (int I = 0; I < C.Moves; ++I) Car->Move();
    SCOPED_TRACE(testing::Message() << "case " << (&C - Cases));
    EXPECT_NEAR(Car->CurrentSpeed(), C.Speed, Eps);
    EXPECT_NEAR(S.R()->Y(), C.RotY, 1e-4);
    EXPECT_NEAR(S.T()->X(), C.X, Eps);
    EXPECT_NEAR(S.T()->Z(), C.Z, Eps);
  }
}

TEST(CarControllerTest, SettersClampSilently) {
  Rig S;
  auto* Car = new TLumCarController(&S.Form);
  int Changes = 0;
  Car->OnChange = [&](TObject*) { ++Changes; };
  Car->SetCurrentSpeed(5);  // clamped to MaxSpeed
  EXPECT_EQ(Car->CurrentSpeed(), 1.0f);
  Car->SetMaxSpeed(0.4f);  // lowers the speed at once
  EXPECT_EQ(Car->CurrentSpeed(), 0.4f);
  Car->SetMaxSpeed(-1);
  Car->SetReverseSpeed(0.5f);
  Car->SetAcceleration(-1);
  Car->SetBraking(-1);
  Car->SetTurnAngle(-1);
  EXPECT_EQ(Car->MaxSpeed(), 0.4f);
  EXPECT_EQ(Car->ReverseSpeed(), 0.0f);
  EXPECT_EQ(Car->Acceleration(), 0.05f);
  EXPECT_EQ(Car->Braking(), 0.1f);
  EXPECT_EQ(Car->TurnAngle(), 1.0f);
  Car->SetCurrentSpeed(-3);
  Car->SetReverseSpeed(-0.2f);
  EXPECT_EQ(Car->CurrentSpeed(), 0.0f);
  Car->SetCurrentSpeed(-3);
  EXPECT_EQ(Car->CurrentSpeed(), -0.2f);
  EXPECT_EQ(Changes, 0);

  // EyeHeight is the controlled object's Translation.Y, or nothing at all.
  Car->SetEyeHeight(1.5f);
  EXPECT_EQ(Car->EyeHeight(), 0.0f);
  Car->SetControlled(S.Cam);
  Car->SetEyeHeight(1.5f);
  EXPECT_EQ(S.T()->Y(), 1.5f);
  uint16_t Home = VK_HOME;
  EXPECT_FALSE(Car->HandleKey(Home, {}));

  auto* Copy = new TLumCarController(&S.Form);
  Copy->Assign(Car);
  EXPECT_EQ(Copy->Controlled(), S.Cam);
  EXPECT_EQ(Copy->MaxSpeed(), 0.4f);
  EXPECT_EQ(Copy->CurrentSpeed(), -0.2f);
  delete S.Cam;
  EXPECT_EQ(Car->Controlled(), nullptr);
  Car->Move();  // nothing to move
}

TEST(PersonControllerTest, KeysStepTurnAndNod) {
  struct Case {
    std::vector<uint16_t> Keys;
    float RotX, RotY, X, Z;
  };
  const Case Cases[] = {
      {{VK_UP, VK_UP, VK_DOWN}, 0, 0, 0, -1.9f},
      {{VK_PRIOR, VK_PRIOR}, 358, 0, 0, -2},
      {{VK_NEXT, VK_NEXT, VK_HOME, VK_NEXT}, 1, 0, 0, -2},
      // The nod does not tilt the step.
      {{VK_NEXT, VK_UP}, 1, 0, 0, -1.9f},
      {{VK_LEFT, VK_RIGHT, VK_RIGHT}, 0, 1, 0, -2},
  };
  for (const Case& C : Cases) {
    Rig S;
    auto* P = new TLumPersonController(&S.Form);
    P->SetControlled(S.Cam);
    S.View->SetController(P);
    S.Keys(C.Keys);
    SCOPED_TRACE(testing::Message() << "case " << (&C - Cases));
    EXPECT_NEAR(S.R()->X(), C.RotX, 1e-4);
    EXPECT_NEAR(S.R()->Y(), C.RotY, 1e-4);
    EXPECT_NEAR(S.T()->X(), C.X, Eps);
    EXPECT_NEAR(S.T()->Z(), C.Z, Eps);
  }
  TComponent Form(nullptr);
  auto* P = new TLumPersonController(&Form);
  uint16_t End = VK_END;
  EXPECT_FALSE(P->HandleKey(End, {}));
  P->SetStepLength(0);
  P->SetTurnAngle(-2);
  EXPECT_EQ(P->StepLength(), 0.1f);
  EXPECT_EQ(P->TurnAngle(), 1.0f);
}

TEST(MouseControllerTest, DragsMoveAndTurn) {
  // kM = (128 + 5) / 50000 per pixel of motion, kT = (128 + 5) / 2000 degrees.
  const double KM = 133 / 50000.0, KT = 133 / 2000.0;
  struct Case {
    TMouseButton Button;
    bool Switch;
    TLumCntrlFlags Flags;
    double X, Y, Z, RotY;
  };
  const TLumCntrlFlags All{teMoveX, teMoveY, teMoveZ, teTurnX, teTurnY, teTurnZ};
  // Press at (10, 10), move to (20, 30): dX = 10, dY = 20.
  const Case Cases[] = {
      {mbLeft, false, All, 0, 20 * KM, -2, 10 * KT},
      {mbLeft, false, {teMoveY}, 0, 20 * KM, -2, 0},
      {mbRight, true, All, 0, 20 * KM, -2, 10 * KT},
      // Sideways by dX along CalcVecX(0, 0, 0) = (1, 0, 0); forward by -dY along
      // CalcVecZ(0, 0, 0) = (1, 0, 1).
      {mbRight, false, All, -10 * KM + 20 * KM, 0, -2 - 20 * KM, 0},
      {mbRight, false, {teMoveZ}, 20 * KM, 0, -2 - 20 * KM, 0},
      {mbMiddle, false, All, 0, 0, -2, 0},
  };
  for (const Case& C : Cases) {
    Rig S;
    auto* M = new TLumMouseController(&S.Form);
    M->SetControlled(S.Cam);
    M->SetSwitchButtons(C.Switch);
    M->SetCntrlFlags(C.Flags);
    S.View->SetController(M);
    S.View->MouseDown(C.Button, {}, 10, 10);
    S.View->MouseMove({}, 20, 30);
    SCOPED_TRACE(testing::Message() << "case " << (&C - Cases));
    EXPECT_NEAR(S.T()->X(), C.X, Eps);
    EXPECT_NEAR(S.T()->Y(), C.Y, Eps);
    EXPECT_NEAR(S.T()->Z(), C.Z, Eps);
    EXPECT_NEAR(S.R()->Y(), C.RotY, 1e-4);
  }
}

TEST(MouseControllerTest, DragStateAndReportedMotion) {
  TComponent Form(nullptr);
  auto* M = new TLumMouseController(&Form);
  EXPECT_FALSE(M->HandleMouseMove({}, 5, 6));  // no drag: only the position is kept
  EXPECT_EQ(M->LastX(), 5);
  EXPECT_EQ(M->LastY(), 6);
  EXPECT_FALSE(M->HandleMouseDown(mbLeft, {}, 1, 1));
  EXPECT_EQ(M->DragState(), 1);
  M->HandleMouseDown(mbMiddle, {}, 1, 1);  // leaves the drag as it is
  EXPECT_EQ(M->DragState(), 1);
  M->SetCntrlFlags({});
  EXPECT_TRUE(M->HandleMouseMove({}, 3, 3));  // a drag reports motion even when none is allowed
  EXPECT_FALSE(M->HandleMouseUp(mbRight, {}, 3, 3));
  EXPECT_EQ(M->DragState(), 0);
  M->SetSwitchButtons(true);
  M->HandleMouseDown(mbLeft, {}, 0, 0);
  EXPECT_EQ(M->DragState(), 2);
  M->SetTurnSensitivity(0);
  M->SetMoveSensitivity(-5);
  EXPECT_EQ(M->TurnSensitivity(), 1);
  EXPECT_EQ(M->MoveSensitivity(), 1);
}

TEST(MouseControllerTest, DirectionVectors) {
  TComponent Form(nullptr);
  TLumMouseController M(&Form);
  const TLumMathVector X = M.CalcVecX(9, 0.5, 0.25);  // the x angle is not used
  EXPECT_NEAR(X.X, std::cos(0.5) * std::cos(0.25), 1e-12);
  EXPECT_NEAR(X.Y, -std::cos(0.5) * std::sin(0.25), 1e-12);
  EXPECT_NEAR(X.Z, -std::sin(0.5), 1e-12);
  struct Case {
    double X, Y, Z, RX, RY, RZ;
  };
  const Case Cases[] = {
      {0.3, 1.0, 0.2, 0.729152897030, -0.449337355970, 0.516170507955},
      // y beyond pi takes the other branch of the arc sine.
      {0.3, 4.0, 0.2, -0.649878352207, 0.433267610174, -0.624449601895},
      // Negative y is brought into 0..2 pi first.
      {0.3, -2.0, 0.2, -0.792658344567, 0.462210547495, -0.397560257788},
      // r = 0 counts as 1.
      {0, 0, 0, 1, 0, 1},
  };
  for (const Case& C : Cases) {
    const TLumMathVector V = M.CalcVecZ(C.X, C.Y, C.Z);
    EXPECT_NEAR(V.X, C.RX, 1e-9);
    EXPECT_NEAR(V.Y, C.RY, 1e-9);
    EXPECT_NEAR(V.Z, C.RZ, 1e-9);
  }
  M.CalcVecZ(0.1, -1e300, 0.1);  // returns rather than adding 2 pi for ever
  M.CalcVecZ(0.1, -INFINITY, 0.1);
}

TEST(PresentationControllerTest, KeysSetModeAndDistanceAndPresentTurns) {
  struct Case {
    std::vector<uint16_t> Keys;
    int Presents;
    TLumPresentationMode Mode;
    float RotY, Distance;
  };
  const Case Cases[] = {
      {{VK_LEFT}, 2, pmLeft, 358, -2},
      {{VK_RIGHT}, 3, pmRight, 3, -2},
      {{VK_RIGHT, VK_END}, 3, pmStop, 0, -2},
      {{VK_UP, VK_UP, VK_DOWN, VK_UP}, 0, pmStop, 0, -1.8f},
  };
  for (const Case& C : Cases) {
    Rig S;
    auto* P = new TLumPresentationController(&S.Form);
    P->SetControlled(S.Cam);
    EXPECT_EQ(S.Cam->Transformation()->Order(), toTraRotSca);
    S.View->SetController(P);
    S.Keys(C.Keys);
    for (int I = 0; I < C.Presents; ++I) P->Present();
    SCOPED_TRACE(testing::Message() << "case " << (&C - Cases));
    EXPECT_EQ(P->Mode(), C.Mode);
    EXPECT_NEAR(S.R()->Y(), C.RotY, 1e-4);
    EXPECT_NEAR(P->Distance(), C.Distance, Eps);
    EXPECT_NEAR(S.T()->Z(), C.Distance, Eps);
  }
  TComponent Form(nullptr);
  auto* P = new TLumPresentationController(&Form);
  uint16_t Home = VK_HOME;
  EXPECT_FALSE(P->HandleKey(Home, {}));
  P->SetDistance(3);  // nothing controlled: nothing to set
  EXPECT_EQ(P->Distance(), 0.0f);
  P->SetTurnAngle(-1);
  P->SetDistanceStep(-1);
  EXPECT_EQ(P->TurnAngle(), 1.0f);
  EXPECT_EQ(P->DistanceStep(), 0.1f);
}
