// Vector records of three and four doubles, the 4x4 matrix value, and the free routines
// on them.
#pragma once

namespace lumox {

struct TLumMathVector {
  double X = 0.0, Y = 0.0, Z = 0.0;
};

struct TLumMathVector4d {
  double X = 0.0, Y = 0.0, Z = 0.0, W = 0.0;
};

inline constexpr TLumMathVector ZEROVEC{0.0, 0.0, 0.0};

// A 4x4 matrix of doubles in OpenGL's column-major order (value k is row k mod 4,
// column k div 4): a value to compute with on the CPU, where TLumMatrix is the
// notifying property.
struct TLumMathMatrix {
  double M[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

inline constexpr TLumMathMatrix IDENTITYMATRIX{};

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

// A * B: B acts first on a point, as when OpenGL multiplies B onto the current A.
TLumMathMatrix LumMathMatrixMultiply(const TLumMathMatrix& A, const TLumMathMatrix& B);
// The point P (w = 1) moved by M.
TLumMathVector LumMathMatrixTransform(const TLumMathMatrix& M, const TLumMathVector& P);

}  // namespace lumox
