#include <cmath>

#include "elimination.h"
#include "subproblems.h"

namespace fk_ik {

namespace {

// A reading of the loop whose right side is this well conditioned is taken at once; below
// the second, no reading is posed at all (coincident axes, a degenerate arm).
const Float64 kGoodRight = 1e-6;
const Float64 kPosedRight = 1e-12;

// The twelve readings: reading r starts at joint kFirst[r], forwards for even r.
const Int32 kFirst[Readings] = {0, 5, 1, 4, 2, 3, 3, 2, 4, 1, 5, 0};

// atan(num / den) without the division: den may be 0.
Float64 halfAngle(Float64 num, Float64 den) {
  return 2 * std::atan2(den < 0 ? -num : num, std::fabs(den));
}

// tan(angle / 2) of the pair of monomials whose elements are largest (the vector's entries
// are y^a z^b at index 3 a + b): step 3 for y, 1 for z.
Float64 fromMonomials(const Eigen::Matrix<Float64, 12, 1>& v, int step) {
  Float64 best = -1, angle = 0;
  for (int low = 0; low + step < 12; ++low) {
    if (step == 1 && low % 3 == 2) continue;
    const Float64 size = v(low) * v(low) + v(low + step) * v(low + step);
    if (size > best) {
      best = size;
      angle = halfAngle(v(low + step), v(low));
    }
  }
  return angle;
}

// Sigma's null vector at phi_2 = angle by inverse iteration: the matrix is singular to
// within the root's rounding, so that two solves leave it. False where a pivot vanished.
Bool nullVector(const EliminationSystem& system, Float64 angle, Eigen::Matrix<Float64, 12, 1>& v) {
  const SigmaLu lu(system, std::cos(angle), std::sin(angle));
  v.setOnes();
  for (int pass = 0; pass < 2; ++pass) {
    if (!lu.solve(v.data())) return false;
    const Float64 size = v.norm();
    if (!(size > 0) || !std::isfinite(size)) return false;
    v /= size;
  }
  return true;
}

// The joints of one root phi_2 of the loop, in the arm's order; false when its matrix gives
// no null vector. A root exact to the last bit can make the matrix exactly singular: it is
// then taken a little aside, for the refinement to bring back.
Bool jointsOfRoot(const EliminationLoop& loop, const EliminationSystem& system, Float64 root,
                  Float64 q[Arm_Dof]) {
  Eigen::Matrix<Float64, 12, 1> v;
  if (!nullVector(system, root, v) && !nullVector(system, root + 1e-12, v)) return false;
  Float64 phi[Arm_Dof];
  phi[2] = root;
  phi[3] = fromMonomials(v, 3);
  phi[4] = fromMonomials(v, 1);
  const Float64 b3[3] = {1, std::cos(phi[3]), std::sin(phi[3])};
  const Float64 b4[3] = {1, std::cos(phi[4]), std::sin(phi[4])};
  Eigen::Matrix<Float64, 9, 1> products;
  for (int u = 0; u < 3; ++u) {
    for (int w = 0; w < 3; ++w) products(3 * u + w) = b3[u] * b4[w];
  }
  const Eigen::Matrix<Float64, 14, 1> left =
      (system.left[0] + std::cos(root) * system.left[1] + std::sin(root) * system.left[2]) *
      products;
  // The right's products of phi_0 and phi_1, index 3 t + u - 1: cos and sin of phi_0 at 2
  // and 5, of phi_1 at 0 and 1.
  const Eigen::Matrix<Float64, 8, 1> right = system.rightQr.solve(left);
  phi[0] = std::atan2(right(5), right(2));
  phi[1] = std::atan2(right(1), right(0));
  // The last from the loop: Rz(phi_5) = (Rz(phi_0) M_0 ... Rz(phi_4) M_4)^-1 M_5^-1.
  KDL::Frame chain = KDL::Frame::Identity();
  for (int k = 0; k < 5; ++k)
    chain = chain * KDL::Frame(KDL::Rotation::RotZ(phi[k])) * loop.link[k];
  const KDL::Rotation last = (loop.link[5] * chain).M.Inverse();
  phi[5] = std::atan2(last(1, 0), last(0, 0));
  for (int k = 0; k < Arm_Dof; ++k) q[loop.joint[k]] = wrapAngle(loop.sense * phi[k]);
  return true;
}

EliminationLoop readingLoop(const KDL::Frame zeroFrames[Arm_Dof + 1], const KDL::Frame& flange,
                            Int32 reading) {
  return eliminationLoop(zeroFrames, flange, kFirst[reading], reading % 2 == 0 ? 1 : -1);
}

// How well a reading suits a pose, worst first.
enum class Fit { Unposed, Deep, NearSingular, Good };

// The reading's candidates appended to out (none when it is not posed).
Fit candidatesOfReading(const KDL::Frame zeroFrames[Arm_Dof + 1], const KDL::Frame& flange,
                        Int32 reading, ArmIkSolutions& out) {
  const EliminationLoop loop = readingLoop(zeroFrames, flange, reading);
  EliminationSystem system;
  eliminationRight(loop, system);
  if (!(system.rightCondition >= kPosedRight)) return Fit::Unposed;
  eliminationLeft(loop, system);
  Float64 roots[16];
  Bool deep;
  const Int32 count = eliminationRoots(system, roots, deep);
  for (int k = 0; k < count; ++k) {
    Float64 q[Arm_Dof];
    if (jointsOfRoot(loop, system, roots[k], q)) appendCandidate(q, false, out);
  }
  return deep ? Fit::Deep : system.rightCondition < kGoodRight ? Fit::NearSingular : Fit::Good;
}

// Joint positions of no particular meaning, away from zero and from each other.
const Float64 kTrial[4][Arm_Dof] = {{0.7, -1.2, 0.4, 2.1, -0.9, 1.6},
                                    {-2.3, 0.5, -1.7, 0.3, 1.1, -0.4},
                                    {1.9, 2.4, -0.6, -1.4, 0.2, 2.8},
                                    {-0.8, -2.0, 2.6, 1.0, -2.5, -1.1}};

}  // namespace

Int32 eliminationReading(const Arm& arm) {
  KDL::Frame zero[Arm_Dof + 1];
  const Float64 q0[Arm_Dof] = {};
  arm.jointFrames(q0, zero);
  Int32 chosen = -1;
  Float64 best = -1;
  for (int reading = 0; reading < Readings; ++reading) {
    // How closely its unrefined candidates come to the joints of each trial pose, in
    // digits (16 at most per pose): their sum, and the fewest.
    Float64 digits = 0, fewest = 16;
    for (const Float64* q : kTrial) {
      KDL::Frame flange;
      arm.flangeFrame(q, flange);
      ArmIkSolutions out;
      out.count = 0;
      if (candidatesOfReading(zero, flange, reading, out) == Fit::Unposed) {
        fewest = digits = -1;
        break;
      }
      Float64 nearest = 1;
      for (int k = 0; k < out.count; ++k) nearest = std::fmin(nearest, jointsApart(out.q[k], q));
      const Float64 these = -std::log10(std::fmax(nearest, 1e-16));
      digits += these;
      fewest = std::fmin(fewest, these);
    }
    if (digits > best && fewest >= 0) {
      best = digits;
      chosen = reading;
    }
    if (fewest >= 8) break;  // every trial pose to 1e-8: good enough
  }
  return chosen;
}

Int32 eliminationCandidates(const KDL::Frame zeroFrames[Arm_Dof + 1], const KDL::Frame& flange,
                            Int32 reading, ArmIkSolutions& out) {
  // The arm's reading, unless this pose puts its right side near a singular one or its roots
  // in a deep valley: then the others in turn, the first that suits the pose, else the one
  // that suits it best (the earliest of them).
  const Int32 first = out.count;
  Fit best = Fit::Unposed;
  Int32 chosen = reading;
  for (int k = 0; k < Readings; ++k) {
    const Int32 tried = k == 0 ? reading : k <= reading ? k - 1 : k;
    out.count = first;
    const Fit fit = candidatesOfReading(zeroFrames, flange, tried, out);
    if (fit == Fit::Good) return Arm_Ok;
    if (fit > best) {
      best = fit;
      chosen = tried;
    }
  }
  out.count = first;
  if (best == Fit::Unposed) return Arm_Not_Covered;
  candidatesOfReading(zeroFrames, flange, chosen, out);
  return Arm_Ok;
}

}  // namespace fk_ik
