#include <algorithm>
#include <cmath>

#include "elimination.h"

namespace fk_ik {

namespace {

typedef Eigen::Matrix<Float64, 14, 1> Fourteen;

// The three sample angles 0, pi/2 and pi, exactly.
const Float64 kSampleCos[3] = {1, 0, -1};
const Float64 kSampleSin[3] = {0, 1, 0};

// Values at the sample angles along one axis of a flat array (stride apart) made the
// coefficients a, b, c of a + b cos + c sin: the values are a + b, a + c and a - b.
void toCoefficients(Fourteen* f, int size, int stride) {
  for (int base = 0; base < size; ++base) {
    if (base / stride % 3 != 0) continue;
    Fourteen &f0 = f[base], &f1 = f[base + stride], &f2 = f[base + 2 * stride];
    const Fourteen a = (f0 + f2) / 2;
    f1 -= a;
    f2 = (f0 - f2) / 2;
    f0 = a;
    std::swap(f1, f2);
  }
}

// Half-angle tangent t: (1 + t^2) times 1, cos and sin as coefficients of 1, t, t^2.
const Float64 kHalfAngle[3][3] = {{1, 0, 1}, {1, 0, -1}, {0, 2, 0}};

KDL::Frame turnZ(Float64 c, Float64 s) {
  return KDL::Frame(KDL::Rotation(c, -s, 0, s, c, 0, 0, 0, 1));
}

// The fourteen functions of the point and direction a frame puts at its origin and z axis.
Fourteen fourteenOf(const KDL::Frame& f) {
  const KDL::Vector p = f.p, l = f.M.UnitZ();
  const Float64 pp = dot(p, p), pl = dot(p, l);
  const KDL::Vector cross = p * l, last = l * pp - p * (2 * pl);
  Fourteen h;
  h << p.x(), p.y(), p.z(), l.x(), l.y(), l.z(), pp, pl, cross.x(), cross.y(), cross.z(), last.x(),
      last.y(), last.z();
  return h;
}

}  // namespace

EliminationLoop eliminationLoop(const KDL::Frame zeroFrames[Arm_Dof + 1], const KDL::Frame& flange,
                                Int32 first, Float64 sense) {
  // flange(q) = F_0 Rz(q_0) F_0^-1 F_1 Rz(q_1) ... F_5 Rz(q_5) F_5^-1 F_6, F_k being joint
  // k's frame at zero: the link after joint k is F_k^-1 F_k+1, the last one closing the
  // loop through the target.
  KDL::Frame after[Arm_Dof];
  for (int k = 0; k + 1 < Arm_Dof; ++k) after[k] = zeroFrames[k].Inverse() * zeroFrames[k + 1];
  after[Arm_Dof - 1] =
      zeroFrames[Arm_Dof - 1].Inverse() * zeroFrames[Arm_Dof] * flange.Inverse() * zeroFrames[0];
  EliminationLoop loop;
  loop.sense = sense;
  for (int k = 0; k < Arm_Dof; ++k) {
    const Int32 joint = ((first + (sense > 0 ? k : -k)) % Arm_Dof + Arm_Dof) % Arm_Dof;
    loop.joint[k] = joint;
    // Backwards, the loop inverted: joint k is followed by the inverse of the link before it.
    loop.link[k] = sense > 0 ? after[joint] : after[(joint + Arm_Dof - 1) % Arm_Dof].Inverse();
  }
  return loop;
}

void eliminationRight(const EliminationLoop& loop, EliminationSystem& system) {
  const KDL::Frame m0 = loop.link[0].Inverse(), m1 = loop.link[1].Inverse(),
                   m5 = loop.link[5].Inverse();
  // Index 3 i + j: phi_0 and phi_1 at the sample angles, then their coefficients.
  Fourteen value[9];
  for (int i = 0; i < 3; ++i) {
    const KDL::Frame tail = m0 * turnZ(kSampleCos[i], -kSampleSin[i]) * m5;
    for (int j = 0; j < 3; ++j) {
      value[3 * i + j] = fourteenOf(m1 * turnZ(kSampleCos[j], -kSampleSin[j]) * tail);
    }
  }
  toCoefficients(value, 9, 3);
  toCoefficients(value, 9, 1);
  system.rightConstant = value[0];
  for (int k = 1; k < 9; ++k) system.right.col(k - 1) = value[k];
  system.rightQr.compute(system.right);
  const auto& r = system.rightQr.matrixQR();
  const Float64 largest = std::fabs(r(0, 0)), smallest = std::fabs(r(7, 7));
  system.rightCondition = largest > 0 ? smallest / largest : 0;
  if (!std::isfinite(system.rightCondition)) system.rightCondition = 0;
}

void eliminationLeft(const EliminationLoop& loop, EliminationSystem& system) {
  // Index 9 i + 3 j + k: phi_2, phi_3 and phi_4 at the sample angles, then their
  // coefficients.
  Fourteen value[27];
  for (int i = 0; i < 3; ++i) {
    const KDL::Frame head = turnZ(kSampleCos[i], kSampleSin[i]) * loop.link[2];
    for (int j = 0; j < 3; ++j) {
      const KDL::Frame middle = head * turnZ(kSampleCos[j], kSampleSin[j]) * loop.link[3];
      for (int k = 0; k < 3; ++k) {
        value[9 * i + 3 * j + k] =
            fourteenOf(middle * turnZ(kSampleCos[k], kSampleSin[k]) * loop.link[4]);
      }
    }
  }
  for (int stride : {9, 3, 1}) toCoefficients(value, 27, stride);
  for (int t = 0; t < 3; ++t) {
    for (int u = 0; u < 9; ++u) system.left[t].col(u) = value[9 * t + u];
  }
  system.left[0].col(0) -= system.rightConstant;
  // The complement of Q's columns: the last six columns of its QR's orthogonal factor.
  const Eigen::Matrix<Float64, 14, 14> basis = system.rightQr.householderQ();
  const Eigen::Matrix<Float64, 6, 14> complement = basis.rightCols<6>().transpose();
  Eigen::Matrix<Float64, 9, 9> toMonomials;
  for (int u = 0; u < 3; ++u) {
    for (int v = 0; v < 3; ++v) {
      for (int a = 0; a < 3; ++a) {
        for (int b = 0; b < 3; ++b)
          toMonomials(3 * u + v, 3 * a + b) = kHalfAngle[u][a] * kHalfAngle[v][b];
      }
    }
  }
  for (int t = 0; t < 3; ++t) system.six[t] = complement * system.left[t] * toMonomials;
  for (int row = 0; row < 6; ++row) {
    Float64 largest = 0;
    for (int t = 0; t < 3; ++t)
      largest = std::fmax(largest, system.six[t].row(row).cwiseAbs().maxCoeff());
    if (largest > 0) {
      for (int t = 0; t < 3; ++t) system.six[t].row(row) /= largest;
    }
  }
}

namespace {

// Sigma(phi_2) by rows: the six equations' monomials y^a z^b at columns 3 a + b, and again
// times y at columns 3 (a + 1) + b.
void fillSigma(const EliminationSystem& system, Float64 c, Float64 s, Float64 (&a)[12][12]) {
  for (int row = 0; row < 6; ++row) {
    for (int j = 0; j < 3; ++j) {
      a[row][9 + j] = 0;
      a[row + 6][j] = 0;
    }
    for (int m = 0; m < 9; ++m) {
      const Float64 e =
          system.six[0](row, m) + c * system.six[1](row, m) + s * system.six[2](row, m);
      a[row][m] = e;
      a[row + 6][m + 3] = e;
    }
  }
}

}  // namespace

void sigmaAt(const EliminationSystem& system, Float64 c, Float64 s, SigmaMatrix& sigma) {
  Float64 a[12][12];
  fillSigma(system, c, s, a);
  for (int i = 0; i < 12; ++i) {
    for (int j = 0; j < 12; ++j) sigma(i, j) = a[i][j];
  }
}

SigmaLu::SigmaLu(const EliminationSystem& system, Float64 c, Float64 s) {
  fillSigma(system, c, s, _a);
  Float64 product = 1;
  for (int i = 0; i < 12; ++i) _row[i] = i;
  for (int k = 0; k < 12; ++k) {
    int pivot = k;
    Float64 largest = std::fabs(_a[_row[k]][k]);
    for (int i = k + 1; i < 12; ++i) {
      const Float64 size = std::fabs(_a[_row[i]][k]);
      if (size > largest) {
        largest = size;
        pivot = i;
      }
    }
    if (pivot != k) {
      std::swap(_row[pivot], _row[k]);
      product = -product;
    }
    const Float64* top = _a[_row[k]];
    product *= top[k];
    if (top[k] == 0) continue;
    const Float64 inverse = 1 / top[k];
    for (int i = k + 1; i < 12; ++i) {
      Float64* row = _a[_row[i]];
      const Float64 factor = row[k] * inverse;
      row[k] = factor;
      for (int j = k + 1; j < 12; ++j) row[j] -= factor * top[j];
    }
  }
  determinant = product;
}

Bool SigmaLu::solve(Float64 b[12]) const {
  Float64 x[12];
  for (int i = 0; i < 12; ++i) {
    const Float64* row = _a[_row[i]];
    x[i] = b[_row[i]];
    for (int j = 0; j < i; ++j) x[i] -= row[j] * x[j];
  }
  for (int i = 11; i >= 0; --i) {
    const Float64* row = _a[_row[i]];
    if (row[i] == 0) return false;
    for (int j = i + 1; j < 12; ++j) x[i] -= row[j] * x[j];
    x[i] /= row[i];
  }
  for (int i = 0; i < 12; ++i) b[i] = x[i];
  return true;
}

}  // namespace fk_ik
