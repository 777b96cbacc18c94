// URDF test arms as tables of joints: their text, and KDL's chain of the same numbers as
// an oracle.
#ifndef FK_IK_SO_URDF_TEST_SUPPORT_H
#define FK_IK_SO_URDF_TEST_SUPPORT_H

#include <charconv>
#include <kdl/chain.hpp>
#include <set>
#include <string>
#include <vector>

namespace urdf_test {

struct UrdfJoint {
  std::string name, type, parent, child;
  KDL::Vector xyz, rpy, axis;
  double lower, upper;
  std::string mimic;  // the joint it mimics, or empty
};

inline UrdfJoint revolute(const std::string& name, const std::string& parent,
                          const std::string& child, const KDL::Vector& xyz, const KDL::Vector& rpy,
                          const KDL::Vector& axis) {
  return {name, "revolute", parent, child, xyz, rpy, axis, -3.0, 3.0, ""};
}

inline UrdfJoint fixed(const std::string& name, const std::string& parent, const std::string& child,
                       const KDL::Vector& xyz, const KDL::Vector& rpy) {
  return {name, "fixed", parent, child, xyz, rpy, KDL::Vector(1, 0, 0), 0, 0, ""};
}

// The shortest text that reads back as the same double, as files print numbers.
inline std::string number(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// One <link> per name the joints use, then the joints in order.
inline std::string urdfText(const std::vector<UrdfJoint>& joints) {
  const auto triple = [](const KDL::Vector& v) {
    return number(v.x()) + " " + number(v.y()) + " " + number(v.z());
  };
  std::set<std::string> links;
  for (const UrdfJoint& j : joints) links.insert({j.parent, j.child});
  std::string xml = "<?xml version=\"1.0\"?>\n<robot name=\"test_arm\">\n";
  for (const std::string& link : links) xml += "  <link name=\"" + link + "\"/>\n";
  for (const UrdfJoint& j : joints) {
    xml += "  <joint name=\"" + j.name + "\" type=\"" + j.type + "\">\n    <parent link=\"" +
           j.parent + "\"/>\n    <child link=\"" + j.child + "\"/>\n    <origin xyz=\"" +
           triple(j.xyz) + "\" rpy=\"" + triple(j.rpy) + "\"/>\n";
    if (j.type != "fixed") xml += "    <axis xyz=\"" + triple(j.axis) + "\"/>\n";
    if (j.type == "revolute" || j.type == "prismatic") {
      xml += "    <limit lower=\"" + number(j.lower) + "\" upper=\"" + number(j.upper) +
             "\" effort=\"100\" velocity=\"2\"/>\n";
    }
    if (!j.mimic.empty()) xml += "    <mimic joint=\"" + j.mimic + "\"/>\n";
    xml += "  </joint>\n";
  }
  return xml + "</robot>\n";
}

inline KDL::Frame originOf(const UrdfJoint& j) {
  return KDL::Frame(KDL::Rotation::RPY(j.rpy.x(), j.rpy.y(), j.rpy.z()), j.xyz);
}

// KDL's chain of joints[first ...]: per joint a segment to its origin, turning about its
// axis (in the parent's frame) when it moves.
inline KDL::Chain kdlChainOf(const std::vector<UrdfJoint>& joints, size_t first) {
  KDL::Chain chain;
  for (size_t i = first; i < joints.size(); ++i) {
    const UrdfJoint& j = joints[i];
    const KDL::Frame origin = originOf(j);
    chain.addSegment(KDL::Segment(
        j.type == "fixed" ? KDL::Joint(KDL::Joint::None)
                          : KDL::Joint(origin.p, origin.M * j.axis, KDL::Joint::RotAxis),
        origin));
  }
  return chain;
}

}  // namespace urdf_test

#endif  // FK_IK_SO_URDF_TEST_SUPPORT_H
