#include "ik_solver_pos_tarvin2_6dof.h"

#include "simd_trig.h"  // internal, not installed: hosts see only the solver
IkSolverPos_Tarvin2_6Dof::IkSolverPos_Tarvin2_6Dof(Chain_MDH4* chainMDH4) : IkSolverPos(chainMDH4) {
  assert(chainMDH4->_dof == 6);
}

// Steps 1 (this assertion) to 20 run in numbered order; the first failing one sets the code.
Int32 IkSolverPos_Tarvin2_6Dof::flangePosToJntPos(const KDL::Frame& flangePos,
                                                  const MathVector& jntPosRef, MathVector& jntPos,
                                                  const Int32& mode, const Float64&) {
  assert(jntPosRef.size() == 6);

  // The four-lane functions first; where one of the call's decisions lies within the error
  // bound of their values, libm's values decide instead (nothing is written before that).
  Int32 code = 0;
  const FrameError exact = {0.0, 0.0};
  if (VectorTrig::usable() && _solve<VectorTrig>(flangePos, exact, jntPosRef, mode, jntPos, code)) {
    return code;
  }
  _solve<LibmTrig>(flangePos, exact, jntPosRef, mode, jntPos, code);
  return code;
}

namespace {

// One unit in the last place of 1, the unit of every error bound below.
const Float64 U = 0x1p-52;
// Angles beyond this size are left to libm: the bounds below assume the vector functions'
// argument reduction holds them to a few units in the last place.
const Float64 LargestFastAngle = 1e5;
// Joints farther than this from libm's (by the bounds, which are loose: the differences
// measured are a few units in the last place) are recomputed with libm; so are calls with
// any decision within its bound of the threshold.
const Float64 LargestJointError = 1e-8;

// The larger of a and b; not-a-number when b is, so that it fails every test above.
inline Float64 larger(Float64 a, Float64 b) {
  return a > b ? a : b;
}

// False when a value lies within `bound` of a threshold (or either is not a number).
inline Bool clearOf(Float64 value, Float64 threshold, Float64 bound) {
  return std::fabs(value - threshold) > bound;
}

// Error of a configuration quantity's sine: the argument's error, plus the vector function's
// few units in the last place (the sine is at most 1).
inline Float64 sineError(Float64 argumentError) {
  return argumentError + 8 * U;
}

// A quantity of getMode_6dof decides by its magnitude against 1e-6 and by its sign.
inline Bool quantityClear(Float64 quantity, Float64 bound) {
  return std::fabs(quantity) > bound && clearOf(std::fabs(quantity), 1e-6, bound);
}

// An arc tangent's branch cut: atan2(y, x) jumps from pi to -pi where y changes sign with
// x < 0, so a y within its error of 0 there may land on either side.
inline Bool branchClear(Float64 y, Float64 x, Float64 yError) {
  return !(x < 0) || std::fabs(y) > yError;
}

// The turn count of _intoReferenceTurns (see there).
inline Int32 turnCountOf(Float64 x) {
  const auto truncToInt32 = [](Float64 v) -> Int32 {
    if (v > -2147483649.0 && v < 2147483648.0) return static_cast<Int32>(v);
    return INT32_MIN;
  };
  const Float64 invPi = 0.3183098861837907;
  if (x >= Pi) return truncToInt32(0.5 + (0.5 * x) * invPi);
  if (x < -Pi) return truncToInt32(invPi * (0.5 * x) - 0.5);
  return 0;
}

}  // namespace

