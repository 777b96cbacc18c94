// The library's C-callable entry points, for host processes. They act on one
// process-wide model of the arm, set by init; all arrays are plain Float64 arrays of
// fixed length (not passed, not checked).
//
// Result codes: 0 success; 1 no model (init not called); 2 shoulder, 3 elbow, 4 wrist
// singular; 5 invalid configuration mode; 6 target out of reach; 7 no solution in the
// configuration of the reference.
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

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif  // FK_IK_SO_FK_IK_SO_H
