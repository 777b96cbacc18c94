// The library's C-callable entry points, for host processes. They act on one
// process-wide model of the arm, set by init; all arrays are plain Float64 arrays of
// fixed length (not passed, not checked).
//
// Result codes: 0 success; 1 no model (init not called); 2 shoulder, 3 elbow, 4 wrist
// singular; 5 invalid configuration mode; 6 target out of reach; 7 no solution in the
// configuration of the reference (or in the requested one, within the limits, or for the
// two arm links); 8 invalid joint limits.
//
// The header is valid C99 and C++.
#ifndef FK_IK_SO_FK_IK_SO_H
#define FK_IK_SO_FK_IK_SO_H

#include "fk_ik_types.h"

// Every function declared in this block is exported from the library.
#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

// Replaces the model by the arm of six rows (joint 1 first) of a, alpha, d, theta. The
// old model is destroyed before the new one is built.
Void init(const Float64 mdhParam[6][4]);

// TCP pose [x, y, z, roll, pitch, yaw] of the joint position jntPos with the tool
// [x, y, z, rx, ry, rz]. Returns 1 and writes nothing when there is no model, else 0.
Int32 jntPosToTcpPos(const Float64 jntPos[6], const Float64 tool[6], Float64 tcpPos[6]);

// Joint position that puts the TCP at tcpPos in the configuration and turns of
// jntPosRef. Returns 1 and writes nothing when there is no model; otherwise returns the
// solver's code and always writes jntPos: six zeros when the code is not 0.
Int32 tcpPosToJntPos(const Float64 tcpPos[6], const Float64 tool[6], const Float64 jntPosRef[6],
                     Float64 jntPos[6]);

// The inverse solver's other answers. Before init, the first three return 1 and write
// nothing.
//
// tcpPosToJntPos in an explicit configuration mode: 0 ... 7, or -1 for the reference's
// (code 5 for any other value). Always writes jntPos: six zeros when the code is not 0.
Int32 tcpPosToJntPosInMode(const Float64 tcpPos[6], const Float64 tool[6],
                           const Float64 jntPosRef[6], Int32 mode, Float64 jntPos[6]);

// All eight candidate solutions, in candidate order: their joints in the reference's turns
// (zeros where not solved), configuration modes and statuses (0 solved; 2, 3, 4 shoulder,
// elbow, wrist singular; 7 no solution for the two arm links). Returns 0, or 6 (out of
// reach) or 2 (shoulder singular) for the pose as a whole, every status then equal to it.
Int32 tcpPosToAllJntPos(const Float64 tcpPos[6], const Float64 tool[6], const Float64 jntPosRef[6],
                        Float64 jntPos[8][6], Int32 mode[8], Int32 status[8]);

// The solution nearest the reference (largest joint difference smallest, ties to the lower
// candidate), each joint moved by whole turns within [lower, upper]; lower and upper may be
// null for no limits. Returns 0; 8 for a lower limit above its upper one or a limit that is
// not a number; 7 when no solution lies within the limits; 2 ... 7 as tcpPosToAllJntPos
// explains when none is solved. Always writes jntPos: six zeros when the code is not 0.
Int32 tcpPosToNearestJntPos(const Float64 tcpPos[6], const Float64 tool[6],
                            const Float64 jntPosRef[6], const Float64 lower[6],
                            const Float64 upper[6], Float64 jntPos[6]);

// 0 when the six rows (a, alpha, d, theta) are of the form the inverse solver is exact
// for, else 4 * row + field + 1 of the first value that breaks it (field 0 a, 1 alpha,
// 2 d, 3 theta). Needs no model.
Int32 checkArmForm(const Float64 mdhParam[6][4]);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif  // FK_IK_SO_FK_IK_SO_H
