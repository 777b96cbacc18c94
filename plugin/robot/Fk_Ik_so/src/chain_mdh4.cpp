#include "chain_mdh4.h"

#include <cassert>
#include <cmath>

MDH::MDH() : a(0.0), alpha(0.0), d(0.0), theta(0.0) {}

Chain_MDH4::Chain_MDH4(UInt32 dof, const std::vector<MDH>* pMDH4Param) {
  for (UInt32 i = 0; i < Max_Chain_Dof; ++i) _mdhParam[i] = MDH();
  assert(dof == 6 && pMDH4Param->size() == 6);
  _dof = dof;
  for (UInt32 i = 0; i < _dof; ++i) _mdhParam[i] = pMDH4Param->at(i);
  // The twists' sines and cosines, taken once for the forward kinematics.
  for (UInt32 i = 0; i < Max_Chain_Dof; ++i) _twist[i] = TwistSinCos(_mdhParam[i].alpha);
}

// The quantities are taken from the joint positions, not from the DH angles q + theta.
// The shoulder quantity pairs q3 with d of record 4 on purpose, and its terms are summed
// in the order below: the inverse solver's classification depends on both.
Int32 Chain_MDH4::getMode_6dof(const MathVector& jntPos, Int32& mode, Bool check) {
  assert(_dof == 6 && jntPos.size() == 6);
  mode = 0;
  const Float64 q1 = jntPos(1), q2 = jntPos(2), q3 = jntPos(3), q4 = jntPos(4);

  const Float64 u = (-q1) - q2;
  const Float64 shoulder = _shoulderQuantity(std::sin(q1), std::sin(q2 + q1), std::sin(q3 + u));
  return _modeOfQuantities(shoulder, std::sin(q2), std::sin(q4), mode, check);
}

Chain_MDH4::~Chain_MDH4() {}

// The tolerances absorb a twist written with a rounded pi and lengths of a few units in the
// last place; anything larger changes the arm and makes the solver's answers miss the pose.
Int32 Chain_MDH4::checkArmForm(const MDH* mdh) {
  const Float64 twists[6] = {0.0, -Pi / 2, 0.0, Pi, Pi / 2, Pi / 2};
  const Float64 tolerance = 1e-9;
  for (Int32 i = 0; i < 6; ++i) {
    const MDH& r = mdh[i];
    const bool armLink = i == 2 || i == 3;
    const bool finiteA = std::isfinite(r.a);
    if (!finiteA || (std::fabs(r.a) <= tolerance) == armLink) return 4 * i + 1;
    if (!std::isfinite(r.alpha) ||
        !(std::fabs(std::remainder(r.alpha - twists[i], 2 * Pi)) <= tolerance)) {
      return 4 * i + 2;
    }
    if (!std::isfinite(r.d)) return 4 * i + 3;
    if (!std::isfinite(r.theta)) return 4 * i + 4;
  }
  return 0;
}
