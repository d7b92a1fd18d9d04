// The controllers of lumox view: switching between them and the presentation's timer,
// through an injected clock.
#include "apps/lumox/viewcontrols.h"

#include <gtest/gtest.h>

#include "lumox/host/forms.h"
#include "lumox/view/lumcam.h"

using namespace lumox;
using namespace lumoxcmd;

namespace {

class ViewControlsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    TLumTimer::SetClock([this] { return Now; });
    Application()->SetActive(true);
  }
  void TearDown() override {
    Form.DestroyComponents();
    TLumTimer::SetClock(nullptr);
  }
  // Moves the clock on by Counts and runs one round of idle processing.
  void IdleAfter(int64_t Counts) {
    Now += Counts;
    Application()->ProcessIdle();
  }
  float Heading() const { return Camera->Transformation()->Rotation()->Y(); }
  int64_t Now = 0;
  TComponent Form{nullptr};
  TLumView* View = new TLumView(&Form);
  TLumPerspectiveCamera* Camera = new TLumPerspectiveCamera(&Form);
};

}  // namespace

TEST_F(ViewControlsTest, EachControllerSteersTheCameraAndOnlyThePresentationTicks) {
  TViewControls C(&Form, View, Camera);
  ASSERT_TRUE(C.Timer()->IdleInstalled());
  const struct {
    TViewController Kind;
    TLumCustomController* Controller;
  } Cases[] = {{vcMouse, C.Mouse()}, {vcPerson, C.Person()}, {vcPresentation, C.Presentation()}};
  for (const auto& K : Cases) {
    C.Use(K.Kind);
    EXPECT_EQ(View->Controller(), K.Controller);
    EXPECT_EQ(K.Controller->Controlled(), Camera);
    EXPECT_EQ(C.Timer()->Enabled(), K.Kind == vcPresentation);
  }
  TViewController Kind = vcMouse;
  EXPECT_TRUE(ParseViewController("person", Kind) && Kind == vcPerson);
  EXPECT_TRUE(ParseViewController("presentation", Kind) && Kind == vcPresentation);
  EXPECT_FALSE(ParseViewController("car", Kind) || ParseViewController("Mouse", Kind));
}

// Time spent in another controller is no lag to make up: chosen again, the presentation
// turns one step per interval from then on instead of jumping.
TEST_F(ViewControlsTest, ThePresentationTurnsOnlyFromWhenItIsChosenAgain) {
  TViewControls C(&Form, View, Camera);
  const int64_t Tick = C.Timer()->IntervalCounts();
  C.Use(vcPresentation);
  uint16_t Left = VK_LEFT;
  View->KeyDown(Left, {});
  IdleAfter(Tick + 1);
  EXPECT_EQ(Heading(), 359.0f);
  C.Use(vcMouse);
  IdleAfter(600 * Tick);  // ten seconds
  EXPECT_EQ(Heading(), 359.0f);
  C.Use(vcPresentation);
  IdleAfter(Tick / 2);
  EXPECT_EQ(Heading(), 359.0f);
  IdleAfter(Tick - Tick / 2 + 1);
  EXPECT_EQ(Heading(), 358.0f);
  // A loop that lagged makes up its missed intervals.
  IdleAfter(3 * Tick);
  EXPECT_EQ(Heading(), 355.0f);
}
