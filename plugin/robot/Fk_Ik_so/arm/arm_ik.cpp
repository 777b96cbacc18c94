#include "arm_ik.h"

#include <Eigen/SVD>
#include <cmath>

#include "ik_spherical_wrist.h"
#include "ik_three_parallel.h"

namespace fk_ik {

namespace {

const Float64 kTurn = 2 * Pi;
const Float64 kMostTurns = 1048576;  // 2^20

Bool singularAt(const Arm& arm, const Float64 q[Arm_Dof], const KDL::Frame& tool) {
  ArmJacobian j;
  arm.jacobian(q, tool, j);
  j.topRows<3>() /= arm.size();
  const Eigen::JacobiSVD<ArmJacobian> svd(j);
  return !(svd.singularValues()(Arm_Dof - 1) >= Ik_Singular);
}

// The whole-turn variant of x nearest reference within [low, high]; false when none is.
Bool nearestTurn(Float64 x, Float64 reference, Float64 low, Float64 high, Float64& variant) {
  Float64 turns = std::round((reference - x) / kTurn);
  if (!std::isfinite(turns)) turns = 0;
  const Float64 fewest = std::ceil((low - x) / kTurn), most = std::floor((high - x) / kTurn);
  turns = std::fmin(std::fmax(turns, std::fmax(fewest, -kMostTurns)), std::fmin(most, kMostTurns));
  variant = x + turns * kTurn;
  return variant >= low && variant <= high;
}

}  // namespace

Int32 armIkAll(const Arm& arm, const KDL::Frame& tcp, const KDL::Frame& tool, ArmIkSolutions& out) {
  out.count = 0;
  if (!finiteFrame(tcp) || !finiteFrame(tool)) return Arm_Invalid;
  const KDL::Frame flange = tcp * tool.Inverse();
  Int32 code = solveThreeParallel(arm, flange, out);
  if (code == Arm_Not_Covered) code = solveSphericalWrist(arm, flange, out);
  for (int k = 0; k < out.count; ++k) {
    out.singular[k] = out.singular[k] || singularAt(arm, out.q[k], tool);
  }
  return code;
}

Int32 armIkNearest(const Arm& arm, const KDL::Frame& tcp, const KDL::Frame& tool,
                   const Float64 ref[Arm_Dof], const Float64* lower, const Float64* upper,
                   Float64 q[Arm_Dof]) {
  const ArmDescription& d = arm.description();
  const Float64* low = lower ? lower : d.lower;
  const Float64* high = upper ? upper : d.upper;
  for (int i = 0; i < Arm_Dof; ++i) {
    if (std::isnan(low[i]) || std::isnan(high[i]) || low[i] > high[i]) return 8;
  }
  ArmIkSolutions all;
  const Int32 code = armIkAll(arm, tcp, tool, all);
  if (code != Arm_Ok) return code;
  Float64 best = INFINITY;
  Int32 chosen = -1;
  Float64 variants[Ik_Max_Solutions][Arm_Dof];
  for (int k = 0; k < all.count; ++k) {
    Float64 worst = 0;
    Bool fits = true;
    for (int i = 0; i < Arm_Dof && fits; ++i) {
      fits = nearestTurn(all.q[k][i], ref[i], low[i], high[i], variants[k][i]);
      const Float64 apart = std::fabs(variants[k][i] - ref[i]);
      worst = std::isnan(apart) ? INFINITY : std::fmax(worst, apart);
    }
    if (fits && (chosen < 0 || worst < best)) {
      best = worst;
      chosen = k;
    }
  }
  if (chosen < 0) return 7;
  for (int i = 0; i < Arm_Dof; ++i) q[i] = variants[chosen][i];
  return Arm_Ok;
}

}  // namespace fk_ik
