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

  // 2. The caller gets back a vector of six whatever the result; its values are written
  //    only on success (step 19), so after a failure it keeps what it held.
  if (jntPos.size() != 6) jntPos.resize(6);

  // 3.-4. Target mode. -1 asks for the reference's own configuration; a singular reference
  //       has none, and its code (2, 3 or 4) ends the call. With an explicit mode the
  //       reference only sets the turns and may itself be singular.
  //       The reference's mode is getMode_6dof's, its five sines taken in two vector calls.
  Int32 targetMode = -1;
  if (mode == -1) {
    const Float64 r1 = jntPosRef(1), r2 = jntPosRef(2), r3 = jntPosRef(3), r4 = jntPosRef(4);
    const Float64 x[8] = {r1, r2 + r1, r3 + ((-r1) - r2), r2, r4, 0.0, 0.0, 0.0};
    Float64 sines[8];
    sin4(x, sines);
    sin4(x + 4, sines + 4);
    const Float64 shoulder = _chainMDH4->_shoulderQuantity(sines[0], sines[1], sines[2]);
    const Int32 code =
        Chain_MDH4::_modeOfQuantities(shoulder, sines[3], sines[4], targetMode, true);
    if (code != 0) return code;
  } else {
    targetMode = mode;
  }
  if (!_isValidMode(targetMode)) return 5;

  // 5.-13. The eight candidates, each with its configuration mode or the reason it has
  //        none; the pose itself may be out of reach (6) or shoulder singular (2).
  IkSolutions raw;
  const Int32 poseCode = _candidates(flangePos, raw);
  if (poseCode != 0) return poseCode;

  // chosen[m] is the candidate of configuration mode m; bit m of `found` says there is one.
  int chosen[8];
  UInt32 found = 0;
  for (int k = 0; k < 8; ++k) {
    if (raw.status[k] == 7) continue;  // out of the two arm links' reach
    // Deliberate: a single singular candidate ends the whole call with its code, even when
    // it is not in the requested mode, and no later candidate is tried.
    if (raw.status[k] != 0) return raw.status[k];
    // Deliberate: a later candidate of the same mode overwrites an earlier one, so the
    // answer need not be the joint position that produced the pose.
    chosen[raw.mode[k]] = k;
    found |= 1u << raw.mode[k];
  }

  // 14. No candidate in the requested mode (nor, then, when none was solvable at all).
  if ((found & (1u << targetMode)) == 0) return 7;
  Float64* const sel = raw.jntPos[chosen[targetMode]];

  // 15.-16. Each joint into the reference's turn.
  _intoReferenceTurns(sel, jntPosRef);
  // 17. Singularity of the selected solution, wrist first, then elbow.
  const Int32 singular = _alignedSingularity(sel);
  if (singular != 0) return singular;
  // 18. Nearest turn.
  _nearestTurns(sel, jntPosRef);

  // 19.-20.
  for (UInt32 j = 0; j < 6; ++j) jntPos(j) = sel[j];
  return 0;
}