// flangePosToJntPos after its assertion, with the functions of Trig. With libm (Trig::fast
// false) this is the reference computation and returns true. With the vector functions every
// decision is taken on values that differ from libm's by at most a bound derived from the
// magnitudes of the terms that formed them; returns false, writing nothing, when a decision lies
// within its bound of the threshold, or the joints' bound exceeds LargestJointError.
template <class Trig>
Bool IkSolverPos_Tarvin2_6Dof::_solve(const KDL::Frame& flangePos, const FrameError& inputError,
                                      const MathVector& jntPosRef, Int32 mode, MathVector& jntPos,
                                      Int32& code) {
  // 2. The caller gets back a vector of six whatever the result; its values are written
  //    only on success (step 19), so after a failure it keeps what it held.
  if (jntPos.size() != 6) jntPos.resize(6);
  // 3.-4. Target mode. -1 asks for the reference's own configuration; a singular reference
  //       has none, and its code (2, 3 or 4) ends the call. With an explicit mode the
  //       reference only sets the turns and may itself be singular.
  Int32 targetMode = -1;
  if (mode == -1) {
    // The reference's mode depends on the reference alone: where a vector sine leaves one
    // of its quantities too near a threshold, libm's sines decide, and the call goes on.
    if (!_referenceMode<Trig>(jntPosRef, targetMode, code)) {
      _referenceMode<LibmTrig>(jntPosRef, targetMode, code);
    }
    if (code != 0) return true;
  } else {
    targetMode = mode;
  }
  if (!_isValidMode(targetMode)) {
    code = 5;
    return true;
  }

  // 5.-13. The eight candidates, each with its configuration mode or the reason it has
  //        none; the pose itself may be out of reach (6) or shoulder singular (2).
  IkSolutions raw;
  Float64 jointError = 0.0;
  const Int32 poseCode = _candidatesWith<Trig>(flangePos, inputError, raw, jointError);
  if (poseCode < 0) return false;
  if (poseCode != 0) {
    code = poseCode;
    return true;
  }

  // chosen[m] is the candidate of configuration mode m; bit m of `found` says there is one.
  int chosen[8];
  UInt32 found = 0;
  for (int k = 0; k < 8; ++k) {
    if (raw.status[k] == 7) continue;  // out of the two arm links' reach
    // Deliberate: a single singular candidate ends the whole call with its code, even when
    // it is not in the requested mode, and no later candidate is tried.
    if (raw.status[k] != 0) {
      code = raw.status[k];
      return true;
    }
    // Deliberate: a later candidate of the same mode overwrites an earlier one, so the
    // answer need not be the joint position that produced the pose.
    chosen[raw.mode[k]] = k;
    found |= 1u << raw.mode[k];
  }

  // 14. No candidate in the requested mode (nor, then, when none was solvable at all).
  if ((found & (1u << targetMode)) == 0) {
    code = 7;
    return true;
  }
  Float64* const sel = raw.jntPos[chosen[targetMode]];

  // 15.-16. Each joint into the reference's turn (on the vector path with the test of the
  //         decisions to come: where one is too near, flangePosToAllJntPos takes this row
  //         from libm too, so the answer stays one of its rows to the bit).
  if (!Trig::fast) {
    _intoReferenceTurns(sel, jntPosRef);
  } else if (!_alignedClear(sel, jntPosRef, jointError)) {
    return false;
  }
  // 17. Singularity of the selected solution, wrist first, then elbow.
  code = _alignedSingularity(sel);
  if (code != 0) return true;
  // 18. Nearest turn.
  _nearestTurns(sel, jntPosRef);

  // 19.-20.
  for (UInt32 j = 0; j < 6; ++j) jntPos(j) = sel[j];
  code = 0;
  return true;
}

// The reference's configuration mode: getMode_6dof's, its five sines taken in two
// calls. Returns false (vector functions only) when a quantity lies within its bound of 0
// or of 1e-6.
template <class Trig>
Bool IkSolverPos_Tarvin2_6Dof::_referenceMode(const MathVector& jntPosRef, Int32& targetMode,
                                              Int32& code) const {
  const Float64 r1 = jntPosRef(1), r2 = jntPosRef(2), r3 = jntPosRef(3), r4 = jntPosRef(4);
  const Float64 x[8] = {r1, r2 + r1, r3 + ((-r1) - r2), r2, r4, 0.0, 0.0, 0.0};
  Float64 sines[8];
  Trig::sin4(x, sines);
  Trig::sin4(x + 4, sines + 4);
  const Float64 shoulder = _chainMDH4->_shoulderQuantity(sines[0], sines[1], sines[2]);
  if (Trig::fast) {
    // The arguments are libm's own; only the sines differ, by a few units in the last
    // place of each (and far less than 1e-30 absolutely near a multiple of pi).
    Float64 largest = 0.0, bounds[5];
    for (int i = 0; i < 5; ++i) {
      largest = larger(largest, std::fabs(x[i]));
      bounds[i] = 8 * U * std::fabs(sines[i]) + 1e-30;
    }
    const MDH* const mdh = _chainMDH4->_mdhParam;
    const Float64 a2 = std::fabs(mdh[2].a), a3 = std::fabs(mdh[3].a), d4 = std::fabs(mdh[4].d);
    const Float64 shoulderBound =
        a2 * bounds[0] + a3 * bounds[1] + d4 * bounds[2] +
        4 * U * (a2 * std::fabs(sines[0]) + a3 * std::fabs(sines[1]) + d4 * std::fabs(sines[2]));
    if (!(largest <= LargestFastAngle) || !quantityClear(shoulder, shoulderBound) ||
        !quantityClear(sines[3], bounds[3]) || !quantityClear(sines[4], bounds[4])) {
      return false;
    }
  }
  code = Chain_MDH4::_modeOfQuantities(shoulder, sines[3], sines[4], targetMode, true);
  return true;
}

// Moves a solved candidate's joints into the reference's turns as _intoReferenceTurns does,
// testing the decisions of the turn counts, of the 1 degree tests and of the nearest-turn
// test on them, each joint within `error` of libm's: false when one lies within its bound
// of its threshold (the row is then to be taken from libm). The turn counts change at odd
// multiples of pi; a joint at a multiple of a quarter turn is a value hosts send exactly
// (home positions), and libm then gives it exactly, so such joints are left to libm too.
// No branch on the joints, which are random to the branch predictor.
Bool IkSolverPos_Tarvin2_6Dof::_alignedClear(Float64* q, const MathVector& jntPosRef,
                                             Float64 error) const {
  // The nearest integer, halves away from zero; the joints lie within LargestFastAngle.
  const auto nearest = [](Float64 v) { return static_cast<Int32>(v + std::copysign(0.5, v)); };
  const Float64 quarterTurn = 0.5 * Pi, quartersPerRadian = 2 / Pi, turnsPerRadian = 0.5 / Pi;
  Bool clear = true;
  Float64 bound[6];
  for (int j = 0; j < 6; ++j) {
    // A reference that is not finite decides alike for every joint value: its turn count
    // and its distance test do not depend on them.
    const Float64 ref = jntPosRef(j);
    const Bool refFinite = std::isfinite(ref);
    bound[j] = error + 8 * U * (std::fabs(q[j]) + (refFinite ? std::fabs(ref) : 0.0) + 8.0);
    // Clear of the turn counts' thresholds, the count is the nearest integer of q / 2 pi.
    clear &= clearOf(q[j], nearest(q[j] * quartersPerRadian) * quarterTurn, bound[j]);
    const UInt32 apart =
        static_cast<UInt32>(nearest(q[j] * turnsPerRadian)) - static_cast<UInt32>(turnCountOf(ref));
    q[j] = q[j] - Pi * static_cast<Float64>(static_cast<Int32>(2u * apart));
    clear &= !refFinite || clearOf(std::fabs(q[j] - ref), Pi, bound[j]);
  }
  for (const int j : {4, 2}) {
    const Float64 limit = j == 4 ? _wristSingularLimit : _elbowSingularLimit;
    clear &= clearOf(std::fabs(q[j]), limit, bound[j]);
    clear &= clearOf(std::fabs(q[j] - Pi), limit, bound[j]);
    clear &= clearOf(std::fabs(q[j] + Pi), limit, bound[j]);
  }
  return clear;
}

