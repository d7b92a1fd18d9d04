// Vector records of three and four doubles and the free routines on them.
#pragma once

namespace lumox {

struct TLumMathVector {
  double X = 0.0, Y = 0.0, Z = 0.0;
};

struct TLumMathVector4d {
  double X = 0.0, Y = 0.0, Z = 0.0, W = 0.0;
};

inline constexpr TLumMathVector ZEROVEC{0.0, 0.0, 0.0};

TLumMathVector ToVec(double X, double Y, double Z);
TLumMathVector4d ToVec4D(double X, double Y, double Z, double W);
void LumMathVectorAddition(const TLumMathVector& A, const TLumMathVector& B, TLumMathVector& Result);
// The product of a vector with a scalar (a scaling), not the inner product.
void LumMathScalarProduct(const TLumMathVector& A, double S, TLumMathVector& Result);
void LumMathCrossProduct(const TLumMathVector& A, const TLumMathVector& B, TLumMathVector& Result);
// The inner product.
double LumMathDotProduct(const TLumMathVector& A, const TLumMathVector& B);
// Facet normal (P1 - P2) x (P2 - P3), optionally normalised.
void LumMathNormalVector(const TLumMathVector& P1, const TLumMathVector& P2,
                         const TLumMathVector& P3, bool Normalize, TLumMathVector& Result);
// Scales V to unit length; a zero vector is left as it is.
void LumMathNormalize(TLumMathVector& V);
double LumMathVectorLength(const TLumMathVector& V);
double LumMathVectorDist(const TLumMathVector& A, const TLumMathVector& B);
// Always the midpoint (A + B) / 2.
void LumMathVectorInterpolate(const TLumMathVector& A, const TLumMathVector& B,
                              TLumMathVector& Result);
// Plane (Nx, Ny, Nz, D) with unit normal N and D = P1 . N: the points Q with N . Q = D.
TLumMathVector4d LumMathPlanefromPoints(const TLumMathVector& P1, const TLumMathVector& P2,
                                        const TLumMathVector& P3);

}  // namespace lumox
