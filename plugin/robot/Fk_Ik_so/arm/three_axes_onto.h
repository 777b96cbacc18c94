// Three axes in general position carrying a point onto a point:
//   Rot(axis 1, t1) Rot(axis 2, t2) Rot(axis 3, t3) p = q.
// Turns about axis 2 keep a point's distance from a point of axis 2 and its height along
// axis 2. Both quantities of Rot(axis 3, t3) p are linear in cos t3 and sin t3, and those of
// Rot(axis 1, -t1) q linear in cos t1 and sin t1: equal, they give cos t3 and sin t3 from
// t1, and cos^2 + sin^2 = 1 a quartic in tan(t1 / 2), solved as a 4 x 4 eigenproblem and
// polished by Newton steps. t2 then turns one onto the other. Up to four solutions.
//
// Needs the two quantities to fix t3: not axes 2 and 3 parallel or meeting (the closed forms
// of those cases live beside: two meeting axes, two parallel axes). Returns 0 solutions for
// data where they do not, or that are not finite. Each solution is for the caller to check
// (the quartic's roots carry its conditioning). Nothing allocates.
#ifndef FK_IK_SO_ARM_THREE_AXES_ONTO_H
#define FK_IK_SO_ARM_THREE_AXES_ONTO_H

#include "subproblems.h"

namespace fk_ik {

FK_IK_SO_API Int32 rotationsOntoThreeAxes(const Line axis[3], const KDL::Vector& p,
                                          const KDL::Vector& q, Float64 t[4][3]);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_THREE_AXES_ONTO_H
