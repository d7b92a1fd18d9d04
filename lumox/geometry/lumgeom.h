// The simplest meshes: a point, a line along +Z, a triangle and a rectangular grid in
// the X-Z plane facing +Y.
#pragma once

#include <cstdint>

#include "lumox/geometry/lumprimitiveobj.h"

namespace lumox {

namespace detail {
// Registers the unit's class tables (package/lumregister.cpp); a friend of the classes
// whose fields their Assign copies through the table.
void RegisterLumgeomProperties();
}  // namespace detail

class TLumPoint : public TLumPrimitiveObj {
 public:
  explicit TLumPoint(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumPoint"; }
  void InitPoints() override;
  void InitPrimitives() override;
};

// From the origin along +Z.
class TLumLine : public TLumPrimitiveObj {
 public:
  explicit TLumLine(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumLine"; }
  float Length() const { return FLength; }
  void SetLength(float Value);
  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FLength = 1.0f;
  friend void detail::RegisterLumgeomProperties();
};

// Apex at the origin, base across +Z at distance Height.
class TLumTriangle : public TLumPrimitiveObj {
 public:
  explicit TLumTriangle(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumTriangle"; }
  float Base() const { return FBase; }
  void SetBase(float Value);
  float Height() const { return FHeight; }
  void SetHeight(float Value);
  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FBase = 1.0f;
  float FHeight = 1.0f;
  friend void detail::RegisterLumgeomProperties();
};

// DetailX x DetailY cells, centred in X; Z runs from Height down to 0.
class TLumRectangle : public TLumPrimitiveObj {
 public:
  explicit TLumRectangle(TComponent* AOwner) : TLumPrimitiveObj(AOwner) {}
  const char* ClassName() const override { return "TLumRectangle"; }
  float Width() const { return FWidth; }
  void SetWidth(float Value);
  float Height() const { return FHeight; }
  void SetHeight(float Value);
  int32_t DetailX() const { return FDetailX; }
  // Values below 1 are ignored.
  void SetDetX(int32_t Value);
  int32_t DetailY() const { return FDetailY; }
  void SetDetY(int32_t Value);
  void InitPoints() override;
  void InitPrimitives() override;
  void Assign(TPersistent* Source) override;
  void WriteValues(TLumExchange* Exchange) override;
  void ReadValues(TLumExchange* Exchange) override;

 private:
  float FWidth = 1.0f;
  float FHeight = 1.0f;
  int32_t FDetailX = 1;
  int32_t FDetailY = 1;
  friend void detail::RegisterLumgeomProperties();
};

// Registers the four classes with the render-class registry (point, line, triangle,
// rectangle).
void RegisterLumgeomClasses();

}  // namespace lumox
