// Any serial arm of six revolute joints (see arm_description.h for its frames): exact
// forward kinematics, the tool centre point's Jacobian and its true time derivative,
// the layout of its axes and an equivalent modified-DH description.
//
// The computing calls allocate nothing, keep no state and may run concurrently on one arm.
#ifndef FK_IK_SO_ARM_ARM_H
#define FK_IK_SO_ARM_ARM_H

#include <Eigen/Core>

#include "arm_description.h"
#include "arm_layout.h"
#include "arm_mdh.h"
#include "arm_screws.h"
#include "chain_mdh4.h"

namespace fk_ik {

// Column j is joint j's twist at the tool centre point, in the base frame: rows 0-2 the
// linear velocity per unit joint velocity, rows 3-5 the angular velocity.
typedef Eigen::Matrix<Float64, 6, Arm_Dof> ArmJacobian;

class FK_IK_SO_API Arm {
 public:
  // Checks a description (ArmDescription::check) and builds the arm from it. Returns
  // Arm_Ok, or Arm_Invalid with the reason in message and arm unchanged.
  static Int32 build(const ArmDescription& description, Arm& arm, std::string* message);

  // The arm of a default description: every frame the identity, every axis z.
  Arm();

  const ArmDescription& description() const { return _description; }
  // The sum of the lengths of the description's translations (1 when 0).
  Float64 size() const { return _layout.size; }
  const ArmLayout& layout() const { return _layout; }
  const ArmMdh& mdh() const { return _mdh; }
  // How the inverse solves this arm (arm_ik.h).
  const InversePlan& inversePlan() const { return _inverse; }
  // The equivalent rows as the designed solver's chain (all zero unless mdh().designedForm).
  const Chain_MDH4& designedChain() const { return _designed; }

  // The flange frame at joint position q, in the base frame. q not finite: frames that
  // are not finite, nothing worse.
  Void flangeFrame(const Float64 q[Arm_Dof], KDL::Frame& flange) const;
  // The tool centre point's frame: the flange's times the tool frame.
  Void tcpFrame(const Float64 q[Arm_Dof], const KDL::Frame& tool, KDL::Frame& tcp) const;
  // Every joint's frame at q in the base frame, joint i's after its own rotation, its z
  // axis along the joint's axis in the joint's positive sense; then the flange's in
  // frames[Arm_Dof].
  Void jointFrames(const Float64 q[Arm_Dof], KDL::Frame frames[Arm_Dof + 1]) const;
  // The geometric Jacobian of the tool centre point (see ArmJacobian).
  Void jacobian(const Float64 q[Arm_Dof], const KDL::Frame& tool, ArmJacobian& jacobian) const;
  // The Jacobian and its time derivative dJ/dt while the joints move at velocity qd.
  Void jacobianDot(const Float64 q[Arm_Dof], const Float64 qd[Arm_Dof], const KDL::Frame& tool,
                   ArmJacobian& jacobian, ArmJacobian& jacobianDot) const;

  // The description turned so that every joint turns about its frame's z axis:
  //   flange = link[0] Rot_z(q0) link[1] ... link[5] Rot_z(q5) link[6],
  // the base folded into link[0] and the flange into link[6]; rotations by columns, each
  // column and the translation in four lanes (the fourth unused).
  struct Link {
    Float64 column[4][4];
  };

 private:
  // Fills everything from a description that passed its check.
  FK_IK_SO_LOCAL Void _assign(const ArmDescription& description);

  ArmDescription _description;
  Link _link[Arm_Dof + 1];
  ArmLayout _layout;
  ArmMdh _mdh;
  InversePlan _inverse;
  Chain_MDH4 _designed;
};

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_H
