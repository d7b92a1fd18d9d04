// Vector routines on TLumMathVector (sums, products, normals, lengths, planes) and the
// product of 4x4 matrices.
#include "lumox/math/lummath.h"

#include <cmath>

namespace lumox {

TLumMathVector ToVec(double X, double Y, double Z) { return {X, Y, Z}; }
TLumMathVector4d ToVec4D(double X, double Y, double Z, double W) { return {X, Y, Z, W}; }

void LumMathVectorAddition(const TLumMathVector& A, const TLumMathVector& B,
                           TLumMathVector& Result) {
  Result = {A.X + B.X, A.Y + B.Y, A.Z + B.Z};
}

void LumMathScalarProduct(const TLumMathVector& A, double S, TLumMathVector& Result) {
  Result = {A.X * S, A.Y * S, A.Z * S};
}

void LumMathCrossProduct(const TLumMathVector& A, const TLumMathVector& B,
                         TLumMathVector& Result) {
  Result = {A.Y * B.Z - A.Z * B.Y, A.Z * B.X - A.X * B.Z, A.X * B.Y - A.Y * B.X};
}

double LumMathDotProduct(const TLumMathVector& A, const TLumMathVector& B) {
  return A.X * B.X + A.Y * B.Y + A.Z * B.Z;
}

void LumMathNormalVector(const TLumMathVector& P1, const TLumMathVector& P2,
                         const TLumMathVector& P3, bool Normalize, TLumMathVector& Result) {
  const TLumMathVector D1{P1.X - P2.X, P1.Y - P2.Y, P1.Z - P2.Z};
  const TLumMathVector D2{P2.X - P3.X, P2.Y - P3.Y, P2.Z - P3.Z};
  LumMathCrossProduct(D1, D2, Result);
  if (Normalize) LumMathNormalize(Result);
}

void LumMathNormalize(TLumMathVector& V) {
  const double L = std::sqrt(V.X * V.X + V.Y * V.Y + V.Z * V.Z);
  if (L > 0.0) {  // false for 0 and for NaN
    V.X /= L;
    V.Y /= L;
    V.Z /= L;
  }
}

double LumMathVectorLength(const TLumMathVector& V) {
  return std::sqrt(V.Z * V.Z + (V.Y * V.Y + V.X * V.X));
}

double LumMathVectorDist(const TLumMathVector& A, const TLumMathVector& B) {
  const TLumMathVector D{A.X - B.X, A.Y - B.Y, A.Z - B.Z};
  return LumMathVectorLength(D);
}

void LumMathVectorInterpolate(const TLumMathVector& A, const TLumMathVector& B,
                              TLumMathVector& Result) {
  Result = {(A.X + B.X) / 2, (A.Y + B.Y) / 2, (A.Z + B.Z) / 2};
}

TLumMathVector4d LumMathPlanefromPoints(const TLumMathVector& P1, const TLumMathVector& P2,
                                        const TLumMathVector& P3) {
  TLumMathVector N;
  LumMathNormalVector(P1, P2, P3, true, N);
  return {N.X, N.Y, N.Z, LumMathDotProduct(P1, N)};
}

TLumMathMatrix LumMathMatrixMultiply(const TLumMathMatrix& A, const TLumMathMatrix& B) {
  TLumMathMatrix R;
  for (int Col = 0; Col < 4; ++Col)
    for (int Row = 0; Row < 4; ++Row) {
      double S = 0.0;
      for (int K = 0; K < 4; ++K) S += A.M[K * 4 + Row] * B.M[Col * 4 + K];
      R.M[Col * 4 + Row] = S;
    }
  return R;
}

TLumMathVector LumMathMatrixTransform(const TLumMathMatrix& M, const TLumMathVector& P) {
  const double* V = M.M;
  return {V[0] * P.X + V[4] * P.Y + V[8] * P.Z + V[12],
          V[1] * P.X + V[5] * P.Y + V[9] * P.Z + V[13],
          V[2] * P.X + V[6] * P.Y + V[10] * P.Z + V[14]};
}

}  // namespace lumox
