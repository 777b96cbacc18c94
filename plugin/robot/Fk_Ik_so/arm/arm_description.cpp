#include "arm_description.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace fk_ik {

namespace {

const char* const kJointNames[Arm_Dof] = {"joint 1", "joint 2", "joint 3",
                                          "joint 4", "joint 5", "joint 6"};

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

Int32 refuse(std::string* message, const std::string& text) {
  if (message) *message = text;
  return Arm_Invalid;
}

bool finite(const KDL::Vector& v) {
  return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

// Empty when the frame is finite and rigid, else why not.
std::string frameFault(const KDL::Frame& frame) {
  const KDL::Rotation& r = frame.M;
  for (int i = 0; i < 9; ++i) {
    if (!std::isfinite(r.data[i])) return "a rotation element is not finite";
  }
  if (!finite(frame.p)) return "a translation element is not finite";
  double worst = 0;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const double dot = r(0, i) * r(0, j) + r(1, i) * r(1, j) + r(2, i) * r(2, j);
      worst = std::fmax(worst, std::fabs(dot - (i == j)));
    }
  }
  if (!(worst <= 1e-9)) {
    return "the rotation is not orthonormal (columns off by " + number(worst) + ")";
  }
  const double det = KDL::dot(r.UnitX() * r.UnitY(), r.UnitZ());
  if (det < 0) return "the rotation is a reflection (determinant -1)";
  return std::string();
}

}  // namespace

Float64 length(const KDL::Vector& v) {
  // The plain root where the squares neither overflow nor lose precision to underflow;
  // libm's three-way hypot, which scales, elsewhere (it costs ten times as much).
  const Float64 squares = v.x() * v.x() + v.y() * v.y() + v.z() * v.z();
  if (squares > 1e-200 && squares < 1e200) return std::sqrt(squares);
  return std::hypot(v.x(), v.y(), v.z());
}

KDL::Vector unitVector(const KDL::Vector& v) {
  const double largest = std::fmax(std::fabs(v.x()), std::fmax(std::fabs(v.y()), std::fabs(v.z())));
  if (!(largest > 0)) return KDL::Vector::Zero();
  const KDL::Vector scaled = v / largest;
  return scaled / length(scaled);
}

KDL::Vector acrossUnit(const KDL::Vector& u, const KDL::Vector& hint) {
  const KDL::Vector rest = unitVector(hint - u * KDL::dot(u, hint));
  if (length(rest) > 0.5) return rest;
  const Float64 x = std::fabs(u.x()), y = std::fabs(u.y()), z = std::fabs(u.z());
  const KDL::Vector axis = x <= y && x <= z ? KDL::Vector(1, 0, 0)
                           : y <= z         ? KDL::Vector(0, 1, 0)
                                            : KDL::Vector(0, 0, 1);
  return unitVector(axis - u * KDL::dot(u, axis));
}

ArmDescription::ArmDescription() {
  for (int i = 0; i < Arm_Dof; ++i) {
    axis[i] = KDL::Vector(0, 0, 1);
    lower[i] = -std::numeric_limits<Float64>::infinity();
    upper[i] = std::numeric_limits<Float64>::infinity();
  }
}

Int32 ArmDescription::fromRows(const Float64 rows[Arm_Dof][4], RowConvention convention,
                               const Float64* signs, const KDL::Frame& base,
                               const KDL::Frame& flange, ArmDescription& description,
                               std::string* message) {
  ArmDescription result;
  result.base = base;
  result.flange = flange;
  for (int i = 0; i < Arm_Dof; ++i) {
    const Float64 sign = signs ? signs[i] : 1.0;
    if (sign != 1.0 && sign != -1.0) {
      return refuse(message, std::string("the sign of ") + kJointNames[i] + " is " + number(sign) +
                                 ", not +1 or -1");
    }
    result.axis[i] = KDL::Vector(0, 0, sign);
  }
  const auto a = [&](int i) { return rows[i][0]; };
  const auto alpha = [&](int i) { return rows[i][1]; };
  const auto d = [&](int i) { return rows[i][2]; };
  const auto theta = [&](int i) { return rows[i][3]; };
  if (convention == RowConvention::Modified) {
    // Rot_z(theta + q) Trans_z(d) = Rot_z(theta) Trans_z(d) Rot_z(q): the joint turns last.
    for (int i = 0; i < Arm_Dof; ++i) {
      result.joint[i] = KDL::Frame::DH_Craig1989(a(i), alpha(i), d(i), theta(i));
    }
  } else {
    // Frame i = Rot_z(q_i) [Rot_z(theta) Trans_z(d) Trans_x(a) Rot_x(alpha)]_i: joint i turns
    // first, about the z axis of the frame before it; its fixed part then leads to the next
    // joint, and the last one to the flange.
    result.joint[0] = KDL::Frame::Identity();
    for (int i = 1; i < Arm_Dof; ++i) {
      result.joint[i] = KDL::Frame::DH(a(i - 1), alpha(i - 1), d(i - 1), theta(i - 1));
    }
    result.flange = KDL::Frame::DH(a(5), alpha(5), d(5), theta(5)) * flange;
  }
  description = result;
  return Arm_Ok;
}

Int32 ArmDescription::check(std::string* message) const {
  std::string fault = frameFault(base);
  if (!fault.empty()) return refuse(message, "base frame: " + fault);
  for (int i = 0; i < Arm_Dof; ++i) {
    fault = frameFault(joint[i]);
    if (!fault.empty()) return refuse(message, std::string(kJointNames[i]) + " frame: " + fault);
    if (!finite(axis[i])) {
      return refuse(message, std::string(kJointNames[i]) + " axis: an element is not finite");
    }
    if (length(unitVector(axis[i])) == 0) {
      return refuse(message, std::string(kJointNames[i]) + " axis: of zero length");
    }
    if (std::isnan(lower[i]) || std::isnan(upper[i]) || lower[i] > upper[i]) {
      return refuse(message, std::string(kJointNames[i]) + " limits: lower " + number(lower[i]) +
                                 " is not at most upper " + number(upper[i]));
    }
  }
  fault = frameFault(flange);
  if (!fault.empty()) return refuse(message, "flange frame: " + fault);
  return Arm_Ok;
}

Float64 ArmDescription::size() const {
  Float64 sum = length(flange.p);
  for (int i = 0; i < Arm_Dof; ++i) sum += length(joint[i].p);
  return sum > 0 ? sum : 1.0;
}

Void ArmDescription::axesAtZero(KDL::Vector point[Arm_Dof], KDL::Vector direction[Arm_Dof]) const {
  KDL::Frame frame = base;
  for (int i = 0; i < Arm_Dof; ++i) {
    frame = frame * joint[i];
    point[i] = frame.p;
    direction[i] = unitVector(frame.M * axis[i]);
  }
}

}  // namespace fk_ik
