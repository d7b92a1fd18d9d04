// Owned value objects with change notification (vectors, directions, normals,
// colours), the 4x4 matrix, the shared enumerations with their name tables, and
// rotations, scales, translations and their ordered composition.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "lumox/host/classes.h"
#include "lumox/math/lummath.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumclassProperties();
}  // namespace detail

class TLumCustomView;

// Events raised around a component's drawing; the argument is the view being rendered.
using TLumRenderEvent = std::function<void(TLumCustomView* aView)>;

// Coincidence threshold per axis used when welding vertices.
inline constexpr float tolerance = 0.001f;

enum TLumPolygonMode : uint8_t { pmPoint, pmLine, pmFill };
enum TLumCullFace : uint8_t { cfNone, cfFront, cfBack };
enum TLumShadeModel : uint8_t { smFlat, smSmooth };
enum TLumTransparencyMode : uint8_t { tmNone, tmAlpha, tmAddAlpha, tmAddColor, tmSubColor };
enum TLumDepthAlign : uint8_t { daStandard, daForeground, daBackground };
enum TLumLineStipple : uint8_t { lsClear, lsDash, lsDot, lsDashDot, lsDashDotDot, lsSolid };
enum TLumQuality : uint8_t { quFastest, quNicest, quDontCare };
enum TLumFogMode : uint8_t { fmLinear, fmExp, fmExp2 };
enum TLumTextureMode : uint8_t {
  txStandard,
  txLinearX,
  txLinearY,
  txLinearZ,
  txLinearXY,
  txLinearYZ,
  txLinearZX,
  txSphereZ
};
enum TLumRotationOrder : uint8_t { roXYZ, roXZY, roYXZ, roYZX, roZXY, roZYX };
enum TLumTransformationOrder : uint8_t {
  toRotTraSca,
  toRotScaTra,
  toTraRotSca,
  toTraScaRot,
  toScaRotTra,
  toScaTraRot
};

// Value names of each enumeration, indexed by ordinal; the exchange format writes
// and reads enumeration values through them.
extern const char* const TLumPolygonModeStr[3];
extern const char* const TLumCullFaceStr[3];
extern const char* const TLumShadeModelStr[2];
extern const char* const TLumTransparencyModeStr[5];
extern const char* const TLumDepthAlignStr[3];
extern const char* const TLumLineStippleStr[6];
extern const char* const TLumQualityStr[3];
extern const char* const TLumFogModeStr[3];
extern const char* const TLumTextureModeStr[8];
extern const char* const TLumRotationOrderStr[6];
extern const char* const TLumTransformationOrderStr[6];

// 16-bit line-stipple pattern of each TLumLineStipple value.
inline constexpr uint16_t Stipples[6] = {0x0000, 0xF0F0, 0x5555, 0x7272, 0xEAEA, 0xFFFF};

// Base of every owned value object: one change hook that the owner sets, and the
// scene-file protocol (the elements of the value objects below are written and read by
// the exchange unit, exchange/lumpersist.cpp).
class TLumProperty : public TLumStreamable {
 public:
  TLumProperty() = default;
  const char* ClassName() const override { return "TLumProperty"; }
  TLumStreamable* Streamable() override { return this; }

  // The owner's hook, called on every real change.
  TNotifyEvent OnChange;

  void Changed();
  // Takes over Source's change hook (and nothing else here); never raises.
  void Assign(TPersistent* Source) override;
  // A value object without a format of its own writes and reads what its class
  // publishes under exchange names, level by level from its table.
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;

 protected:
  // The compare-store-notify step of the setters: stores Value and calls Changed when
  // it differs from Field.
  template <typename T, typename V>
  bool SetField(T& Field, const V& Value) {
    return StoreChanged(Field, Value, [this] { Changed(); });
  }
};

// A value object that emits OpenGL state.
class TLumRenderProperty : public TLumProperty {
 public:
  const char* ClassName() const override { return "TLumRenderProperty"; }
  virtual void Render();
};

