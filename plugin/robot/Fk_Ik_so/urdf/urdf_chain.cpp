#include "urdf_chain.h"

#include <algorithm>
#include <vector>

namespace fk_ik {

namespace {

Int32 refuse(std::string* message, const std::string& text) {
  if (message) *message = text;
  return Arm_Invalid;
}

std::string quoted(const std::string& name) {
  return "'" + name + "'";
}

bool isMoving(const urdf::Joint& joint) {
  return joint.type == urdf::Joint::REVOLUTE || joint.type == urdf::Joint::CONTINUOUS;
}

// Why a joint cannot be in the chain; empty when it can.
std::string jointFault(const urdf::Joint& joint) {
  const std::string name = "joint " + quoted(joint.name);
  if (joint.mimic) {
    return name + " mimics joint " + quoted(joint.mimic->joint_name) +
           ": the chain's joints must each move on their own";
  }
  if (isMoving(joint) || joint.type == urdf::Joint::FIXED) return std::string();
  const char* type = joint.type == urdf::Joint::PRISMATIC  ? "prismatic"
                     : joint.type == urdf::Joint::PLANAR   ? "planar"
                     : joint.type == urdf::Joint::FLOATING ? "floating"
                                                           : "of unknown type";
  return name + " is " + type + ": the chain may hold revolute, continuous and fixed joints only";
}

// urdfdom keeps an origin's rotation as the unit quaternion of its roll, pitch and yaw.
KDL::Frame frameOf(const urdf::Pose& pose) {
  const urdf::Rotation& r = pose.rotation;
  return KDL::Frame(KDL::Rotation::Quaternion(r.x, r.y, r.z, r.w),
                    KDL::Vector(pose.position.x, pose.position.y, pose.position.z));
}

std::string nameList(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + quoted(name);
  return list;
}

Int32 namedLink(const urdf::ModelInterface& model, const std::string& name, const char* role,
                const urdf::Link*& link, std::string* message) {
  link = model.getLink(name).get();
  if (link) return Arm_Ok;
  return refuse(message, std::string("the ") + role + " link " + quoted(name) +
                             " is not a link of the model");
}

Int32 defaultBase(const urdf::ModelInterface& model, const urdf::Link*& base,
                  std::string* message) {
  base = model.getRoot().get();
  if (!base) return refuse(message, "the model has no root link");
  if (base->name == "world" && base->child_joints.size() == 1 &&
      base->child_joints[0]->type == urdf::Joint::FIXED) {
    return namedLink(model, base->child_joints[0]->child_link_name, "base", base, message);
  }
  return Arm_Ok;
}

struct Leaf {
  const urdf::Link* link;
  size_t moving;  // on the path from the base
};

// The only leaf below the base, or the only one six moving joints away. The walk is
// bounded by the number of links: the parser accepts a loop of links apart from the root.
Int32 defaultTip(const urdf::ModelInterface& model, const urdf::Link& base, const urdf::Link*& tip,
                 std::string* message) {
  std::vector<Leaf> open = {{&base, 0}}, leaves, sixAway;
  for (size_t visited = 0; !open.empty(); ++visited) {
    if (visited == model.links_.size()) {
      return refuse(message, "the links below " + quoted(base.name) + " form a loop");
    }
    const Leaf at = open.back();
    open.pop_back();
    if (at.link->child_joints.empty()) leaves.push_back(at);
    if (at.link->child_joints.empty() && at.moving == Arm_Dof) sixAway.push_back(at);
    for (const urdf::JointSharedPtr& joint : at.link->child_joints) {
      const urdf::Link* child = model.getLink(joint->child_link_name).get();
      if (child) open.push_back({child, at.moving + isMoving(*joint)});
    }
  }
  if (leaves.size() == 1 || sixAway.size() == 1) {
    tip = (leaves.size() == 1 ? leaves : sixAway)[0].link;
    return Arm_Ok;
  }
  std::vector<std::string> names;
  for (const Leaf& leaf : leaves) names.push_back(leaf.link->name);
  std::sort(names.begin(), names.end());
  return refuse(message, "the tree below the base link " + quoted(base.name) + " ends in " +
                             std::to_string(leaves.size()) + " links (" + nameList(names) + "), " +
                             std::to_string(sixAway.size()) +
                             " of them six moving joints away: name the tip link "
                             "(tip_link, --tip)");
}

// The joints from the base down to the tip.
Int32 pathBetween(const urdf::ModelInterface& model, const urdf::Link& base, const urdf::Link& tip,
                  std::vector<const urdf::Joint*>& path, std::string* message) {
  for (const urdf::Link* link = &tip; link != &base;) {
    const urdf::Joint* joint = link->parent_joint.get();
    link = joint ? model.getLink(joint->parent_link_name).get() : nullptr;
    if (!link || path.size() == model.links_.size()) {
      return refuse(message, "the tip link " + quoted(tip.name) + " is not below the base link " +
                                 quoted(base.name));
    }
    path.push_back(joint);
  }
  std::reverse(path.begin(), path.end());
  return Arm_Ok;
}

Int32 describePath(const std::vector<const urdf::Joint*>& path, const std::string& ends,
                   ArmDescription& description, std::string* message) {
  ArmDescription result;
  KDL::Frame fixed = KDL::Frame::Identity();
  std::vector<std::string> moving;
  for (const urdf::Joint* joint : path) {
    const std::string fault = jointFault(*joint);
    if (!fault.empty()) return refuse(message, fault);
    const KDL::Frame origin = fixed * frameOf(joint->parent_to_joint_origin_transform);
    if (!isMoving(*joint)) {
      fixed = origin;
      continue;
    }
    const size_t i = moving.size();
    moving.push_back(joint->name);
    fixed = KDL::Frame::Identity();
    if (i >= Arm_Dof) continue;
    result.joint[i] = origin;
    result.axis[i] = KDL::Vector(joint->axis.x, joint->axis.y, joint->axis.z);
    if (length(unitVector(result.axis[i])) == 0) {
      return refuse(message, "joint " + quoted(joint->name) + " has an axis of zero length");
    }
    if (joint->type == urdf::Joint::REVOLUTE && joint->limits) {
      result.lower[i] = joint->limits->lower;
      result.upper[i] = joint->limits->upper;
    }
  }
  if (moving.size() != Arm_Dof) {
    return refuse(message, ends + " holds " + std::to_string(moving.size()) +
                               " moving joints, not six" +
                               (moving.empty() ? "" : ": " + nameList(moving)));
  }
  result.flange = fixed;
  std::string why;
  if (result.check(&why) != Arm_Ok) {
    return refuse(message, why + " (joints 1 to 6 are " + nameList(moving) + ")");
  }
  description = result;
  return Arm_Ok;
}

}  // namespace

Int32 describeUrdfChain(const urdf::ModelInterface& model, const std::string& baseLink,
                        const std::string& tipLink, ArmDescription& description,
                        std::string* message) {
  const urdf::Link* base = nullptr;
  const urdf::Link* tip = nullptr;
  Int32 code = baseLink.empty() ? defaultBase(model, base, message)
                                : namedLink(model, baseLink, "base", base, message);
  if (code != Arm_Ok) return code;
  code = tipLink.empty() ? defaultTip(model, *base, tip, message)
                         : namedLink(model, tipLink, "tip", tip, message);
  if (code != Arm_Ok) return code;
  std::vector<const urdf::Joint*> path;
  code = pathBetween(model, *base, *tip, path, message);
  if (code != Arm_Ok) return code;
  return describePath(path, "the chain from " + quoted(base->name) + " to " + quoted(tip->name),
                      description, message);
}

}  // namespace fk_ik
