// Cameras: the projection and the viewing transformation of a view.
#pragma once

#include "lumox/scene/lumcomp.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumcamProperties();
}  // namespace detail

class TLumCamera : public TLumTransformed {
 public:
  // Looks at the origin from two units away: translation (0, 0, -2).
  explicit TLumCamera(TComponent* AOwner);
  ~TLumCamera() override;
  const char* ClassName() const override { return "TLumCamera"; }

  float ViewNear() const { return FViewNear; }
  // Accepted when greater than 0.
  void SetViewNear(float Value);
  float ViewFar() const { return FViewFar; }
  // Accepted when greater than 0.
  void SetViewFar(float Value);
  // The modelview matrix right after the camera transformation, captured every frame.
  TLumMatrix* Matrix() const { return FMatrix; }

  // Multiplies the projection for a viewport of Width x Height onto the current matrix.
  virtual void Adjust(int Width, int Height) = 0;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FViewNear = 0.1f;
  float FViewFar = 10.0f;
  TLumMatrix* FMatrix;
  friend void detail::RegisterLumcamProperties();
};

class TLumPerspectiveCamera : public TLumCamera {
 public:
  explicit TLumPerspectiveCamera(TComponent* AOwner) : TLumCamera(AOwner) {}
  const char* ClassName() const override { return "TLumPerspectiveCamera"; }
  // Vertical field of view in degrees, accepted from 0 to 180.
  float ViewAngle() const { return FViewAngle; }
  void SetViewAngle(float Value);
  void Adjust(int Width, int Height) override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FViewAngle = 45.0f;
  friend void detail::RegisterLumcamProperties();
};

class TLumOrthographicCamera : public TLumCamera {
 public:
  explicit TLumOrthographicCamera(TComponent* AOwner) : TLumCamera(AOwner) {}
  const char* ClassName() const override { return "TLumOrthographicCamera"; }
  // Accepted when 0 or greater. The visible width follows the window's aspect ratio.
  float ViewWidth() const { return FViewWidth; }
  void SetViewWidth(float Value);
  // Accepted when 0 or greater; fixes the visible height.
  float ViewHeight() const { return FViewHeight; }
  void SetViewHeight(float Value);
  void Adjust(int Width, int Height) override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FViewWidth = 2.0f;
  float FViewHeight = 2.0f;
  friend void detail::RegisterLumcamProperties();
};

}  // namespace lumox
