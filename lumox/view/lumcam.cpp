// Perspective and orthographic cameras.
#include "lumox/view/lumcam.h"

#include "lumox/exchange/lumexchange.h"
#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

TLumCamera::TLumCamera(TComponent* AOwner) : TLumTransformed(AOwner), FMatrix(new TLumMatrix) {
  TLumTranslation* T = Transformation()->Translation();
  T->SetX(0.0f);
  T->SetY(0.0f);
  T->SetZ(-2.0f);
}

TLumCamera::~TLumCamera() {
  Destroying();
  delete FMatrix;
}

void TLumCamera::SetViewNear(float Value) {
  if (!(Value > 0.0f)) return;
  SetField(FViewNear, Value);
}

void TLumCamera::SetViewFar(float Value) {
  if (!(Value > 0.0f)) return;
  SetField(FViewFar, Value);
}

void TLumCamera::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumCamera*>(Source)) CopyPublished(this, C);
  TLumTransformed::Assign(Source);
}

void TLumCamera::WriteValues(TLumExchange* Exchange) {
  TLumTransformed::WriteValues(Exchange);
  Exchange->WritePublished(this, ClassInfoOf<TLumCamera>());
}

void TLumCamera::ReadValues(TLumExchange* Exchange) {
  TLumTransformed::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumCamera>());
}

// A zero height would make the aspect ratio infinite; a height of one pixel is used.
static double Aspect(int Width, int Height) {
  return static_cast<double>(Width) / static_cast<double>(Height < 1 ? 1 : Height);
}

void TLumPerspectiveCamera::SetViewAngle(float Value) {
  if (!(Value >= 0.0f && Value <= 180.0f)) return;
  SetField(FViewAngle, Value);
}

void TLumPerspectiveCamera::Adjust(int Width, int Height) {
  gluPerspective(FViewAngle, Aspect(Width, Height), ViewNear(), ViewFar());
}

void TLumPerspectiveCamera::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumPerspectiveCamera*>(Source)) CopyPublished(this, C);
  TLumCamera::Assign(Source);
}

void TLumPerspectiveCamera::WriteValues(TLumExchange* Exchange) {
  TLumCamera::WriteValues(Exchange);
  Exchange->WritePublished(this, ClassInfoOf<TLumPerspectiveCamera>());
}

void TLumPerspectiveCamera::ReadValues(TLumExchange* Exchange) {
  TLumCamera::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumPerspectiveCamera>());
}

void TLumOrthographicCamera::SetViewWidth(float Value) {
  if (!(Value >= 0.0f)) return;
  SetField(FViewWidth, Value);
}

void TLumOrthographicCamera::SetViewHeight(float Value) {
  if (!(Value >= 0.0f)) return;
  SetField(FViewHeight, Value);
}

void TLumOrthographicCamera::Adjust(int Width, int Height) {
  // The width is scaled by the window's aspect on purpose: ViewHeight fixes the
  // visible height and the visible width follows the window's shape.
  const double A = Aspect(Width, Height);
  glOrtho(-A * FViewWidth / 2, A * FViewWidth / 2, -FViewHeight / 2.0, FViewHeight / 2.0,
          ViewNear(), ViewFar());
}

void TLumOrthographicCamera::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumOrthographicCamera*>(Source)) CopyPublished(this, C);
  TLumCamera::Assign(Source);
}

void TLumOrthographicCamera::WriteValues(TLumExchange* Exchange) {
  TLumCamera::WriteValues(Exchange);
  Exchange->WritePublished(this, ClassInfoOf<TLumOrthographicCamera>());
}

void TLumOrthographicCamera::ReadValues(TLumExchange* Exchange) {
  TLumCamera::ReadValues(Exchange);
  Exchange->ReadPublished(this, ClassInfoOf<TLumOrthographicCamera>());
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumcamProperties() {
  TLumClassTable<TLumCamera, TLumTransformed> C("TLumCamera", "",
                                                "A view's projection and viewing transformation");
  C.Single("ViewNear", &TLumCamera::ViewNear, &TLumCamera::SetViewNear, 0.1f,
           "Distance of the near clipping plane, above 0")
      .Range(TLumRange::Above(0))
      .Exchange()
      .Field(&TLumCamera::FViewNear);
  C.Single("ViewFar", &TLumCamera::ViewFar, &TLumCamera::SetViewFar, 10.0f,
           "Distance of the far clipping plane, above 0")
      .Range(TLumRange::Above(0))
      .Exchange()
      .Field(&TLumCamera::FViewFar);
  C.Publish("Transformation");
  C.DefineZero("ViewNear", &TLumCamera::ViewNear);
  C.DefineZero("ViewFar", &TLumCamera::ViewFar);

  TLumClassTable<TLumPerspectiveCamera, TLumCamera> P("TLumPerspectiveCamera", "Lumox",
                                                      "A camera with a perspective projection");
  P.Creatable();
  P.Single("ViewAngle", &TLumPerspectiveCamera::ViewAngle, &TLumPerspectiveCamera::SetViewAngle,
           45.0f, "Vertical field of view in degrees, 0..180")
      .Range(TLumRange::Between(0, 180))
      .Exchange()
      .Field(&TLumPerspectiveCamera::FViewAngle);
  P.DefineZero("ViewAngle", &TLumPerspectiveCamera::ViewAngle);

  TLumClassTable<TLumOrthographicCamera, TLumCamera> O("TLumOrthographicCamera", "Lumox",
                                                       "A camera with a parallel projection");
  O.Creatable();
  O.Single("ViewWidth", &TLumOrthographicCamera::ViewWidth, &TLumOrthographicCamera::SetViewWidth,
           2.0f, "Visible width at a square window, 0 or more; it follows the window's shape")
      .Range(TLumRange::AtLeast(0))
      .Exchange()
      .Field(&TLumOrthographicCamera::FViewWidth);
  O.Single("ViewHeight", &TLumOrthographicCamera::ViewHeight,
           &TLumOrthographicCamera::SetViewHeight, 2.0f, "Visible height, 0 or more")
      .Range(TLumRange::AtLeast(0))
      .Exchange()
      .Field(&TLumOrthographicCamera::FViewHeight);
  O.DefineZero("ViewWidth", &TLumOrthographicCamera::ViewWidth);
  O.DefineZero("ViewHeight", &TLumOrthographicCamera::ViewHeight);
}

}  // namespace lumox
