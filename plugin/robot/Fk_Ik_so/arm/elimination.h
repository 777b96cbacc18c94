// The inverse of any arm of six revolute joints by elimination to one variable.
//
// The arm and its target close a loop of six rotations about z axes and six fixed links:
//   Rz(phi_0) M_0 Rz(phi_1) M_1 ... Rz(phi_5) M_5 = identity,
// phi_k being one joint's angle (or its negative, the loop read backwards) and one link
// being the target's. Read from any joint in either direction, it splits into
//   Rz(phi_2) M_2 Rz(phi_3) M_3 Rz(phi_4) M_4 = M_1^-1 Rz(-phi_1) M_0^-1 Rz(-phi_0) M_5^-1
//   Rz(-phi_5),
// and both sides carry the origin and the z axis of M_4's frame, a point p and a direction l
// on the axis of phi_5, the same way without phi_5. Fourteen functions of them (p, l, p.p,
// p.l, p x l and (p.p) l - 2 (p.l) p) stay, on the left, sums of products of (1, cos, sin) of
// phi_2, phi_3 and phi_4, and on the right of phi_0 and phi_1: fourteen equations linear in
// the nine such products of phi_3, phi_4 and the eight of phi_0, phi_1, with coefficients
// linear in cos and sin of phi_2. Projected on the complement of the right's eight columns,
// six equations are left; with half-angle tangents y of phi_3 and z of phi_4, and again
// times y, they are twelve linear equations in the twelve monomials y^a z^b (a <= 3,
// b <= 2), whose matrix Sigma(phi_2) is singular exactly at a solution's phi_2.
//
// det Sigma(phi_2) is a trigonometric polynomial of degree 8 in phi_2: seventeen samples
// give it exactly, and its real roots, at most sixteen, are those of a polynomial of degree
// 16 in the half-angle tangent (found as the eigenvalues of its companion matrix), taken
// about the largest sample, so that no root lies at infinity. Each root's null vector of
// Sigma gives phi_3 and phi_4, the right's eight products phi_0 and phi_1 by least squares,
// and the loop phi_5.
//
// The coefficients come from evaluating the two sides at the angles 0, pi/2 and pi, not from
// formulas: any fixed links do. Everything is of fixed size; nothing is allocated.
#ifndef FK_IK_SO_ARM_ELIMINATION_H
#define FK_IK_SO_ARM_ELIMINATION_H

#include <Eigen/QR>

#include "arm_ik_solutions.h"

namespace fk_ik {

// The loop read from one joint in one direction: joint[k] is the arm's joint (0-5) whose
// angle, times sense, is phi_k.
struct EliminationLoop {
  KDL::Frame link[Arm_Dof];
  Int32 joint[Arm_Dof];
  Float64 sense;
};

// The loop of an arm and its flange target (the arm's joint frames at zero), read from
// joint first forwards (sense 1) or backwards (sense -1, joint first, then first - 1, ...).
FK_IK_SO_LOCAL EliminationLoop eliminationLoop(const KDL::Frame zeroFrames[Arm_Dof + 1],
                                               const KDL::Frame& flange, Int32 first,
                                               Float64 sense);

// The fourteen equations of a loop: left(phi_2, phi_3, phi_4) = right(phi_0, phi_1) as
//   (P_1 + P_c cos phi_2 + P_s sin phi_2) products(phi_3, phi_4) = Q products'(phi_0, phi_1),
// products of (1, cos, sin) of two angles indexed 3 i + j (the right's without 1 * 1, whose
// column moved into P_1), and what elimination makes of them.
typedef Eigen::Matrix<Float64, 14, 9> LoopCoefficients;
typedef Eigen::Matrix<Float64, 14, 8> LoopRight;
typedef Eigen::Matrix<Float64, 12, 12> SigmaMatrix;
struct EliminationSystem {
  LoopCoefficients left[3];                     // P_1, P_c, P_s
  LoopRight right;                              // Q
  Eigen::Matrix<Float64, 14, 1> rightConstant;  // the right's 1 * 1 column
  // Q's QR factorisation with column pivoting, and its reciprocal condition estimate (the
  // smallest diagonal element of R over the largest).
  Eigen::ColPivHouseholderQR<LoopRight> rightQr;
  Float64 rightCondition;
  // The six equations in monomials y^a z^b (index 3 a + b, a, b <= 2), for 1, cos, sin of
  // phi_2, each equation scaled to a largest coefficient of 1.
  Eigen::Matrix<Float64, 6, 9> six[3];
};

// The right side's coefficients and factorisation (the cheap part, to choose a reading).
FK_IK_SO_LOCAL void eliminationRight(const EliminationLoop& loop, EliminationSystem& system);
// The left side's coefficients and the six equations, after eliminationRight.
FK_IK_SO_LOCAL void eliminationLeft(const EliminationLoop& loop, EliminationSystem& system);
// Sigma(phi_2) from its cosine and sine.
FK_IK_SO_LOCAL void sigmaAt(const EliminationSystem& system, Float64 c, Float64 s,
                            SigmaMatrix& sigma);

// Sigma factorised by Gaussian elimination with partial pivoting (rows reached through a
// permutation, not moved): its determinant, and solves (the null vector's inverse
// iteration).
struct FK_IK_SO_LOCAL SigmaLu {
  // Sigma(phi_2) from its cosine and sine, factorised.
  SigmaLu(const EliminationSystem& system, Float64 c, Float64 s);
  // b := sigma^-1 b; false when a pivot is zero.
  Bool solve(Float64 b[12]) const;
  Float64 determinant;