class TLumVector : public TLumProperty {
 public:
  const char* ClassName() const override { return "TLumVector"; }
  float X() const { return FX; }
  float Y() const { return FY; }
  float Z() const { return FZ; }
  // Store and notify only when the value differs.
  virtual void SetX(float Value);
  virtual void SetY(float Value);
  virtual void SetZ(float Value);
  // The three virtual setters in order X, Y, Z.
  void SetValues(float AX, float AY, float AZ);
  void incX(float Delta) { SetX(FX + Delta); }
  void incY(float Delta) { SetY(FY + Delta); }
  void incZ(float Delta) { SetZ(FZ + Delta); }
  TLumMathVector GetAsMathVector() const { return {FX, FY, FZ}; }
  void SetAsMathVector(const TLumMathVector& V);
  // Copies X, Y, Z from another vector and notifies once; keeps this vector's hook.
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 protected:
  float FX = 0.0f, FY = 0.0f, FZ = 0.0f;
  friend void detail::RegisterLumclassProperties();
};

// A vector whose components stay within -1..1; values outside are ignored.
class TLumDirection : public TLumVector {
 public:
  TLumDirection() { FZ = 1.0f; }
  const char* ClassName() const override { return "TLumDirection"; }
  void SetX(float Value) override;
  void SetY(float Value) override;
  void SetZ(float Value) override;
};

class TLumNormal : public TLumVector {
 public:
  const char* ClassName() const override { return "TLumNormal"; }
  virtual void Normalize();
};

// A host colour value ($00BBGGRR, red in the low byte) plus an alpha in 0..1.
class TLumColor : public TLumProperty {
 public:
  TLumColor() { SetColor(0); }
  const char* ClassName() const override { return "TLumColor"; }
  uint32_t Color() const { return FColor; }
  void SetColor(uint32_t Value);
  float Alpha() const { return FAlpha; }
  // Accepted only within 0..1.
  void SetAlpha(float Value);
  // Red, green, blue as byte / 255, then alpha.
  virtual void GetParams(float (&Params)[4]) const;
  std::array<float, 4> GetParams() const;
  // Stores colour and alpha directly: no range check, no notification.
  void SetParams(const float (&Params)[4]);
  // Copies colour and alpha, notifies, then takes over Source's change hook.
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  uint32_t FColor = 0;
  float FAlpha = 1.0f;
  friend void detail::RegisterLumclassProperties();
};

// 4x4 matrix of doubles in OpenGL's column-major order: value k is row k mod 4,
// column k div 4. A new matrix is all zeros.
class TLumMatrix : public TLumProperty {
 public:
  const char* ClassName() const override { return "TLumMatrix"; }
  // The 16 values as OpenGL takes them.
  double* Values() { return FValues.data(); }
  const double* Values() const { return FValues.data(); }

  // Row I, column J; indices outside 0..3 are ignored (write) or read as 0.
  void SetValue(int I, int J, double Value);
  double GetValue(int I, int J) const;
  // Takes over Source's hook, then copies the values of a matrix.
  void Assign(TPersistent* Source) override;
  void SetConstMatrix(double C);
  void SetIdentityMatrix();
  // Self := B * Self (B applied after the old Self).
  void MultMatrix(const TLumMatrix* B);
  void Add(const TLumMatrix* B);
  void Mult(double S);
  // Gauss-Jordan without row exchanges: a zero pivot fails and leaves the matrix as it was.
  bool Invert();
  void Transpose();
  void GLMultMatrix() const;
  void PickGLModelviewMatrix();
  void PickGLProjectionMatrix();
  bool IsIdentityMatrix() const;
  TLumMathVector4d MultVector(const TLumMathVector4d& V) const;