// The closed form of the arm's eight candidates, rows of raw in candidate order, each with
// its status: 0 with its configuration mode, 2, 3 or 4 when getMode_6dof finds it singular
// (with the mode bits of its quantities), 7 when the target is out of the two arm links'
// reach (D < 0; mode 0). Returns 6 (wrist centre on or inside the offset cylinder) or 2
// (just outside it) for the pose as a whole, and then fills nothing.
//
// Computed with the functions of Trig. With the vector functions it also bounds how far
// its values may lie from libm's, from the magnitudes of the terms that formed them and
// the inputs' own error (a frame built with the vector functions), and returns -1 when a
// decision (L against 0 and the shoulder limit, the wrist cosine's clamp, D against 0, the
// mode quantities against 0 and 1e-6, an arc tangent's branch cut) lies within its bound
// or the joints' bound, jointError, exceeds LargestJointError.
template <class Trig>
Int32 IkSolverPos_Tarvin2_6Dof::_candidatesWith(const KDL::Frame& flangePos,
                                                const FrameError& inputError, IkSolutions& raw,
                                                Float64& jointError) const {
  const MDH* const mdh = _chainMDH4->_mdhParam;
  const KDL::Rotation& R = flangePos.M;
  const Float64 nx = R(0, 0), ny = R(1, 0), nz = R(2, 0);  // flange x axis
  const Float64 ox = R(0, 1), oy = R(1, 1), oz = R(2, 1);  // flange y axis
  const Float64 ax = R(0, 2), ay = R(1, 2), az = R(2, 2);  // flange z (approach) axis
  const Float64 px = flangePos.p.x(), py = flangePos.p.y(), pz = flangePos.p.z();
  const Float64 a2 = mdh[2].a, a3 = mdh[3].a;
  const Float64 d0 = mdh[0].d, d4 = mdh[4].d, d5 = mdh[5].d;
  // Error bounds (vector functions only): dR and dP of the frame's rotation elements and
  // position coordinates; every other d... bounds the value it is named after.
  const Float64 dR = inputError.rotation, dP = inputError.position;
  Bool clear = true;

  // The wrist centre is the flange moved back by d[5] along its approach axis (wxn is
  //       minus its x). The arm's plane passes at the lateral offset e from joint 0's axis;
  //       L is the wrist centre's squared distance from that axis less e squared.
  const Float64 wy = py - d5 * ay;
  const Float64 wxn = d5 * ax - px;
  const Float64 e = mdh[1].d + mdh[2].d - mdh[3].d;
  const Float64 L = (wxn * wxn + wy * wy) - e * e;
  Float64 dW = 0.0, dL = 0.0;
  if (Trig::fast) {
    dW = dP + std::fabs(d5) * dR;
    dL = 2 * (std::fabs(wxn) + std::fabs(wy)) * dW;
    if (dW > 0) dL += 4 * U * ((wxn * wxn + wy * wy) + e * e);
    const Float64 limit2 = _shoulderSingularLimit * _shoulderSingularLimit;
    if (!clearOf(L, 0.0, dL) || !clearOf(L, limit2, dL)) return -1;
  }

  // On or inside the offset cylinder there is no solution; just outside it the two
  //       shoulder branches nearly coincide. A not-a-number L passes both tests.
  if (L <= 0) return 6;
  if (_shoulderSingularLimit * _shoulderSingularLimit > L) return 2;

  // Candidate k (0 ... 7) takes shoulder branch i = k >> 2 (A, B), wrist branch (k >> 1) & 1
  // (+, -) and elbow branch k & 1 (+, -). Joints 0, 4 and 5 depend on the first two only,
  // so candidates 2w and 2w + 1 share them; w = k >> 1 indexes the four wrist solutions.
  // Every distinct sine, cosine and arc tangent is computed once, four at a time (lanes
  // not needed hold harmless values).

  // Joint 0, branches A and B: phi and the two arc tangents of e in one call.
  const Float64 rho = std::sqrt(L);
  Float64 angles[4];
  {
    const Float64 y[4] = {wy, e, e, 0.0}, x[4] = {wxn, rho, -rho, 1.0};
    Trig::atan2x4(y, x, angles);
  }
  const Float64 theta0[4] = {angles[1] - angles[0], angles[2] - angles[0], 0.0, 0.0};
  Float64 s0[4], c0[4];
  Trig::sinCos4(theta0, s0, c0);
  // An arc tangent's error is its arguments' over their radius, plus the function's own;
  // sines and cosines add theirs to their argument's.
  Float64 dSC0 = 0.0;
  if (Trig::fast) {
    const Float64 radius = std::sqrt(wxn * wxn + wy * wy);
    const Float64 dTheta0 = 2 * dW / radius + dL / (2 * rho) * std::fabs(e) / (radius * radius);
    dSC0 = dTheta0 + 56 * U;
    clear = clear && branchClear(wy, wxn, dW);
  }

  // Joint 4 (wrist bend): x is its cosine. Rounding can push |x| just past 1; that
  //     noise is clamped to +-1 (|x| = 1 exactly is kept as it is). Branch + lies in
  //     [0, pi], branch - in [-pi, 0].
  // Joint 5 (flange rotation) turns by psi of its joint 0 branch.
  Float64 theta4[4], s4[4], c4[4], psi[4];
  Float64 dTheta4[2] = {0.0, 0.0}, dPsi[2] = {0.0, 0.0};
  {
    Float64 y4[4], x4[4], yPsi[4] = {0.0, 0.0, 0.0, 0.0}, xPsi[4] = {1.0, 1.0, 1.0, 1.0};
    for (int i = 0; i < 2; ++i) {
      Float64 x = c0[i] * ay - ax * s0[i];
      if (Trig::fast) {
        const Float64 dX = dSC0 * (std::fabs(ay) + std::fabs(ax)) + 2 * dR + 4 * U;
        clear = clear && clearOf(std::fabs(x), 1.0, dX);
        dTheta4[i] = 2 * dX / std::sqrt(larger(0.0, 1 - x * x)) + 24 * U;
      }
      if (std::fabs(x) > 1) x = sign(x);
      const Float64 s = std::sqrt(1 - x * x);
      y4[2 * i] = s;
      y4[2 * i + 1] = -s;
      x4[2 * i] = x4[2 * i + 1] = x;
      yPsi[i] = s0[i] * ox - c0[i] * oy;
      xPsi[i] = s0[i] * nx - c0[i] * ny;
      if (Trig::fast) {
        const Float64 dPsiArg =
            dSC0 * (std::fabs(ox) + std::fabs(oy) + std::fabs(nx) + std::fabs(ny)) + 2 * dR + 4 * U;
        dPsi[i] = 2 * dPsiArg / std::sqrt(yPsi[i] * yPsi[i] + xPsi[i] * xPsi[i]) + 16 * U;
        clear = clear && branchClear(yPsi[i], xPsi[i], dPsiArg);
      }
    }
    Trig::atan2x4(y4, x4, theta4);
    Trig::atan2x4(yPsi, xPsi, psi);
  }
  Trig::sinCos4(theta4, s4, c4);
  //     theta5 = atan2(0.0, sin(theta4)) - psi: -psi when sin(theta4) > 0 or is +0, pi - psi
  //     when it is negative or -0 (and not-a-number with it), exactly as atan2 gives.
  Float64 theta5[4], s5[4], c5[4];
  for (int w = 0; w < 4; ++w) {
    const Float64 atanOfZero = std::isnan(s4[w]) ? s4[w] : std::signbit(s4[w]) ? Pi : 0.0;
    theta5[w] = atanOfZero - psi[w >> 1];
    // The sign of sin(theta4) picks theta5's half turn.
    if (Trig::fast) clear = clear && std::fabs(s4[w]) > dTheta4[w >> 1] + 8 * U;
  }
  Trig::sinCos4(theta5, s5, c5);

  // Joints 1, 2 and 3: the planar problem of the upper arm a[2] and forearm a[3], whose
  //     end (X, Y) is the wrist centre less the d[4] offset, in the arm's plane. Candidates
  //     2w and 2w + 1 differ only in the sign of sqrt(D): X, Y, A, B, K, D, atan2(A, B), w1,
  //     w2 and their arc tangent belong to w.
  Float64 X[4], Y[4], K[4], D[4], rootD[4], atanAB[4], atanW[4];
  // Per wrist solution: X and Y (dXY), K, sqrt(D), atan2(A, B), atan2(w1, w2).
  Float64 dXY[4], dK[4], dRootD[4], dAtanAB[4], dAtanW[4];
  {
    Float64 A[4], B[4], w1[4], w2[4];
    for (int w = 0; w < 4; ++w) {
      const int i = w >> 1;
      X[w] = c0[i] * (px - d5 * ax) + s0[i] * (py - d5 * ay) -
             d4 * (s5[w] * (c0[i] * nx + s0[i] * ny) + c5[w] * (c0[i] * ox + s0[i] * oy));
      Y[w] = (d0 - pz) + d5 * az + d4 * (c5[w] * oz + s5[w] * nz);
      A[w] = 2 * a2 * X[w];
      B[w] = 2 * a2 * Y[w];
      K[w] = (X[w] * X[w] + Y[w] * Y[w]) + a2 * a2 - a3 * a3;
      D[w] = 4 * a2 * a2 * (X[w] * X[w] + Y[w] * Y[w]) - K[w] * K[w];
      // Out of the two links' reach (D < 0) both candidates are skipped below.
      rootD[w] = D[w] < 0 ? 0.0 : std::sqrt(D[w]);
      w1[w] = s4[w] * az + c4[w] * (c5[w] * nz - s5[w] * oz);
      w2[w] = -c5[w] * oz - s5[w] * nz;
      if (Trig::fast) {
        const Float64 dSC5 = dPsi[i] + 24 * U, dSC4 = dTheta4[i] + 8 * U;
        const Float64 fpx = std::fabs(px), fpy = std::fabs(py), f5 = std::fabs(d5);
        const Float64 f4 = std::fabs(d4);
        const Float64 dX = dSC0 * (fpx + fpy + 2 * f5 + 4 * f4) + dSC5 * 2 * f4 + 2 * dP +
                           dR * (2 * f5 + 4 * f4) + 8 * U * (fpx + fpy + 2 * f5 + 2 * f4);
        const Float64 dY = dSC5 * 2 * f4 + dP + dR * (f5 + 2 * f4) +
                           8 * U * (std::fabs(d0) + std::fabs(pz) + f5 + 2 * f4);
        dXY[w] = larger(dX, dY);
        const Float64 r2 = X[w] * X[w] + Y[w] * Y[w], xy = std::fabs(X[w]) + std::fabs(Y[w]);
        dK[w] = 2 * xy * dXY[w] + 8 * U * (r2 + a2 * a2 + a3 * a3);
        const Float64 dD = 8 * a2 * a2 * xy * dXY[w] + 2 * std::fabs(K[w]) * dK[w] +
                           8 * U * (4 * a2 * a2 * r2 + K[w] * K[w]);
        clear = clear && clearOf(D[w], 0.0, dD);
        dRootD[w] = dD / (2 * rootD[w]);
        dAtanAB[w] = 2 * dXY[w] / std::sqrt(r2) + 16 * U;
        clear = clear && branchClear(A[w], B[w], 2 * std::fabs(a2) * dXY[w]);
        const Float64 dW1 = dSC4 * (std::fabs(az) + 2) + 2 * dSC5 + 3 * dR + 8 * U;
        const Float64 dW2 = 2 * dSC5 + 2 * dR + 4 * U;
        dAtanW[w] = 2 * larger(dW1, dW2) / std::sqrt(w1[w] * w1[w] + w2[w] * w2[w]) + 16 * U;
        clear = clear && branchClear(w1[w], w2[w], dW1);
      }
    }
    Trig::atan2x4(A, B, atanAB);
    Trig::atan2x4(w1, w2, atanW);
  }

  // The eight candidates' joint 1, its sine and cosine, joint 2 and joint 3, four at a time.
  const Float64 sigma = sign(a3);
  Float64 theta1[8], s1[8], c1[8], theta2[8], theta3[8];
  Float64 dTheta1[8], dTheta2[8], dTheta3[8];
  {
    Float64 y[8], x[8];
    for (int k = 0; k < 8; ++k) {
      y[k] = K[k >> 1];
      x[k] = k % 2 == 0 ? rootD[k >> 1] : -rootD[k >> 1];
    }
    Trig::atan2x4(y, x, theta1);
    Trig::atan2x4(y + 4, x + 4, theta1 + 4);
    for (int k = 0; k < 8; ++k) theta1[k] = theta1[k] - atanAB[k >> 1];
    if (Trig::fast) {
      for (int k = 0; k < 8; ++k) {
        const int w = k >> 1;
        if (D[w] < 0) continue;
        const Float64 radius = std::sqrt(K[w] * K[w] + D[w]);
        dTheta1[k] = 2 * (dK[w] + dRootD[w]) / radius + dAtanAB[w] + 24 * U;
        clear = clear && branchClear(y[k], x[k], dK[w]);
      }
    }
    Trig::sinCos4(theta1, s1, c1);
    Trig::sinCos4(theta1 + 4, s1 + 4, c1 + 4);
    for (int k = 0; k < 8; ++k) {
      y[k] = (Y[k >> 1] - a2 * s1[k]) * sigma;
      x[k] = (X[k >> 1] - a2 * c1[k]) * sigma;
    }
    Trig::atan2x4(y, x, theta2);
    Trig::atan2x4(y + 4, x + 4, theta2 + 4);
    for (int k = 0; k < 8; ++k) {
      theta2[k] = theta2[k] - theta1[k];
      theta3[k] = theta2[k] + (theta1[k] + atanW[k >> 1]);
    }
    if (Trig::fast) {
      for (int k = 0; k < 8; ++k) {
        const int w = k >> 1;
        if (D[w] < 0) continue;
        const Float64 dArg = dXY[w] + std::fabs(a2) * (dTheta1[k] + 8 * U) +
                             4 * U * (std::fabs(X[w]) + std::fabs(Y[w]) + 2 * std::fabs(a2));
        dTheta2[k] = 2 * dArg / std::sqrt(y[k] * y[k] + x[k] * x[k]) + dTheta1[k] + 24 * U;
        dTheta3[k] = dTheta2[k] + dTheta1[k] + dAtanW[w] + 16 * U;
        clear = clear && branchClear(y[k], x[k], dArg);
      }
    }
  }

  // Joint positions and the sines of their configuration quantities, as getMode_6dof
  //     takes them: sin(q1), sin(q2 + q1), sin(q3 - q1 - q2) and sin(q2) per candidate,
  //     sin(q4) per wrist solution. A sine already at hand (a zero theta offset) is reused.
  Float64(&q)[8][6] = raw.jntPos;
  Float64 sinQ1[8], sinQ2Q1[8], sinQ3U[8], sinQ2[8], wrist[4];
  {
    Float64 sumQ2Q1[8], sumQ3U[8], q1[8], q2[8];
    Bool sinQ1AtHand = true, wristAtHand = true;
    for (int k = 0; k < 8; ++k) {
      const int i = k >> 2, w = k >> 1;
      const Float64 theta[6] = {theta0[i], theta1[k], theta2[k], theta3[k], theta4[w], theta5[w]};
      for (UInt32 j = 0; j < 6; ++j) q[k][j] = theta[j] - mdh[j].theta;
      q1[k] = q[k][1];
      q2[k] = q[k][2];
      sumQ2Q1[k] = q[k][2] + q[k][1];
      sumQ3U[k] = q[k][3] + ((-q[k][1]) - q[k][2]);
      sinQ1AtHand = sinQ1AtHand && q[k][1] == theta1[k];
      wristAtHand = wristAtHand && q[k][4] == theta4[w];
    }
    for (int h = 0; h < 8; h += 4) {
      if (sinQ1AtHand) {
        for (int k = h; k < h + 4; ++k) sinQ1[k] = s1[k];
      } else {
        Trig::sin4(q1 + h, sinQ1 + h);
      }
      Trig::sin4(sumQ2Q1 + h, sinQ2Q1 + h);
      Trig::sin4(sumQ3U + h, sinQ3U + h);
      Trig::sin4(q2 + h, sinQ2 + h);
    }
    if (wristAtHand) {
      for (int w = 0; w < 4; ++w) wrist[w] = s4[w];
    } else {
      const Float64 q4[4] = {q[0][4], q[2][4], q[4][4], q[6][4]};
      Trig::sin4(q4, wrist);
    }
  }

  // The joints' bound, and the configuration quantities' decisions, over the solvable
  // candidates.
  if (Trig::fast) {
    const Float64 dTheta0 = dSC0;
    const Float64 lengths = std::fabs(a2) + std::fabs(a3) + std::fabs(d4);
    Float64 largestJointError = 0.0;
    for (int k = 0; k < 8; ++k) {
      const int i = k >> 2, w = k >> 1;
      if (D[w] < 0) continue;
      const Float64 dTheta[6] = {dTheta0,    dTheta1[k], dTheta2[k],
                                 dTheta3[k], dTheta4[i], dPsi[i] + 8 * U};
      Float64 dQ[6];
      for (int j = 0; j < 6; ++j) {
        dQ[j] = dTheta[j] + 4 * U * (std::fabs(q[k][j]) + std::fabs(mdh[j].theta));
        largestJointError = larger(largestJointError, dQ[j]);
        clear = clear && std::fabs(q[k][j]) <= LargestFastAngle;
      }
      const Float64 dArgs = 3 * (dQ[1] + dQ[2] + dQ[3]) +
                            8 * U * (std::fabs(q[k][1]) + std::fabs(q[k][2]) + std::fabs(q[k][3]));
      const Float64 shoulder = _chainMDH4->_shoulderQuantity(sinQ1[k], sinQ2Q1[k], sinQ3U[k]);
      const Float64 dShoulder = lengths * (sineError(dArgs) + 4 * U);
      clear = clear && quantityClear(shoulder, dShoulder) &&
              quantityClear(sinQ2[k], sineError(dQ[2] + 8 * U * std::fabs(q[k][2]))) &&
              quantityClear(wrist[w], sineError(dQ[4] + 8 * U * std::fabs(q[k][4])));
    }
    jointError = largestJointError;
    if (!clear || !(largestJointError <= LargestJointError)) return -1;
  }

  // Every candidate is classified; which of them count, and in what order, is the
  // callers' business.
  for (int k = 0; k < 8; ++k) {
    raw.mode[k] = 0;
    // A not-a-number D is not below 0 and is solved on.
    if (D[k >> 1] < 0) {
      raw.status[k] = 7;
      continue;
    }
    const Float64 shoulder = _chainMDH4->_shoulderQuantity(sinQ1[k], sinQ2Q1[k], sinQ3U[k]);
    Int32 m = 0;
    raw.status[k] = Chain_MDH4::_modeOfQuantities(shoulder, sinQ2[k], wrist[k >> 1], m, true);
    // A singular candidate still has the bits of its other quantities.
    if (raw.status[k] != 0)
      Chain_MDH4::_modeOfQuantities(shoulder, sinQ2[k], wrist[k >> 1], m, false);
    raw.mode[k] = m;
  }
  return 0;
}