// The closed form of the arm's eight candidates, rows of raw in candidate order, each with
// its status: 0 with its configuration mode, 2, 3 or 4 when getMode_6dof finds it singular
// (with the mode bits of its quantities), 7 when the target is out of the two arm links'
// reach (D < 0; mode 0). Returns 6 (wrist centre on or inside the offset cylinder) or 2
// (just outside it) for the pose as a whole, and then fills nothing.
Int32 IkSolverPos_Tarvin2_6Dof::_candidates(const KDL::Frame& flangePos, IkSolutions& raw) const {
  const MDH* const mdh = _chainMDH4->_mdhParam;
  const KDL::Rotation& R = flangePos.M;
  const Float64 nx = R(0, 0), ny = R(1, 0), nz = R(2, 0);  // flange x axis
  const Float64 ox = R(0, 1), oy = R(1, 1), oz = R(2, 1);  // flange y axis
  const Float64 ax = R(0, 2), ay = R(1, 2), az = R(2, 2);  // flange z (approach) axis
  const Float64 px = flangePos.p.x(), py = flangePos.p.y(), pz = flangePos.p.z();
  const Float64 a2 = mdh[2].a, a3 = mdh[3].a;
  const Float64 d0 = mdh[0].d, d4 = mdh[4].d, d5 = mdh[5].d;

  // The wrist centre is the flange moved back by d[5] along its approach axis (wxn is
  //       minus its x). The arm's plane passes at the lateral offset e from joint 0's axis;
  //       L is the wrist centre's squared distance from that axis less e squared.
  const Float64 wy = py - d5 * ay;
  const Float64 wxn = d5 * ax - px;
  const Float64 e = mdh[1].d + mdh[2].d - mdh[3].d;
  const Float64 L = (wxn * wxn + wy * wy) - e * e;

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
    atan2x4(y, x, angles);
  }
  const Float64 theta0[4] = {angles[1] - angles[0], angles[2] - angles[0], 0.0, 0.0};
  Float64 s0[4], c0[4];
  sinCos4(theta0, s0, c0);

  // Joint 4 (wrist bend): x is its cosine. Rounding can push |x| just past 1; that
  //     noise is clamped to +-1 (|x| = 1 exactly is kept as it is). Branch + lies in
  //     [0, pi], branch - in [-pi, 0].
  // Joint 5 (flange rotation) turns by psi of its joint 0 branch.
  Float64 theta4[4], s4[4], c4[4], psi[4];
  {
    Float64 y4[4], x4[4], yPsi[4] = {0.0, 0.0, 0.0, 0.0}, xPsi[4] = {1.0, 1.0, 1.0, 1.0};
    for (int i = 0; i < 2; ++i) {
      Float64 x = c0[i] * ay - ax * s0[i];
      if (std::fabs(x) > 1) x = sign(x);
      const Float64 s = std::sqrt(1 - x * x);
      y4[2 * i] = s;
      y4[2 * i + 1] = -s;
      x4[2 * i] = x4[2 * i + 1] = x;
      yPsi[i] = s0[i] * ox - c0[i] * oy;
      xPsi[i] = s0[i] * nx - c0[i] * ny;
    }
    atan2x4(y4, x4, theta4);
    atan2x4(yPsi, xPsi, psi);
  }
  sinCos4(theta4, s4, c4);
  //     theta5 = atan2(0.0, sin(theta4)) - psi: -psi when sin(theta4) > 0 or is +0, pi - psi
  //     when it is negative or -0 (and not-a-number with it), exactly as atan2 gives.
  Float64 theta5[4], s5[4], c5[4];
  for (int w = 0; w < 4; ++w) {
    const Float64 atanOfZero = std::isnan(s4[w]) ? s4[w] : std::signbit(s4[w]) ? Pi : 0.0;
    theta5[w] = atanOfZero - psi[w >> 1];
  }
  sinCos4(theta5, s5, c5);

  // Joints 1, 2 and 3: the planar problem of the upper arm a[2] and forearm a[3], whose
  //     end (X, Y) is the wrist centre less the d[4] offset, in the arm's plane. Candidates
  //     2w and 2w + 1 differ only in the sign of sqrt(D): X, Y, A, B, K, D, atan2(A, B), w1,
  //     w2 and their arc tangent belong to w.
  Float64 X[4], Y[4], K[4], D[4], rootD[4], atanAB[4], atanW[4];
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
    }
    atan2x4(A, B, atanAB);
    atan2x4(w1, w2, atanW);
  }

  // The eight candidates' joint 1, its sine and cosine, joint 2 and joint 3, four at a time.
  const Float64 sigma = sign(a3);
  Float64 theta1[8], s1[8], c1[8], theta2[8], theta3[8];
  {
    Float64 y[8], x[8];
    for (int k = 0; k < 8; ++k) {
      y[k] = K[k >> 1];
      x[k] = k % 2 == 0 ? rootD[k >> 1] : -rootD[k >> 1];
    }
    atan2x4(y, x, theta1);
    atan2x4(y + 4, x + 4, theta1 + 4);
    for (int k = 0; k < 8; ++k) theta1[k] = theta1[k] - atanAB[k >> 1];
    sinCos4(theta1, s1, c1);
    sinCos4(theta1 + 4, s1 + 4, c1 + 4);
    for (int k = 0; k < 8; ++k) {
      y[k] = (Y[k >> 1] - a2 * s1[k]) * sigma;
      x[k] = (X[k >> 1] - a2 * c1[k]) * sigma;
    }
    atan2x4(y, x, theta2);
    atan2x4(y + 4, x + 4, theta2 + 4);
    for (int k = 0; k < 8; ++k) {
      theta2[k] = theta2[k] - theta1[k];
      theta3[k] = theta2[k] + (theta1[k] + atanW[k >> 1]);
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
        sin4(q1 + h, sinQ1 + h);
      }
      sin4(sumQ2Q1 + h, sinQ2Q1 + h);
      sin4(sumQ3U + h, sinQ3U + h);
      sin4(q2 + h, sinQ2 + h);
    }
    if (wristAtHand) {
      for (int w = 0; w < 4; ++w) wrist[w] = s4[w];
    } else {
      const Float64 q4[4] = {q[0][4], q[2][4], q[4][4], q[6][4]};
      sin4(q4, wrist);
    }
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
  const auto truncToInt32 = [](Float64 v) -> Int32 {
    if (v > -2147483649.0 && v < 2147483648.0) return static_cast<Int32>(v);
    return INT32_MIN;
  };
  const auto turnCount = [&truncToInt32](Float64 x) -> Int32 {
    const Float64 invPi = 0.3183098861837907;
    if (x >= Pi) return truncToInt32(0.5 + (0.5 * x) * invPi);
    if (x < -Pi) return truncToInt32(invPi * (0.5 * x) - 0.5);
    return 0;
  };
  for (UInt32 j = 0; j < _chainMDH4->_dof; ++j) {
    const UInt32 apart =
        static_cast<UInt32>(turnCount(q[j])) - static_cast<UInt32>(turnCount(jntPosRef(j)));
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
  const Int32 poseCode = _candidates(flangePos, solutions);
  for (int k = 0; k < 8; ++k) {
    Float64* const q = solutions.jntPos[k];
    if (poseCode != 0) {
      solutions.mode[k] = 0;
      solutions.status[k] = poseCode;
    } else if (solutions.status[k] == 0) {
      // Every solved candidate goes through what flangePosToJntPos does to the one it
      // selects, so that one comes out here bit for bit.
      _intoReferenceTurns(q, jntPosRef);
      solutions.status[k] = _alignedSingularity(q);
      if (solutions.status[k] == 0) _nearestTurns(q, jntPosRef);
    }
    if (solutions.status[k] != 0) {
      for (int j = 0; j < 6; ++j) q[j] = 0.0;
    }
  }
  return poseCode;
}

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
  if (jntPos.size() != 6) jntPos.resize(6);
  // A missing bound is no bound; infinite bounds are fine, not-a-number ones are not.
  Float64 lo[6], hi[6];
  for (int j = 0; j < 6; ++j) {
    lo[j] = lower != nullptr ? lower[j] : -INFINITY;
    hi[j] = upper != nullptr ? upper[j] : INFINITY;
    if (std::isnan(lo[j]) || std::isnan(hi[j]) || lo[j] > hi[j]) return 8;
  }

  IkSolutions all;
  const Int32 poseCode = flangePosToAllJntPos(flangePos, jntPosRef, all);
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
