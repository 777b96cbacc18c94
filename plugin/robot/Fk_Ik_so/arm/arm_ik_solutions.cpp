#include "arm_ik_solutions.h"

#include <cmath>

#include "subproblems.h"

namespace fk_ik {

namespace {

// The angle between two rotations where it is small, from their elements' differences (the
// root of their summed squares is sqrt(2) times it); a target whose matrix is not a
// rotation cannot come near.
Float64 rotationDistance(const KDL::Rotation& a, const KDL::Rotation& b) {
  Float64 sum = 0;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) sum += (a(i, j) - b(i, j)) * (a(i, j) - b(i, j));
  }
  return std::sqrt(sum / 2);
}

}  // namespace

Bool finiteFrame(const KDL::Frame& f) {
  for (int i = 0; i < 3; ++i) {
    if (!std::isfinite(f.p(i))) return false;
    for (int j = 0; j < 3; ++j) {
      if (!std::isfinite(f.M(i, j))) return false;
    }
  }
  return true;
}

Float64 jointsApart(const Float64 a[Arm_Dof], const Float64 b[Arm_Dof]) {
  Float64 apart = 0;
  for (int i = 0; i < Arm_Dof; ++i) apart = std::fmax(apart, std::fabs(wrapAngle(a[i] - b[i])));
  return apart;
}

void appendCandidate(const Float64 q[Arm_Dof], Bool singular, ArmIkSolutions& out) {
  if (out.count == Ik_Max_Solutions) return;
  for (int i = 0; i < Arm_Dof; ++i) out.q[out.count][i] = q[i];
  out.singular[out.count] = singular;
  ++out.count;
}

Int32 verifiedCandidates(const Arm& arm, const KDL::Frame& target, Int32 code,
                         ArmIkSolutions& out) {
  const ArmIkSolutions candidates = out;
  out.count = 0;
  for (int k = 0; k < candidates.count; ++k) {
    keepSolution(arm, target, candidates.q[k], candidates.singular[k], out);
  }
  return code == Arm_Ok && out.count == 0 ? Int32(Arm_Out_Of_Reach) : code;
}

void keepSolution(const Arm& arm, const KDL::Frame& target, const Float64 q[Arm_Dof], Bool singular,
                  ArmIkSolutions& out) {
  KDL::Frame reached;
  arm.flangeFrame(q, reached);
  if (!(length(reached.p - target.p) <= Ik_Reach * arm.size()) ||
      !(rotationDistance(reached.M, target.M) <= Ik_Reach)) {
    return;
  }
  for (int k = 0; k < out.count; ++k) {
    if (jointsApart(out.q[k], q) <= Ik_Same) return;
  }
  appendCandidate(q, singular, out);
}

}  // namespace fk_ik
