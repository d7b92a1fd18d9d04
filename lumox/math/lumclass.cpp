// Value objects, the matrix and the transformations.
#include "lumox/math/lumclass.h"

#include <cmath>
#include <numbers>

#include "lumox/host/proptable.h"
#include "lumox/math/lumgl.h"

namespace lumox {

const char* const TLumPolygonModeStr[3] = {"pmPoint", "pmLine", "pmFill"};
const char* const TLumCullFaceStr[3] = {"cfNone", "cfFront", "cfBack"};
const char* const TLumShadeModelStr[2] = {"smFlat", "smSmooth"};
const char* const TLumTransparencyModeStr[5] = {"tmNone", "tmAlpha", "tmAddAlpha", "tmAddColor",
                                                "tmSubColor"};
const char* const TLumDepthAlignStr[3] = {"daStandard", "daForeground", "daBackground"};
const char* const TLumLineStippleStr[6] = {"lsClear",   "lsDash",       "lsDot",
                                           "lsDashDot", "lsDashDotDot", "lsSolid"};
const char* const TLumQualityStr[3] = {"quFastest", "quNicest", "quDontCare"};
const char* const TLumFogModeStr[3] = {"fmLinear", "fmExp", "fmExp2"};
const char* const TLumTextureModeStr[8] = {"txStandard", "txLinearX",  "txLinearY",  "txLinearZ",
                                           "txLinearXY", "txLinearYZ", "txLinearZX", "txSphereZ"};
const char* const TLumRotationOrderStr[6] = {"roXYZ", "roXZY", "roYXZ", "roYZX", "roZXY", "roZYX"};
const char* const TLumTransformationOrderStr[6] = {"toRotTraSca", "toRotScaTra", "toTraRotSca",
                                                   "toTraScaRot", "toScaRotTra", "toScaTraRot"};

namespace {
// The three parts in the sequence an order value names: both order enumerations list the
// six permutations of their three letters alike (XYZ, XZY, YXZ, ... and RotTraSca,
// RotScaTra, TraRotSca, ...), the first outermost.
constexpr int OrderSequence[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2},
                                     {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
}  // namespace

// --- TLumProperty ---------------------------------------------------------------------

void TLumProperty::Changed() {
  if (OnChange) OnChange(this);
}

void TLumProperty::Assign(TPersistent* Source) {
  // Deliberately takes over the source's owner hook: descendants that call this
  // (colour, matrix) report later changes to the source's owner.
  if (auto* P = dynamic_cast<TLumProperty*>(Source)) OnChange = P->OnChange;
}

void TLumRenderProperty::Render() {}

// --- TLumVector -----------------------------------------------------------------------

void TLumVector::SetX(float Value) { SetField(FX, Value); }
void TLumVector::SetY(float Value) { SetField(FY, Value); }
void TLumVector::SetZ(float Value) { SetField(FZ, Value); }

void TLumVector::SetValues(float AX, float AY, float AZ) {
  SetX(AX);
  SetY(AY);
  SetZ(AZ);
}

void TLumVector::SetAsMathVector(const TLumMathVector& V) {
  SetX(static_cast<float>(V.X));
  SetY(static_cast<float>(V.Y));
  SetZ(static_cast<float>(V.Z));
}

void TLumVector::Assign(TPersistent* Source) {
  if (auto* V = dynamic_cast<TLumVector*>(Source)) {
    CopyPublished(this, V);
    Changed();
  }
}

static bool InUnitRange(float Value) { return Value >= -1.0f && Value <= 1.0f; }

void TLumDirection::SetX(float Value) {
  if (InUnitRange(Value)) SetField(FX, Value);
}
void TLumDirection::SetY(float Value) {
  if (InUnitRange(Value)) SetField(FY, Value);
}
void TLumDirection::SetZ(float Value) {
  if (InUnitRange(Value)) SetField(FZ, Value);
}

void TLumNormal::Normalize() {
  TLumMathVector V = GetAsMathVector();
  LumMathNormalize(V);
  SetAsMathVector(V);
}

// --- TLumColor ------------------------------------------------------------------------

void TLumColor::SetColor(uint32_t Value) { SetField(FColor, Value); }

void TLumColor::SetAlpha(float Value) {
  if (Value >= 0.0f && Value <= 1.0f) SetField(FAlpha, Value);
}

void TLumColor::GetParams(float (&Params)[4]) const {
  Params[0] = static_cast<float>(FColor & 0xFF) / 255.0f;
  Params[1] = static_cast<float>((FColor >> 8) & 0xFF) / 255.0f;
  Params[2] = static_cast<float>((FColor >> 16) & 0xFF) / 255.0f;
  Params[3] = FAlpha;
}

std::array<float, 4> TLumColor::GetParams() const {
  float P[4];
  GetParams(P);
  return {P[0], P[1], P[2], P[3]};
}

void TLumColor::SetParams(const float (&Params)[4]) {
  auto Byte = [](float V) {
    return static_cast<uint32_t>(static_cast<int64_t>(std::nearbyint(V * 255.0)) & 0xFF);
  };
  FColor = Byte(Params[0]) | (Byte(Params[1]) << 8) | (Byte(Params[2]) << 16);
  FAlpha = Params[3];
}

void TLumColor::Assign(TPersistent* Source) {
  if (auto* C = dynamic_cast<TLumColor*>(Source)) {
    CopyPublished(this, C);
    Changed();
  }
  TLumProperty::Assign(Source);
}

// --- TLumMatrix -----------------------------------------------------------------------

static bool InMatrixRange(int I, int J) {
  return static_cast<unsigned>(I) <= 3 && static_cast<unsigned>(J) <= 3;
}

void TLumMatrix::SetValue(int I, int J, double Value) {
  if (InMatrixRange(I, J)) FValues[static_cast<size_t>(J * 4 + I)] = Value;
}

double TLumMatrix::GetValue(int I, int J) const {
  return InMatrixRange(I, J) ? FValues[static_cast<size_t>(J * 4 + I)] : 0.0;
}

void TLumMatrix::Assign(TPersistent* Source) {
  TLumProperty::Assign(Source);
  if (auto* M = dynamic_cast<TLumMatrix*>(Source)) FValues = M->FValues;
}

void TLumMatrix::SetConstMatrix(double C) { FValues.fill(C); }

void TLumMatrix::SetIdentityMatrix() {
  FValues.fill(0.0);
  for (int I = 0; I < 4; ++I) FValues[static_cast<size_t>(I * 5)] = 1.0;
}

void TLumMatrix::MultMatrix(const TLumMatrix* B) {
  std::array<double, 16> T;
  const auto& BV = B->FValues;
  for (int I = 0; I < 4; ++I)
    for (int J = 0; J < 4; ++J) {
      double S = 0.0;
      for (int K = 0; K < 4; ++K)
        S += BV[static_cast<size_t>(K * 4 + I)] * FValues[static_cast<size_t>(J * 4 + K)];
      T[static_cast<size_t>(J * 4 + I)] = S;
    }
  FValues = T;
}

void TLumMatrix::Add(const TLumMatrix* B) {
  for (size_t K = 0; K < 16; ++K) FValues[K] += B->FValues[K];
}

void TLumMatrix::Mult(double S) {
  for (double& V : FValues) V *= S;
}

bool TLumMatrix::Invert() {
  // No pivot search and no tolerance: a zero leading element fails even for a
  // regular matrix. The callers use rigid and camera matrices; keep it so.
  double A[4][8];
  for (int R = 0; R < 4; ++R)
    for (int C = 0; C < 8; ++C) A[R][C] = C < 4 ? GetValue(R, C) : (C - 4 == R ? 1.0 : 0.0);
  for (int P = 0; P < 4; ++P) {
    const double Pivot = A[P][P];
    if (Pivot == 0.0) return false;
    for (int C = 0; C < 8; ++C) A[P][C] /= Pivot;
    for (int R = 0; R < 4; ++R) {
      if (R == P) continue;
      const double F = A[R][P];
      for (int C = 0; C < 8; ++C) A[R][C] -= F * A[P][C];
    }
  }
  for (int R = 0; R < 4; ++R)
    for (int C = 0; C < 4; ++C) SetValue(R, C, A[R][C + 4]);
  return true;
}

void TLumMatrix::Transpose() {
  const std::array<double, 16> T = FValues;
  for (int I = 0; I < 4; ++I)
    for (int J = 0; J < 4; ++J)
      FValues[static_cast<size_t>(J * 4 + I)] = T[static_cast<size_t>(I * 4 + J)];
}

void TLumMatrix::GLMultMatrix() const { glMultMatrixd(FValues.data()); }
void TLumMatrix::PickGLModelviewMatrix() { glGetDoublev(GL_MODELVIEW_MATRIX, FValues.data()); }
void TLumMatrix::PickGLProjectionMatrix() { glGetDoublev(GL_PROJECTION_MATRIX, FValues.data()); }

bool TLumMatrix::IsIdentityMatrix() const {
  for (int I = 0; I < 4; ++I)
    for (int J = 0; J < 4; ++J) {
      const double Target = I == J ? 1.0 : 0.0;
      if (!(std::fabs(GetValue(I, J) - Target) <= 1e-15)) return false;
    }
  return true;
}

TLumMathVector4d TLumMatrix::MultVector(const TLumMathVector4d& V) const {
  const double In[4] = {V.X, V.Y, V.Z, V.W};
  double R[4];
  for (int I = 0; I < 4; ++I) {
    double S = 0.0;
    for (int K = 0; K < 4; ++K) S += GetValue(I, K) * In[K];
    R[I] = S;
  }
  return {R[0], R[1], R[2], R[3]};
}

TLumMathVector4d TLumMatrix::Project(const TLumMathVector4d& V, const TLumMathVector4d& Viewport,
                                     const TLumMatrix* Projection) const {
  const TLumMathVector4d T = MultVector(V);
  TLumMathVector4d R = Projection->MultVector(T);
  const double W = R.W != 0.0 ? R.W : 1.0;
  R.X = (R.X / W + 1) / 2;
  R.Y = (R.Y / W + 1) / 2;
  R.Z = (R.Z / W + 1) / 2;
  R.W = (R.W / W + 1) / 2;
  R.Y = (1 - R.Y) * Viewport.W + Viewport.Y;
  R.X = R.X * Viewport.Z + Viewport.X;
  return R;
}

TLumMathVector4d TLumMatrix::Project(const TLumMathVector4d& V,
                                     const TLumMathVector4d& Viewport) const {
  TLumMatrix Identity;
  Identity.SetIdentityMatrix();
  return Project(V, Viewport, &Identity);
}

TLumMathVector4d TLumMatrix::Project(const TLumMathVector4d& V) const {
  return Project(V, TLumMathVector4d{0, 0, 1, 1});
}

TLumMathVector TLumMatrix::ProjectMatrix(const TLumMatrix* Other, const TLumMathVector& V) const {
  const TLumMathVector4d R = ProjectMatrix(Other, TLumMathVector4d{V.X, V.Y, V.Z, 1.0});
  return {R.X, R.Y, R.Z};
}

TLumMathVector4d TLumMatrix::ProjectMatrix(const TLumMatrix* Other,
                                           const TLumMathVector4d& V) const {
  TLumMatrix A;
  A.FValues = FValues;
  A.Invert();  // unchecked: a singular matrix is used as it is
  TLumMatrix B;
  B.FValues = Other->FValues;
  B.MultMatrix(&A);
  return B.MultVector(V);
}

TLumMathVector4d TLumMatrix::UnProject(const TLumMathVector4d& V, const TLumMathVector4d& Viewport,
                                       const TLumMatrix* Projection) const {
  const TLumMathVector4d In{(V.X - Viewport.X) * 2 / Viewport.Z - 1,
                            (V.Y - Viewport.Y) * 2 / Viewport.W - 1, V.Z * 2 - 1, V.W * 2 - 1};
  TLumMatrix N;
  N.FValues = FValues;
  N.MultMatrix(Projection);
  N.Invert();  // unchecked, as in ProjectMatrix
  TLumMathVector4d R = N.MultVector(In);
  const double D = R.W != 0.0 ? R.W : 1.0;
  R.X /= D;
  R.Y /= D;
  R.Z /= D;
  R.W /= D;
  return R;
}

TLumMathVector4d TLumMatrix::UnProject(const TLumMathVector4d& V,
                                       const TLumMathVector4d& Viewport) const {
  TLumMatrix Identity;
  Identity.SetIdentityMatrix();
  return UnProject(V, Viewport, &Identity);
}

TLumMathVector4d TLumMatrix::UnProject(const TLumMathVector4d& V) const {
  return UnProject(V, TLumMathVector4d{0, 0, 1, 1});
}

// --- transformations ------------------------------------------------------------------

void TLumRotation::SetX(float Value) {
  if (Value != FX) {
    FX = ModAngle(Value);
    Changed();
  }
}
void TLumRotation::SetY(float Value) {
  if (Value != FY) {
    FY = ModAngle(Value);
    Changed();
  }
}
void TLumRotation::SetZ(float Value) {
  if (Value != FZ) {
    FZ = ModAngle(Value);
    Changed();
  }
}

void TLumRotation::SetOrder(TLumRotationOrder Value) { SetField(FOrder, Value); }

float TLumRotation::ModAngle(float Angle) const {
  const double A = Angle;
  const int64_t N = std::llrint(A - 0.5);  // to nearest, ties to even
  const int64_t Q = N / 360;
  // The product is formed in 32-bit arithmetic, wrapping as it always has.
  const int32_t Q360 = static_cast<int32_t>(static_cast<uint32_t>(Q) * 360u);
  float R = static_cast<float>(A - static_cast<double>(Q360));
  if (R < 0) R += 360.0f;
  return R;
}

bool TLumRotation::GetEmpty() const { return FX == 0.0f && FY == 0.0f && FZ == 0.0f; }

void TLumRotation::Execute() const {
  if (GetEmpty() || FOrder > roZYX) return;  // an unknown order turns nothing
  const float Angles[3] = {FX, FY, FZ};
  for (int Axis : OrderSequence[FOrder]) glRotatef(Angles[Axis], Axis == 0, Axis == 1, Axis == 2);
}

namespace {

// The matrix of glRotatef(Angle, ...) about one coordinate axis (0 = X, 1 = Y, 2 = Z).
TLumMathMatrix AxisRotation(float Angle, int Axis) {
  const double A = static_cast<double>(Angle) * std::numbers::pi / 180.0;
  const double C = std::cos(A), S = std::sin(A);
  TLumMathMatrix R;
  const int I = (Axis + 1) % 3, J = (Axis + 2) % 3;  // the plane the turn moves in
  R.M[I * 4 + I] = C;
  R.M[J * 4 + J] = C;
  R.M[I * 4 + J] = S;  // column I, row J
  R.M[J * 4 + I] = -S;
  return R;
}

// The product of three matrices in the sequence an order value names, the first outermost.
TLumMathMatrix Product(const TLumMathMatrix (&M)[3], int Order) {
  const int* Q = OrderSequence[Order];
  return LumMathMatrixMultiply(LumMathMatrixMultiply(M[Q[0]], M[Q[1]]), M[Q[2]]);
}

}  // namespace

TLumMathMatrix TLumRotation::GetMatrix() const {
  if (GetEmpty() || FOrder > roZYX) return IDENTITYMATRIX;  // as Execute
  const TLumMathMatrix Turns[3] = {AxisRotation(FX, 0), AxisRotation(FY, 1), AxisRotation(FZ, 2)};
  return Product(Turns, FOrder);
}

void TLumRotation::Assign(TPersistent* Source) {
  TLumVector::Assign(Source);
  if (auto* R = dynamic_cast<TLumRotation*>(Source)) CopyPublished(this, R);
}

bool TLumScale::GetEmpty() const { return FX == 1.0f && FY == 1.0f && FZ == 1.0f; }
void TLumScale::Execute() const {
  if (!GetEmpty()) glScalef(FX, FY, FZ);
}

TLumMathMatrix TLumScale::GetMatrix() const {
  TLumMathMatrix R;
  R.M[0] = FX;
  R.M[5] = FY;
  R.M[10] = FZ;
  return R;
}

bool TLumTranslation::GetEmpty() const { return FX == 0.0f && FY == 0.0f && FZ == 0.0f; }
void TLumTranslation::Execute() const {
  if (!GetEmpty()) glTranslatef(FX, FY, FZ);
}

TLumMathMatrix TLumTranslation::GetMatrix() const {
  TLumMathMatrix R;
  R.M[12] = FX;
  R.M[13] = FY;
  R.M[14] = FZ;
  return R;
}

TLumTransformation::TLumTransformation() {
  auto Hook = [this](TObject* Sender) { SubChange(Sender); };
  FRotation.OnChange = Hook;
  FScale.OnChange = Hook;
  FTranslation.OnChange = Hook;
}

TLumTransformation::~TLumTransformation() = default;

void TLumTransformation::SetRotation(TLumRotation* Value) {
  if (!Value) return;
  FRotation.Assign(Value);
  Changed();
}
void TLumTransformation::SetScale(TLumScale* Value) {
  if (!Value) return;
  FScale.Assign(Value);
  Changed();
}
void TLumTransformation::SetTranslation(TLumTranslation* Value) {
  if (!Value) return;
  FTranslation.Assign(Value);
  Changed();
}

void TLumTransformation::SetOrder(TLumTransformationOrder Value) { SetField(FOrder, Value); }

bool TLumTransformation::GetEmpty() const {
  // Qualified calls: the parts' classes are known, so no virtual dispatch per frame.
  return FRotation.TLumRotation::GetEmpty() && FScale.TLumScale::GetEmpty() &&
         FTranslation.TLumTranslation::GetEmpty();
}

void TLumTransformation::Execute() const {
  if (GetEmpty() || FOrder > toScaTraRot) return;  // an unknown order executes nothing
  // Rotation, translation, scale: the letters of the order names.
  const TLumTransform* Parts[3] = {&FRotation, &FTranslation, &FScale};
  for (int Part : OrderSequence[FOrder]) Parts[Part]->Execute();
}

TLumMathMatrix TLumTransformation::GetMatrix() const {
  if (GetEmpty() || FOrder > toScaTraRot) return IDENTITYMATRIX;  // as Execute
  // Rotation, translation, scale: the letters of the order names.
  const TLumMathMatrix Parts[3] = {FRotation.GetMatrix(), FTranslation.GetMatrix(),
                                   FScale.GetMatrix()};
  return Product(Parts, FOrder);
}

void TLumTransformation::SubChange(TObject*) { Changed(); }

void TLumTransformation::Assign(TPersistent* Source) {
  // Order is deliberately not copied (its entry has no field); only the three parts are.
  if (auto* T = dynamic_cast<TLumTransformation*>(Source)) CopyPublished(this, T);
}

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumclassProperties() {
  TLumClassTable<TLumProperty, TPersistent>("TLumProperty", "", "Base of the owned value objects");
  TLumClassTable<TLumRenderProperty, TLumProperty>("TLumRenderProperty", "",
                                                   "A value object that emits GL state");

  TLumClassTable<TLumVector, TLumProperty> Vector("TLumVector", "", "Three Single components");
  Vector.Creatable();
  Vector.Single("X", &TLumVector::X, &TLumVector::SetX, 0.0f, "The x component")
      .Field(&TLumVector::FX);
  Vector.Single("Y", &TLumVector::Y, &TLumVector::SetY, 0.0f, "The y component")
      .Field(&TLumVector::FY);
  Vector.Single("Z", &TLumVector::Z, &TLumVector::SetZ, 0.0f, "The z component")
      .Field(&TLumVector::FZ);
  // Zero components are written, so that a vector whose constructor sets another value
  // (a scale's 1) loads back 0.
  Vector.DefineZero("X", &TLumVector::X);
  Vector.DefineZero("Y", &TLumVector::Y);
  Vector.DefineZero("Z", &TLumVector::Z);

  TLumClassTable<TLumDirection, TLumVector> Direction("TLumDirection", "",
                                                      "A vector whose components lie in -1..1");
  Direction.Creatable();
  const TLumRange Unit = TLumRange::Between(-1, 1);
  Direction.Single("X", &TLumVector::X, &TLumVector::SetX, 0.0f, "The x component, -1..1")
      .Range(Unit);
  Direction.Single("Y", &TLumVector::Y, &TLumVector::SetY, 0.0f, "The y component, -1..1")
      .Range(Unit);
  Direction.Single("Z", &TLumVector::Z, &TLumVector::SetZ, 1.0f, "The z component, -1..1")
      .Range(Unit);
  TLumClassTable<TLumNormal, TLumVector>("TLumNormal", "", "A vector that can be normalised")
      .Creatable();

  TLumClassTable<TLumColor, TLumProperty> Color("TLumColor", "", "A colour with an alpha");
  Color.Creatable();
  Color.Color("Color", &TLumColor::Color, &TLumColor::SetColor, 0u, "Red, green, blue: $00BBGGRR")
      .Exchange()
      .Field(&TLumColor::FColor);
  Color.Single("Alpha", &TLumColor::Alpha, &TLumColor::SetAlpha, 1.0f, "Opacity, 0..1")
      .Range(TLumRange::Between(0, 1))
      .Exchange()
      .Field(&TLumColor::FAlpha);
  Color.DefineZero("Alpha", &TLumColor::Alpha);
  Color.DefineZero("Color", &TLumColor::Color);

  TLumClassTable<TLumTransform, TLumVector>("TLumTransform", "",
                                            "A vector that applies itself to the GL matrix");
  TLumClassTable<TLumRotation, TLumTransform> Rotation(
      "TLumRotation", "", "Angles in degrees about X, Y and Z, kept in 0..360");
  Rotation.Creatable();
  Rotation
      .Enum("Order", "TLumRotationOrder", &TLumRotation::Order, &TLumRotation::SetOrder,
            TLumRotationOrderStr, roXYZ, "The order of the three turns, first to last")
      .Exchange()
      .Copied();
  TLumClassTable<TLumScale, TLumTransform> Scale("TLumScale", "", "Scale factors along X, Y, Z");
  Scale.Creatable();
  Scale.Single("X", &TLumVector::X, &TLumVector::SetX, 1.0f, "The factor along x");
  Scale.Single("Y", &TLumVector::Y, &TLumVector::SetY, 1.0f, "The factor along y");
  Scale.Single("Z", &TLumVector::Z, &TLumVector::SetZ, 1.0f, "The factor along z");
  TLumClassTable<TLumTranslation, TLumTransform>("TLumTranslation", "",
                                                 "A displacement along X, Y, Z")
      .Creatable();

  TLumClassTable<TLumTransformation, TLumProperty> T(
      "TLumTransformation", "", "Rotation, scale and translation applied in one of six orders");
  T.Creatable();
  T.Object("Rotation", &TLumTransformation::Rotation, &TLumTransformation::SetRotation,
           "Angles in degrees about X, Y and Z")
      .Exchange()
      .Field(&TLumTransformation::FRotation);
  T.Object("Scale", &TLumTransformation::Scale, &TLumTransformation::SetScale,
           "Scale factors along X, Y and Z")
      .Exchange()
      .Field(&TLumTransformation::FScale);
  T.Object("Translation", &TLumTransformation::Translation, &TLumTransformation::SetTranslation,
           "Displacement along X, Y and Z")
      .Exchange()
      .Field(&TLumTransformation::FTranslation);
  T.Enum("Order", "TLumTransformationOrder", &TLumTransformation::Order,
         &TLumTransformation::SetOrder, TLumTransformationOrderStr, NoStoredDefault,
         "The order of rotation, translation and scale, first call to last")
      .Exchange();
}

}  // namespace lumox