template Bool IkSolverPos_Tarvin2_6Dof::_solve<VectorTrig>(const KDL::Frame&, const FrameError&,
                                                           const MathVector&, Int32, MathVector&,
                                                           Int32&);
template Bool IkSolverPos_Tarvin2_6Dof::_solve<LibmTrig>(const KDL::Frame&, const FrameError&,
                                                         const MathVector&, Int32, MathVector&,
                                                         Int32&);

IkSolverPos_Tarvin2_6Dof::~IkSolverPos_Tarvin2_6Dof() {}

Bool IkSolverPos_Tarvin2_6Dof::_isValidMode(const Int32& mode) {
  return mode >= 0 && mode <= 7;
}

// Turn count of an angle: x / 2pi to the nearest integer, except that [-pi, pi) is turn 0
// and pi itself turn 1. The count converts toward zero to 32 bits; where it does not fit
// (|x| beyond about 1.35e10) or x is infinite, the conversion gives the most negative
// Int32, as the x86 conversion instruction does, instead of undefined behaviour. A
// not-a-number x fails both comparisons and counts as turn 0.
//
// Each joint then moves into the reference's turn. The doubled difference of the counts
// is formed first, in 32 bits; it overflows for references beyond about 6.7e9, and wraps
// then in two's complement as the x86 integer instructions do (unsigned arithmetic,
// converted back modulo 2^32), instead of undefined behaviour. For an infinite reference
// this leaves the joint in turn 0, which _nearestTurns then moves one turn towards it: the
// answer still reaches the pose. Wider arithmetic would shift it by about 2^32 pi instead,
// a finite value whose rounding misses the pose.
Void IkSolverPos_Tarvin2_6Dof::_intoReferenceTurns(Float64* q, const MathVector& jntPosRef) const {
  for (UInt32 j = 0; j < _chainMDH4->_dof; ++j) {
    const UInt32 apart =
        static_cast<UInt32>(turnCountOf(q[j])) - static_cast<UInt32>(turnCountOf(jntPosRef(j)));
    const Int32 halfTurns = static_cast<Int32>(2u * apart);
    q[j] = q[j] - Pi * static_cast<Float64>(halfTurns);
  }
}