 private:
  Float64 _a[12][12];  // by rows: unit L below the diagonal, U on and above it
  Int32 _row[12];      // the row of _a that is the factorisation's row i
};

// det Sigma(shift + psi) (1 + t^2)^8 as a polynomial in t = tan(psi / 2), coefficients
// poly[m] of t^m, scaled to a leading coefficient of +-1: the shift puts t = infinity at the
// largest of seventeen samples; spread is the smallest sample over the largest. False when
// a sample is not finite or all are zero.
FK_IK_SO_LOCAL Bool determinantPolynomial(const EliminationSystem& system, Float64 poly[17],
                                          Float64& shift, Float64& spread);
// The real roots of poly[0..16] (poly[16] != 0) in increasing order, and each local extremum
// that misses zero by no more than a complex pair of roots within near (1 + x^2) / 2 of the
// real line would.
FK_IK_SO_LOCAL Int32 polynomialRealRoots(const Float64 poly[17], Float64 near, Float64 roots[16]);
// The real roots phi_2 of det Sigma (at most 16; roots of a complex pair closer than about
// 1e-4 rad to the real line included), written to roots; returns their count, 0 also when
// the determinant vanishes for every angle. deep: a sample lies below the largest's
// rounding, so that the roots may lie in a valley too deep for the samples (all of them
// close together): another reading then does better.
FK_IK_SO_LOCAL Int32 eliminationRoots(const EliminationSystem& system, Float64 roots[16],
                                      Bool& deep);

// The loop can be read from each of six joints in two directions. Which suits an arm
// depends on its axes: where the joint solved for first takes one value in two solutions
// (a wrist's flip leaves the arm's joints as they were), its roots are double and a
// reading fails; where the right side's two axes are parallel, it is not posed.
const Int32 Readings = 2 * Arm_Dof;

// The reading for the arm: the first whose unrefined candidates give back the joints of a
// few trial poses to 1e-8, else the one that comes closest; -1 when no reading is posed
// for them (a degenerate arm). Once per arm.
FK_IK_SO_LOCAL Int32 eliminationReading(const Arm& arm);

// Every candidate of the arm (its joint frames at zero) for the flange target, appended to
// out unrefined, from the given reading (or, where the pose puts its right side near a
// singular one, the best-conditioned other): Arm_Ok, or Arm_Not_Covered when no reading is
// well posed (a degenerate arm).
FK_IK_SO_LOCAL Int32 eliminationCandidates(const KDL::Frame zeroFrames[Arm_Dof + 1],
                                           const KDL::Frame& flange, Int32 reading,
                                           ArmIkSolutions& out);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ELIMINATION_H
