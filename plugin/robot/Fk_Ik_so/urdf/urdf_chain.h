// The chain of a parsed URDF model between a base link and a tip link, as an arm's
// description (the rules are in arm_urdf.h).
#ifndef FK_IK_SO_URDF_URDF_CHAIN_H
#define FK_IK_SO_URDF_URDF_CHAIN_H

#include <urdf_model/model.h>

#include <string>

#include "arm_description.h"

namespace fk_ik {

// Empty link names for the defaults. Returns Arm_Ok, or Arm_Invalid with the reason in
// message and description unchanged.
Int32 describeUrdfChain(const urdf::ModelInterface& model, const std::string& baseLink,
                        const std::string& tipLink, ArmDescription& description,
                        std::string* message);

}  // namespace fk_ik

#endif  // FK_IK_SO_URDF_URDF_CHAIN_H