// Wrist first, then elbow. Deliberately only 0, pi and -pi are tested, on the turn-aligned
// values: a joint in another turn (near 2 pi, say) is not caught. The warning bands would
// be tested the same way and decide nothing, so they are not evaluated.
Int32 IkSolverPos_Tarvin2_6Dof::_alignedSingularity(const Float64* q) const {
  const auto nearZeroOrPi = [](Float64 v, Float64 limit) {
    return std::fabs(v) < limit || std::fabs(v - Pi) < limit || std::fabs(v + Pi) < limit;
  };
  if (nearZeroOrPi(q[4], _wristSingularLimit)) return 4;
  if (nearZeroOrPi(q[2], _elbowSingularLimit)) return 3;
  return 0;
}

// At most one shift of 2 pi per joint towards the reference, so results may lie outside
// [-pi, pi] to stay near it.
Void IkSolverPos_Tarvin2_6Dof::_nearestTurns(Float64* q, const MathVector& jntPosRef) const {
  for (UInt32 j = 0; j < _chainMDH4->_dof; ++j) {
    if (std::fabs(q[j] - jntPosRef(j)) > Pi) {
      q[j] = q[j] + sign(jntPosRef(j) - q[j]) * (2 * Pi);
    }
  }
}

Int32 IkSolverPos_Tarvin2_6Dof::flangePosToAllJntPos(const KDL::Frame& flangePos,
                                                     const MathVector& jntPosRef,
                                                     IkSolutions& solutions) {
  assert(jntPosRef.size() == 6);
  Int32 code = 0;
  const UInt32 libmRows = VectorTrig::usable()
                              ? _all<VectorTrig>(flangePos, {0.0, 0.0}, jntPosRef, solutions, code)
                              : AllRows;
  return libmRows == 0 ? code : _libmRows(flangePos, jntPosRef, solutions, libmRows);
}