  // Window position of V (origin top left, y down) and depth in 0..1.
  virtual TLumMathVector4d Project(const TLumMathVector4d& V, const TLumMathVector4d& Viewport,
                                   const TLumMatrix* Projection) const;
  virtual TLumMathVector4d Project(const TLumMathVector4d& V,
                                   const TLumMathVector4d& Viewport) const;
  virtual TLumMathVector4d Project(const TLumMathVector4d& V) const;
  // V given in Other's frame, expressed in this matrix's frame (Self^-1 * Other * V).
  virtual TLumMathVector ProjectMatrix(const TLumMatrix* Other, const TLumMathVector& V) const;
  virtual TLumMathVector4d ProjectMatrix(const TLumMatrix* Other, const TLumMathVector4d& V) const;
  // Back from window coordinates; the y axis is not flipped back.
  virtual TLumMathVector4d UnProject(const TLumMathVector4d& V, const TLumMathVector4d& Viewport,
                                     const TLumMatrix* Projection) const;
  virtual TLumMathVector4d UnProject(const TLumMathVector4d& V,
                                     const TLumMathVector4d& Viewport) const;
  virtual TLumMathVector4d UnProject(const TLumMathVector4d& V) const;

 private:
  std::array<double, 16> FValues{};
};

// A rotation, scaling or translation that applies itself to the current GL matrix.
class TLumTransform : public TLumVector {
 public:
  const char* ClassName() const override { return "TLumTransform"; }
  // True when applying it would change nothing.
  virtual bool GetEmpty() const = 0;
  virtual void Execute() const = 0;
  // The matrix Execute multiplies onto the current one, computed on the CPU (the
  // identity when it is empty).
  virtual TLumMathMatrix GetMatrix() const = 0;
};

// Angles in degrees about X, Y and Z, applied as three glRotatef calls in Order.
class TLumRotation : public TLumTransform {
 public:
  const char* ClassName() const override { return "TLumRotation"; }
  // Compare with the raw value, store it wrapped into 0..360.
  void SetX(float Value) override;
  void SetY(float Value) override;
  void SetZ(float Value) override;
  TLumRotationOrder Order() const { return FOrder; }
  void SetOrder(TLumRotationOrder Value);
  bool GetEmpty() const override;
  void Execute() const override;
  TLumMathMatrix GetMatrix() const override;
  // Brings an angle into 0 <= result < 360.
  virtual float ModAngle(float Angle) const;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  TLumRotationOrder FOrder = roXYZ;
};

class TLumScale : public TLumTransform {
 public:
  TLumScale() { SetValues(1.0f, 1.0f, 1.0f); }
  const char* ClassName() const override { return "TLumScale"; }
  bool GetEmpty() const override;
  void Execute() const override;
  TLumMathMatrix GetMatrix() const override;
};

class TLumTranslation : public TLumTransform {
 public:
  const char* ClassName() const override { return "TLumTranslation"; }
  bool GetEmpty() const override;
  void Execute() const override;
  TLumMathMatrix GetMatrix() const override;
};

// Rotation, scale and translation applied in one of six orders.
class TLumTransformation : public TLumProperty {
 public:
  TLumTransformation();
  ~TLumTransformation() override;
  const char* ClassName() const override { return "TLumTransformation"; }

  TLumRotation* Rotation() const { return &FRotation; }
  TLumScale* Scale() const { return &FScale; }
  TLumTranslation* Translation() const { return &FTranslation; }
  // Copy the value's contents in, then notify; nullptr is ignored.
  void SetRotation(TLumRotation* Value);
  void SetScale(TLumScale* Value);
  void SetTranslation(TLumTranslation* Value);
  TLumTransformationOrder Order() const { return FOrder; }
  void SetOrder(TLumTransformationOrder Value);

  bool GetEmpty() const;
  void Execute() const;
  // The matrix Execute multiplies onto the current one, computed on the CPU: where the
  // component's own coordinates lie in its parent's. The identity when it is empty.
  TLumMathMatrix GetMatrix() const;
  void SubChange(TObject* Sender);
  // Copies the three parts; Order is deliberately left as it is.
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  TObject* ReadComp(TLumExchange* Exchange, TXMLTag* Tag) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  // Held in the transformation itself rather than allocated apart: every rendered
  // component tests them each frame, and one block keeps that test within reach.
  // Mutable because the accessors hand them out from const transformations.
  mutable TLumRotation FRotation;
  mutable TLumScale FScale;
  mutable TLumTranslation FTranslation;
  TLumTransformationOrder FOrder = toRotTraSca;
  friend void detail::RegisterLumclassProperties();
};

}  // namespace lumox
