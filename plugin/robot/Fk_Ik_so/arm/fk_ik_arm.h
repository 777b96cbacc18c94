/* Arms of any six revolute joints through C: each arm is held by a handle, so that a
 * host can hold several at once beside the designed functions' one process-wide model.
 * Every function takes plain arrays and returns a code: 0 done, 9 (FK_IK_ARM_INVALID) for
 * a refused description or a null handle; the URDF reader (fk_ik_urdf.h) adds 10 for a
 * file it cannot read; the inverses add the library's 6 (out of reach), 7 (none within the
 * limits) and 8 (invalid limits), and 11 (FK_IK_ARM_NOT_COVERED) for a degenerate arm,
 * one whose axes coincide (rows all zero, say) so that no reading of its loop is posed.
 * Every other arm has an inverse, in closed form where its layout allows, else by
 * elimination (armInverseSolver names which). The computing functions may run
 * concurrently on one handle.
 *
 * Rows are six rows of a, alpha, d, theta (the library's column order for both
 * conventions), joint 1 first; lengths in any unit, angles in radians. Frames are 4 x 4
 * homogeneous matrices, row-major. Poses and tools are [x, y, z, roll, pitch, yaw] as the
 * designed functions take them: a tool is the tool centre point's frame in the flange's.
 *
 * The header is valid C99 and C++. */
#ifndef FK_IK_SO_FK_IK_ARM_H
#define FK_IK_SO_FK_IK_ARM_H

#include "fk_ik_types.h"

#define FK_IK_ARM_INVALID 9
#define FK_IK_ARM_UNREADABLE 10
#define FK_IK_ARM_NOT_COVERED 11

/* Row conventions: Craig's modified rows, and standard (distal) rows. */
#define FK_IK_MODIFIED_ROWS 0
#define FK_IK_STANDARD_ROWS 1

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

typedef struct FkIkArm FkIkArm;

/* Creates an arm from rows in the convention FK_IK_MODIFIED_ROWS or FK_IK_STANDARD_ROWS,
 * with joint senses signs (+1 or -1 each), base and flange frames and joint limits; each
 * of the last five may be null: senses +1, identity frames, no limits (limits may be
 * infinite). On success *arm holds the new handle; otherwise *arm is null, the code is 9
 * and message (when not null and messageSize > 0) holds why, cut to messageSize - 1
 * characters and terminated. */
Int32 armCreateFromRows(const Float64 rows[6][4], Int32 convention, const Float64 signs[6],
                        const Float64 base[4][4], const Float64 flange[4][4],
                        const Float64 lower[6], const Float64 upper[6], FkIkArm** arm,
                        char* message, UInt32 messageSize);

/* Frees the arm; null is allowed. */
Void armDestroy(FkIkArm* arm);

/* The tool centre point's pose at the joint position jntPos with the tool. */
Int32 armJntPosToTcpPos(const FkIkArm* arm, const Float64 jntPos[6], const Float64 tool[6],
                        Float64 tcpPos[6]);

/* The tool centre point's Jacobian in the base frame: jacobian[row][joint], rows x, y, z
 * (linear) then x, y, z (angular). */
Int32 armJacobian(const FkIkArm* arm, const Float64 jntPos[6], const Float64 tool[6],
                  Float64 jacobian[6][6]);

/* The Jacobian and its time derivative dJ/dt at joint velocity jntVel. */
Int32 armJacobianDot(const FkIkArm* arm, const Float64 jntPos[6], const Float64 jntVel[6],
                     const Float64 tool[6], Float64 jacobian[6][6], Float64 jacobianDot[6][6]);

/* Every joint position putting the tool centre point at tcpPos with the tool: count rows
 * of jntPos (each joint in (-pi, pi]) with singular[k] 1 for a singular one (on a continuum
 * of solutions, or the Jacobian's smallest singular value, its linear rows divided by the
 * arm's size, below 1e-6), at most 16. Returns 0 (count >= 1), 6 out of reach, 11 for a
 * degenerate arm, 9 for a null handle or a pose or tool that is not finite; count is 0
 * then. By elimination, two solutions merging at a singular pose may come out as one or
 * none. */
Int32 armTcpPosToAllJntPos(const FkIkArm* arm, const Float64 tcpPos[6], const Float64 tool[6],
                           Float64 jntPos[16][6], Int32 singular[16], Int32* count);

/* The solution, or whole-turn variant of one, whose largest joint difference from
 * jntPosRef is smallest, each joint within [lower, upper] (null: the arm's own limits;
 * infinite values: none). Returns 0; 8 for a limit that is not a number or a lower above
 * its upper; 7 when no solution fits; else armTcpPosToAllJntPos's code. Always writes
 * jntPos: six zeros when the code is not 0. */
Int32 armTcpPosToNearestJntPos(const FkIkArm* arm, const Float64 tcpPos[6], const Float64 tool[6],
                               const Float64 jntPosRef[6], const Float64 lower[6],
                               const Float64 upper[6], Float64 jntPos[6]);

/* The arm's joint limits (infinite where none). */
Int32 armLimits(const FkIkArm* arm, Float64 lower[6], Float64 upper[6]);

/* The layout of the arm's axes at zero: its family (0 designed chain, 1 spherical wrist,
 * 2 spherical base, 3 three parallel, 4 general), the family it is near, and for each pair
 * of consecutive axes their angle and distance; each output may be null. text, when not
 * null, receives the layout as lines of text, cut to textSize - 1 characters. */
Int32 armLayout(const FkIkArm* arm, Int32* family, Int32* nearFamily, Float64 pairAngle[5],
                Float64 pairDistance[5], char* text, UInt32 textSize);

/* Which solver the arm's layout gives its inverse, as words into name (when not null),
 * cut to nameSize - 1 characters: "closed form", "closed form, chain reversed", "closed
 * form of the nearest solvable arm, refined", "closed form of the nearest solvable arm,
 * chain reversed, refined" or "elimination" (a degenerate arm's too: its inverses then
 * return 11). */
Int32 armInverseSolver(const FkIkArm* arm, char* name, UInt32 nameSize);

/* An equivalent modified-DH description: rows, joint senses, base and flange frames, and
 * whether the rows are of the designed solver's form (1; then init takes them). Each
 * output may be null. */
Int32 armMdh(const FkIkArm* arm, Float64 rows[6][4], Float64 signs[6], Float64 base[4][4],
             Float64 flange[4][4], Int32* designedForm);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif /* FK_IK_SO_FK_IK_ARM_H */