// flangePosToAllJntPos with the functions of Trig. Returns the rows still to be taken from
// libm (vector functions only): AllRows when a decision of the candidates lies within its
// bound, else those whose turn alignment has one, left half done.
template <class Trig>
UInt32 IkSolverPos_Tarvin2_6Dof::_all(const KDL::Frame& flangePos, const FrameError& inputError,
                                      const MathVector& jntPosRef, IkSolutions& solutions,
                                      Int32& code) {
  Float64 jointError = 0.0;
  const Int32 poseCode = _candidatesWith<Trig>(flangePos, inputError, solutions, jointError);
  if (poseCode < 0) return AllRows;
  UInt32 libmRows = 0;
  for (int k = 0; k < 8; ++k) {
    Float64* const q = solutions.jntPos[k];
    if (poseCode != 0) {
      solutions.mode[k] = 0;
      solutions.status[k] = poseCode;
    } else if (solutions.status[k] == 0) {
      // Every solved candidate goes through what flangePosToJntPos does to the one it
      // selects, so that one comes out here bit for bit.
      if (!Trig::fast) {
        _intoReferenceTurns(q, jntPosRef);
      } else if (!_alignedClear(q, jntPosRef, jointError)) {
        libmRows |= 1u << k;
        continue;
      }
      solutions.status[k] = _alignedSingularity(q);
      if (solutions.status[k] == 0) _nearestTurns(q, jntPosRef);
    }
    if (solutions.status[k] != 0) {
      for (int j = 0; j < 6; ++j) q[j] = 0.0;
    }
  }
  code = poseCode;
  return libmRows;
}

