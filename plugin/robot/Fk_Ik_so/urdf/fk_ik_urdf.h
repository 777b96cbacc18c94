/* Arms read from URDF through C (libFk_Ik_so_urdf): the handles are those of fk_ik_arm.h,
 * computed with and freed by its functions. The chain, its defaults and what is refused
 * are described in arm_urdf.h.
 *
 * baseLink and tipLink name the chain's ends; null or empty for the defaults. On success
 * *arm holds the new handle and the code is 0; otherwise *arm is null and the code is 9
 * (FK_IK_ARM_INVALID: the text or the chain refused, a null text or path) or 10
 * (FK_IK_ARM_UNREADABLE: the file cannot be read), and message (when not null and
 * messageSize > 0) holds why, cut to messageSize - 1 characters and terminated.
 *
 * The header is valid C99 and C++. */
#ifndef FK_IK_SO_FK_IK_URDF_H
#define FK_IK_SO_FK_IK_URDF_H

#include "fk_ik_arm.h"

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

/* An arm from URDF text, terminated by a null character. */
Int32 armCreateFromUrdf(const char* xml, const char* baseLink, const char* tipLink, FkIkArm** arm,
                        char* message, UInt32 messageSize);

/* An arm from a URDF file. */
Int32 armCreateFromUrdfFile(const char* path, const char* baseLink, const char* tipLink,
                            FkIkArm** arm, char* message, UInt32 messageSize);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif /* FK_IK_SO_FK_IK_URDF_H */
