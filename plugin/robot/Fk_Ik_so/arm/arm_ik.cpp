#include "arm_ik.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>

#include "elimination.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "ik_spherical_wrist.h"
#include "ik_three_parallel.h"

namespace fk_ik {

namespace {

const Float64 kTurn = 2 * Pi;
const Float64 kMostTurns = 1048576;  // 2^20

// Whether the smallest singular value of the Jacobian at q (linear rows over the size) is
// below threshold.
Bool singularAt(const Arm& arm, const Float64 q[Arm_Dof], const KDL::Frame& tool,
                Float64 threshold) {
  ArmJacobian j;
  arm.jacobian(q, tool, j);
  j.topRows<3>() /= arm.size();
  // The smallest singular value is below the threshold exactly when J^T J less the
  // threshold's square is not positive definite: one Cholesky factorisation tells.
  const ArmJacobian shifted = j.transpose() * j - threshold * threshold * ArmJacobian::Identity();
  return Eigen::LLT<ArmJacobian>(shifted).info() != Eigen::Success;
}

// Damped Newton steps (Levenberg-Marquardt) on the true arm from q towards the flange
// target: an idealised arm's candidates lie within about its deviation of the true arm's
// solutions, some of them near a singular pose, where plain Newton steps overshoot. A step
// that does not lower the error is taken back and the damping raised.
const int kRefineSteps = 40;

// Where the flange at q misses target: origin (relative to the size) and rotation vector
// (the skew part of target * reached^-1, its sine times its axis), in the base frame.
Eigen::Matrix<Float64, 6, 1> missOf(const Arm& arm, const KDL::Frame& target,
                                    const Float64 q[Arm_Dof]) {
  KDL::Frame reached;
  arm.flangeFrame(q, reached);
  const KDL::Rotation rest = target.M * reached.M.Inverse();
  const KDL::Vector move = (target.p - reached.p) / arm.size();
  Eigen::Matrix<Float64, 6, 1> miss;
  miss << move.x(), move.y(), move.z(), (rest(2, 1) - rest(1, 2)) / 2,
      (rest(0, 2) - rest(2, 0)) / 2, (rest(1, 0) - rest(0, 1)) / 2;
  return miss;
}

void refine(const Arm& arm, const KDL::Frame& target, Float64 q[Arm_Dof]) {
  Eigen::Matrix<Float64, 6, 1> miss = missOf(arm, target, q);
  Float64 damping = 1e-6;
  for (int step = 0; step < kRefineSteps && miss.cwiseAbs().maxCoeff() > 1e-15; ++step) {
    ArmJacobian j;
    arm.jacobian(q, KDL::Frame::Identity(), j);
    j.topRows<3>() /= arm.size();
    const ArmJacobian normal = j.transpose() * j + damping * ArmJacobian::Identity();
    const Eigen::Matrix<Float64, 6, 1> dq = normal.ldlt().solve(j.transpose() * miss);
    Float64 tried[Arm_Dof];
    for (int i = 0; i < Arm_Dof; ++i) tried[i] = q[i] + dq(i);
    const Eigen::Matrix<Float64, 6, 1> triedMiss = missOf(arm, target, tried);
    if (triedMiss.norm() < miss.norm()) {
      for (int i = 0; i < Arm_Dof; ++i) q[i] = wrapAngle(tried[i]);
      miss = triedMiss;
      damping = std::fmax(damping / 10, 1e-12);
    } else {
      damping *= 10;
    }
  }
}

// An arm of the designed form: the designed solver's eight candidates of the pose in its
// rows' frames, each joint turned by its sense. False (out untouched) unless all eight are
// solved: a candidate its tests call singular has its joints left out, and one out of the
// links' reach may be a stretched or folded elbow that rounding pushed just outside. The
// arm's own closed form, which keeps those, then answers.
Bool designedCandidates(const Arm& arm, const KDL::Frame& flange, ArmIkSolutions& out) {
  const ArmMdh& mdh = arm.mdh();
  IkSolverPos_Tarvin2_6Dof solver(const_cast<Chain_MDH4*>(&arm.designedChain()));
  MathVector reference(Arm_Dof);
  IkSolutions all;
  const KDL::Frame rowsPose = mdh.base.Inverse() * flange * mdh.flange.Inverse();
  if (solver.flangePosToAllJntPos(rowsPose, reference, all) != 0) return false;
  for (int k = 0; k < 8; ++k) {
    if (all.status[k] != 0) return false;
  }
  out.count = 0;
  for (int k = 0; k < 8; ++k) {
    Float64 q[Arm_Dof];
    for (int i = 0; i < Arm_Dof; ++i) q[i] = wrapAngle(mdh.signs[i] * all.jntPos[k][i]);
    appendCandidate(q, false, out);
  }
  return true;
}

// The elimination's candidates for the flange target, each refined on the arm.
Int32 eliminated(const Arm& arm, const KDL::Frame& flange, ArmIkSolutions& out) {
  KDL::Frame zero[Arm_Dof + 1];
  const Float64 q0[Arm_Dof] = {};
  arm.jointFrames(q0, zero);
  out.count = 0;
  const Int32 code = eliminationCandidates(zero, flange, arm.inversePlan().reading, out);
  for (int k = 0; k < out.count; ++k) refine(arm, flange, out.q[k]);
  return code;
}

// Each solution's flag: found on a continuum, or its Jacobian near singular.
void flagSingular(const Arm& arm, const KDL::Frame& tool, ArmIkSolutions& out) {
  for (int k = 0; k < out.count; ++k) {
    out.singular[k] = out.singular[k] || singularAt(arm, out.q[k], tool, Ik_Singular);
  }
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
  const InversePlan& plan = arm.inversePlan();
  const InverseRoute route = plan.route;
  if (route == InverseRoute::None) return Arm_Not_Covered;
  if (route == InverseRoute::Elimination) return armIkByElimination(arm, tcp, tool, out);
  const Bool reversed = route == InverseRoute::Reversed || route == InverseRoute::IdealReversed;
  const KDL::Frame target = reversed ? flange.Inverse() : flange;
  Int32 code = Arm_Ok;
  if (!arm.mdh().designedForm || !designedCandidates(arm, flange, out)) {
    code = solveThreeParallel(plan.screws, target, out);
    if (code == Arm_Not_Covered) code = solveSphericalWrist(plan.screws, target, out);
  }
  // The reversed chain's joints in the arm's order; an idealised arm's refined on the true
  // one; then each checked on the true arm.
  const Bool ideal = route == InverseRoute::Ideal || route == InverseRoute::IdealReversed;
  for (int k = 0; k < out.count; ++k) {
    if (reversed) std::reverse(out.q[k], out.q[k] + Arm_Dof);
    if (ideal) refine(arm, flange, out.q[k]);
  }
  code = verifiedCandidates(arm, flange, code, out);
  // The idealised arm's real solutions are not always the true arm's: their counts differ
  // near the singular poses, which the idealisation moved (a pair the true arm has can be
  // missing, however far the ones found are from singular), and a refinement may fail.
  // Elimination completes them.
  if (ideal) {
    ArmIkSolutions more;
    if (eliminated(arm, flange, more) == Arm_Ok) {
      for (int k = 0; k < more.count; ++k) keepSolution(arm, flange, more.q[k], false, out);
      if (out.count > 0) code = Arm_Ok;
    }
  }
  flagSingular(arm, tool, out);
  return code;
}

Int32 armIkByElimination(const Arm& arm, const KDL::Frame& tcp, const KDL::Frame& tool,
                         ArmIkSolutions& out) {
  out.count = 0;
  if (!finiteFrame(tcp) || !finiteFrame(tool)) return Arm_Invalid;
  const KDL::Frame flange = tcp * tool.Inverse();
  const Int32 code = verifiedCandidates(arm, flange, eliminated(arm, flange, out), out);
  flagSingular(arm, tool, out);
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