// Rows `rows` (bit k for row k) of solutions as libm's functions give them for flangePos;
// returns libm's code, which is the vector path's where that left only some rows.
Int32 IkSolverPos_Tarvin2_6Dof::_libmRows(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                                          IkSolutions& solutions, UInt32 rows) {
  IkSolutions exact;
  Int32 code = 0;
  _all<LibmTrig>(flangePos, {0.0, 0.0}, jntPosRef, exact, code);
  for (int k = 0; k < 8; ++k) {
    if ((rows & (1u << k)) == 0) continue;
    for (int j = 0; j < 6; ++j) solutions.jntPos[k][j] = exact.jntPos[k][j];
    solutions.mode[k] = exact.mode[k];
    solutions.status[k] = exact.status[k];
  }
  return code;
}

template UInt32 IkSolverPos_Tarvin2_6Dof::_all<VectorTrig>(const KDL::Frame&, const FrameError&,
                                                           const MathVector&, IkSolutions&, Int32&);

namespace {

// The whole-turn variant q + 2 pi k of a joint value nearest the reference within
// [lower, upper], into `variant`; false when no variant lies within the limits or q is
// not finite. The best k is the unconstrained one clamped to the limits' range of k; its
// two neighbours are tried too, since rounding can put a variant just across a limit or
// make the rounded k one off. A reference that is not finite asks for no shift. k stays a
// double and within 2^20 turns (6.6e6 rad), where a double still holds the shifted angle
// to 1e-9 rad: huge references and limits need no integer conversion and give no variant
// that misses the pose.
bool nearestVariant(Float64 q, Float64 ref, Float64 lower, Float64 upper, Float64& variant) {
  if (!std::isfinite(q)) return false;
  const Float64 turn = 2 * Pi, maxTurns = 1048576.0;
  Float64 k = std::isfinite(ref) ? std::nearbyint((ref - q) / turn) : 0.0;
  k = std::fmin(std::fmax(k, std::ceil((lower - q) / turn)), std::floor((upper - q) / turn));
  k = std::fmin(std::fmax(k, -maxTurns), maxTurns);
  bool found = false;
  Float64 bestDistance = 0.0;
  // k first, so that its neighbours replace it only when strictly nearer.
  for (const Float64 step : {0.0, -1.0, 1.0}) {
    const Float64 n = k + step;
    const Float64 v = n == 0.0 ? q : q + turn * n;
    if (std::fabs(n) > maxTurns || !(v >= lower && v <= upper)) continue;
    const Float64 distance = std::fabs(v - ref);
    if (!found || distance < bestDistance) {
      found = true;
      bestDistance = distance;
      variant = v;
    }
  }
  return found;
}

}  // namespace

