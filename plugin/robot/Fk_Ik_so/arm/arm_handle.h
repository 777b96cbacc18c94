// The C handles' link to the C++ arm, for companion libraries that build arms in C++ (the
// URDF reader) and hand them to C hosts.
#ifndef FK_IK_SO_ARM_ARM_HANDLE_H
#define FK_IK_SO_ARM_ARM_HANDLE_H

#include <string>

#include "arm.h"
#include "fk_ik_arm.h"

namespace fk_ik {

// A new handle holding a copy of the arm; armDestroy frees it.
FK_IK_SO_API FkIkArm* newArmHandle(const Arm& arm);

// The arm a handle holds; null for a null handle.
FK_IK_SO_API const Arm* armOfHandle(const FkIkArm* handle);

// text into the host's buffer of size bytes (nothing when null or 0), cut and terminated.
FK_IK_SO_API Void copyMessage(const std::string& text, char* buffer, UInt32 size);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_HANDLE_H
