#include "ik_solver_pos_tarvin2_6dof.h"

// The six thresholds take the values of their initialisers in the class.
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
  Int32 targetMode = -1;
  if (mode == -1) {
    const Int32 code = _chainMDH4->getMode_6dof(jntPosRef, targetMode, true);
    if (code != 0) return code;
  } else {
    targetMode = mode;
  }
  if (!_isValidMode(targetMode)) return 5;

  const MDH* const mdh = _chainMDH4->_mdhParam;
  const KDL::Rotation& R = flangePos.M;
  const Float64 nx = R(0, 0), ny = R(1, 0), nz = R(2, 0);  // flange x axis
  const Float64 ox = R(0, 1), oy = R(1, 1), oz = R(2, 1);  // flange y axis
  const Float64 ax = R(0, 2), ay = R(1, 2), az = R(2, 2);  // flange z (approach) axis
  const Float64 px = flangePos.p.x(), py = flangePos.p.y(), pz = flangePos.p.z();
  const Float64 a2 = mdh[2].a, a3 = mdh[3].a;
  const Float64 d0 = mdh[0].d, d4 = mdh[4].d, d5 = mdh[5].d;

  // 5.-6. The wrist centre is the flange moved back by d[5] along its approach axis (wxn is
  //       minus its x). The arm's plane passes at the lateral offset e from joint 0's axis;
  //       L is the wrist centre's squared distance from that axis less e squared.
  const Float64 wy = py - d5 * ay;
  const Float64 wxn = d5 * ax - px;
  const Float64 e = mdh[1].d + mdh[2].d - mdh[3].d;
  const Float64 L = (wxn * wxn + wy * wy) - e * e;

  // 7.-8. On or inside the offset cylinder there is no solution; just outside it the two
  //       shoulder branches nearly coincide. A not-a-number L passes both tests.
  if (L <= 0) return 6;
  if (_shoulderSingularLimit * _shoulderSingularLimit > L) return 2;

  // Candidate k (0 ... 7) takes shoulder branch k >> 2 (A, B), wrist branch (k >> 1) & 1
  // (+, -) and elbow branch k & 1 (+, -). Joints 0, 4 and 5 depend on the first two only,
  // so candidates 2w and 2w + 1 share them; w = k >> 1 indexes the four wrist solutions.
  // Each of those angles' sine and cosine is computed once, here.

  // 9. Joint 0, branches A and B.
  const Float64 phi = std::atan2(wy, wxn);
  const Float64 rho = std::sqrt(L);
  const Float64 theta0[2] = {std::atan2(e, rho) - phi, std::atan2(e, -rho) - phi};
  Float64 s0[2], c0[2];
  Float64 theta4[4], s4[4], c4[4];
  Float64 theta5[4], s5[4], c5[4];
  for (int i = 0; i < 2; ++i) {
    s0[i] = std::sin(theta0[i]);
    c0[i] = std::cos(theta0[i]);

    // 10. Joint 4 (wrist bend): x is its cosine. Rounding can push |x| just past 1; that
    //     noise is clamped to +-1 (|x| = 1 exactly is kept as it is).
    Float64 x = c0[i] * ay - ax * s0[i];
    if (std::fabs(x) > 1) x = sign(x);
    const Float64 s = std::sqrt(1 - x * x);
    theta4[2 * i] = std::atan2(s, x);       // branch +, in [0, pi]
    theta4[2 * i + 1] = std::atan2(-s, x);  // branch -, in [-pi, 0]

    // 11. Joint 5 (flange rotation): -psi when sin(theta4) > 0 or is +0, pi - psi when it
    //     is negative or -0, as atan2(0.0, sin(theta4)) gives.
    const Float64 psi = std::atan2(s0[i] * ox - c0[i] * oy, s0[i] * nx - c0[i] * ny);
    for (int w = 2 * i; w < 2 * i + 2; ++w) {
      s4[w] = std::sin(theta4[w]);
      c4[w] = std::cos(theta4[w]);
      theta5[w] = std::atan2(0.0, s4[w]) - psi;
      s5[w] = std::sin(theta5[w]);
      c5[w] = std::cos(theta5[w]);
    }
  }

  // result[m] holds the candidate of configuration mode m; bit m of `found` says it does.
  Float64 result[8][6];
  UInt32 found = 0;
  const Float64 sigma = sign(a3);
  for (int w = 0; w < 4; ++w) {
    const int i = w >> 1;

    // 12. Joints 1, 2 and 3: the planar problem of the upper arm a[2] and forearm a[3],
    //     whose end (X, Y) is the wrist centre less the d[4] offset, in the arm's plane.
    //     Candidates 2w and 2w + 1 differ only in the sign of sqrt(D): X, Y, A, B, K, D,
    //     atan2(A, B), w1, w2 and their arc tangent are computed once for both.
    const Float64 X = c0[i] * (px - d5 * ax) + s0[i] * (py - d5 * ay) -
                      d4 * (s5[w] * (c0[i] * nx + s0[i] * ny) + c5[w] * (c0[i] * ox + s0[i] * oy));
    const Float64 Y = (d0 - pz) + d5 * az + d4 * (c5[w] * oz + s5[w] * nz);
    const Float64 A = 2 * a2 * X, B = 2 * a2 * Y;
    const Float64 K = (X * X + Y * Y) + a2 * a2 - a3 * a3;
    const Float64 D = 4 * a2 * a2 * (X * X + Y * Y) - K * K;
    // Out of the two links' reach: both candidates have no solution and no mode. A
    // not-a-number D is not below 0 and is solved on.
    if (D < 0) continue;
    const Float64 rootD = std::sqrt(D);
    const Float64 atanAB = std::atan2(A, B);
    const Float64 w1 = s4[w] * az + c4[w] * (c5[w] * nz - s5[w] * oz);
    const Float64 w2 = -c5[w] * oz - s5[w] * nz;
    const Float64 atanW = std::atan2(w1, w2);

    // 13. Joint positions and their configuration mode, as getMode_6dof computes it; a
    //     sine already at hand (the joint's theta offset is zero) is not taken again.
    const Float64 q0 = theta0[i] - mdh[0].theta;
    const Float64 q4 = theta4[w] - mdh[4].theta;
    const Float64 q5 = theta5[w] - mdh[5].theta;
    const Float64 wrist = q4 == theta4[w] ? s4[w] : std::sin(q4);
    for (int k = 2 * w; k < 2 * w + 2; ++k) {
      const Float64 theta1 = std::atan2(K, k % 2 == 0 ? rootD : -rootD) - atanAB;
      const Float64 s1 = std::sin(theta1), c1 = std::cos(theta1);
      const Float64 theta2 = std::atan2((Y - a2 * s1) * sigma, (X - a2 * c1) * sigma) - theta1;
      const Float64 theta3 = theta2 + (theta1 + atanW);
      const Float64 q[6] = {
          q0, theta1 - mdh[1].theta, theta2 - mdh[2].theta, theta3 - mdh[3].theta, q4, q5};
      const Float64 u = (-q[1]) - q[2];
      const Float64 shoulder = _chainMDH4->_shoulderQuantity(
          q[1] == theta1 ? s1 : std::sin(q[1]), std::sin(q[2] + q[1]), std::sin(q[3] + u));
      Int32 m = 0;
      const Int32 code = Chain_MDH4::_modeOfQuantities(shoulder, std::sin(q[2]), wrist, m, true);
      // Deliberate: a single singular candidate ends the whole call with its code, even when
      // it is not in the requested mode, and no later candidate is tried.
      if (code != 0) return code;
      // Deliberate: a later candidate of the same mode overwrites an earlier one, so the
      // answer need not be the joint position that produced the pose.
      for (UInt32 j = 0; j < 6; ++j) result[m][j] = q[j];
      found |= 1u << m;
    }
  }

  // 14. No candidate in the requested mode (nor, then, when none was solvable at all).
  if ((found & (1u << targetMode)) == 0) return 7;
  Float64* const sel = result[targetMode];

  // 15. Turn count of an angle: x / 2pi to the nearest integer, except that [-pi, pi) is
  //     turn 0 and pi itself turn 1. The count converts toward zero to 32 bits; where it
  //     does not fit (|x| beyond about 1.35e10) or x is infinite, the conversion gives the
  //     most negative Int32, as the x86 conversion instruction does, instead of undefined
  //     behaviour. A not-a-number x fails both comparisons and counts as turn 0.
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

  // 16. Each joint into the reference's turn. The doubled difference of the counts is formed
  //     first, in 32 bits; it overflows for references beyond about 6.7e9, and wraps then in
  //     two's complement as the x86 integer instructions do (unsigned arithmetic, converted
  //     back modulo 2^32), instead of undefined behaviour. For an infinite reference this
  //     leaves the joint in turn 0, which step 18 then moves one turn towards it: the answer
  //     still reaches the pose. Wider arithmetic would shift it by about 2^32 pi instead,
  //     a finite value whose rounding misses the pose.
  for (UInt32 j = 0; j < _chainMDH4->_dof; ++j) {
    const UInt32 apart =
        static_cast<UInt32>(turnCount(sel[j])) - static_cast<UInt32>(turnCount(jntPosRef(j)));
    const Int32 halfTurns = static_cast<Int32>(2u * apart);
    sel[j] = sel[j] - Pi * static_cast<Float64>(halfTurns);
  }

  // 17. Singularity of the selected solution, wrist first, then elbow. Deliberately only
  //     0, pi and -pi are tested, on the turn-aligned values: a joint in another turn (near
  //     2 pi, say) is not caught. The warning bands would be tested the same way and decide
  //     nothing, so they are not evaluated.
  const auto nearZeroOrPi = [](Float64 v, Float64 limit) {
    return std::fabs(v) < limit || std::fabs(v - Pi) < limit || std::fabs(v + Pi) < limit;
  };
  if (nearZeroOrPi(sel[4], _wristSingularLimit)) return 4;
  if (nearZeroOrPi(sel[2], _elbowSingularLimit)) return 3;

  // 18. Nearest turn: at most one shift of 2 pi per joint towards the reference, so results
  //     may lie outside [-pi, pi] to stay near it.
  for (UInt32 j = 0; j < _chainMDH4->_dof; ++j) {
    if (std::fabs(sel[j] - jntPosRef(j)) > Pi) {
      sel[j] = sel[j] + sign(jntPosRef(j) - sel[j]) * (2 * Pi);
    }
  }

  // 19.-20.
  for (UInt32 j = 0; j < 6; ++j) jntPos(j) = sel[j];
  return 0;
}

IkSolverPos_Tarvin2_6Dof::~IkSolverPos_Tarvin2_6Dof() {}

Bool IkSolverPos_Tarvin2_6Dof::_isValidMode(const Int32& mode) {
  return mode >= 0 && mode <= 7;
}