Int32 IkSolverPos_Tarvin2_6Dof::flangePosToNearestJntPos(const KDL::Frame& flangePos,
                                                         const MathVector& jntPosRef,
                                                         MathVector& jntPos, const Float64* lower,
                                                         const Float64* upper) {
  assert(jntPosRef.size() == 6);
  IkSolutions all;
  const Int32 poseCode = flangePosToAllJntPos(flangePos, jntPosRef, all);
  return _nearestOf(all, poseCode, jntPosRef, jntPos, lower, upper);
}

Int32 IkSolverPos_Tarvin2_6Dof::_nearestOf(const IkSolutions& all, Int32 poseCode,
                                           const MathVector& jntPosRef, MathVector& jntPos,
                                           const Float64* lower, const Float64* upper) const {
  if (jntPos.size() != 6) jntPos.resize(6);
  // A missing bound is no bound; infinite bounds are fine, not-a-number ones are not.
  Float64 lo[6], hi[6];
  for (int j = 0; j < 6; ++j) {
    lo[j] = lower != nullptr ? lower[j] : -INFINITY;
    hi[j] = upper != nullptr ? upper[j] : INFINITY;
    if (std::isnan(lo[j]) || std::isnan(hi[j]) || lo[j] > hi[j]) return 8;
  }
  if (poseCode != 0) return poseCode;

  // Largest joint difference smallest; strict comparison keeps ties at the lower index.
  // Joint differences are independent, so each joint takes its own nearest variant. A
  // difference that is not a number (a reference that is not one) counts as infinite.
  int best = -1;
  Float64 bestScore = 0.0, bestQ[6];
  Int32 firstSingular = 0;
  bool anySolved = false;
  for (int k = 0; k < 8; ++k) {
    if (all.status[k] != 0) {
      if (firstSingular == 0 && all.status[k] != 7) firstSingular = all.status[k];
      continue;
    }
    anySolved = true;
    Float64 v[6], score = 0.0;
    bool fits = true;
    for (int j = 0; j < 6; ++j) {
      fits = nearestVariant(all.jntPos[k][j], jntPosRef(j), lo[j], hi[j], v[j]);
      if (!fits) break;
      const Float64 difference = std::fabs(v[j] - jntPosRef(j));
      score = std::isnan(difference) ? INFINITY : std::fmax(score, difference);
    }
    if (fits && (best < 0 || score < bestScore)) {
      best = k;
      bestScore = score;
      for (int j = 0; j < 6; ++j) bestQ[j] = v[j];
    }
  }
  if (best < 0) return anySolved || firstSingular == 0 ? 7 : firstSingular;
  for (UInt32 j = 0; j < 6; ++j) jntPos(j) = bestQ[j];
  return 0;
}
