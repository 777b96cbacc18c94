#include "arm_layout.h"

#include <Eigen/Dense>
#include <cmath>
#include <cstdio>
#include <limits>

namespace fk_ik {

namespace {

const Float64 kInfinity = std::numeric_limits<Float64>::infinity();

AxisPair measurePair(const KDL::Vector& p, const KDL::Vector& u, const KDL::Vector& q,
                     const KDL::Vector& v, Float64 size) {
  AxisPair pair;
  const KDL::Vector w = u * v;
  pair.angle = std::atan2(length(w), std::fabs(KDL::dot(u, v)));
  // Across parallel lines; else along the common normal, whose direction is w's.
  pair.distance =
      pair.angle <= Layout_Exact ? length((q - p) * u) : std::fabs(KDL::dot(q - p, unitVector(w)));
  pair.parallel = pair.angle <= Layout_Exact;
  pair.intersecting = pair.distance <= Layout_Exact * size;
  pair.nearParallel = pair.angle <= Layout_Near;
  pair.nearIntersecting = pair.distance <= Layout_Near * size;
  return pair;
}

// The largest distance of three lines from the point nearest all of them (least squares);
// infinite when two of them are parallel, where they meet nowhere.
Float64 meetingDistance(const KDL::Vector* p, const KDL::Vector* u, const AxisPair* pairs) {
  if (pairs[0].parallel || pairs[1].parallel) return kInfinity;
  const KDL::Vector x = pointNearestLines(p, u, 3);
  Float64 worst = 0;
  for (int k = 0; k < 3; ++k) worst = std::fmax(worst, length((x - p[k]) * u[k]));
  return std::isnan(worst) ? kInfinity : worst;
}

// How far a pair is from meeting at a right angle.
Float64 offRightMeeting(const AxisPair& pair, Float64 size) {
  return std::fmax(std::fabs(pair.angle - Pi / 2), pair.distance / size);
}

Float64 threeParallelDeviation(const ArmLayout& layout, Int32& first) {
  Float64 best = kInfinity;
  first = -1;
  for (int i = 0; i + 1 < Arm_Dof - 1; ++i) {
    const Float64 off = std::fmax(layout.pair[i].angle, layout.pair[i + 1].angle);
    if (off < best) {
      best = off;
      first = i;
    }
  }
  return best;
}

std::string number(const char* format, double value) {
  char text[48];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Joint i's number in prose, 1 ... 6. (Not std::to_string: its digit table is a global
// that two copies of the library loaded in one process would both define.)
std::string joint(int i) {
  return std::string(1, static_cast<char>('1' + i));
}

}  // namespace

const char* AxisPair::kind() const {
  if (parallel && intersecting) return "coincident";
  if (parallel) return "parallel";
  if (intersecting) return "intersecting";
  if (nearParallel) return "near parallel";
  if (nearIntersecting) return "near intersecting";
  return "skew";
}

KDL::Vector pointNearestLines(const KDL::Vector* point, const KDL::Vector* direction, int n) {
  Eigen::Matrix3d a = Eigen::Matrix3d::Zero();
  Eigen::Vector3d b = Eigen::Vector3d::Zero();
  for (int k = 0; k < n; ++k) {
    const Eigen::Vector3d u(direction[k].x(), direction[k].y(), direction[k].z());
    const Eigen::Vector3d p(point[k].x(), point[k].y(), point[k].z());
    const Eigen::Matrix3d across = Eigen::Matrix3d::Identity() - u * u.transpose();
    a += across;
    b += across * p;
  }
  const Eigen::Vector3d x = a.colPivHouseholderQr().solve(b);
  return KDL::Vector(x(0), x(1), x(2));
}

const char* familyName(ArmFamily family) {
  switch (family) {
    case ArmFamily::DesignedChain:
      return "designed chain";
    case ArmFamily::SphericalWrist:
      return "spherical wrist";
    case ArmFamily::SphericalBase:
      return "spherical base";
    case ArmFamily::ThreeParallel:
      return "three parallel";
    case ArmFamily::General:
      break;
  }
  return "general";
}

Float64 ArmLayout::designedChainDeviation(const ArmLayout& layout) {
  const AxisPair* pair = layout.pair;
  // The two links between the parallel axes must have a length.
  if (pair[1].intersecting || pair[2].intersecting) return kInfinity;
  Float64 off = std::fmax(pair[1].angle, pair[2].angle);
  for (int i : {0, 3, 4}) off = std::fmax(off, offRightMeeting(pair[i], layout.size));
  return off;
}

ArmLayout ArmLayout::measure(const ArmDescription& description, Bool designedChain) {
  KDL::Vector point[Arm_Dof], direction[Arm_Dof];
  description.axesAtZero(point, direction);
  return ofLines(point, direction, description.size(), designedChain);
}

ArmLayout ArmLayout::ofLines(const KDL::Vector point[Arm_Dof], const KDL::Vector direction[Arm_Dof],
                             Float64 size, Bool designedChain) {
  ArmLayout layout;
  layout.size = size;
  for (int i = 0; i + 1 < Arm_Dof; ++i) {
    layout.pair[i] =
        measurePair(point[i], direction[i], point[i + 1], direction[i + 1], layout.size);
  }
  layout.baseDistance = meetingDistance(point, direction, layout.pair);
  layout.wristDistance = meetingDistance(point + 3, direction + 3, layout.pair + 3);

  Int32 triple;
  const Float64 deviations[] = {designedChainDeviation(layout), layout.wristDistance / layout.size,
                                layout.baseDistance / layout.size,
                                threeParallelDeviation(layout, triple)};
  layout.parallelTriple = deviations[3] <= Layout_Exact ? triple : -1;
  layout.nearParallelTriple = deviations[3] <= Layout_Near ? triple : -1;

  // The designed chain is decided by its rows; the others by the deviations.
  layout.family = ArmFamily::General;
  for (int f = 3; f >= 0; --f) {
    const Bool of = f == 0 ? designedChain : deviations[f] <= Layout_Exact;
    if (of) layout.family = static_cast<ArmFamily>(f);
  }
  layout.nearFamily = ArmFamily::General;
  layout.nearDeviation = kInfinity;
  for (int f = 3; f >= 0; --f) {
    if (deviations[f] <= Layout_Near) {
      layout.nearFamily = static_cast<ArmFamily>(f);
      layout.nearDeviation = deviations[f];
    }
  }
  return layout;
}

std::string ArmLayout::text() const {
  std::string out;
  for (int i = 0; i + 1 < Arm_Dof; ++i) {
    out += "axes " + joint(i) + "-" + joint(i + 1) + ": " + pair[i].kind() + ", angle " +
           number("%.9g", pair[i].angle) + " rad, distance " + number("%.9g", pair[i].distance) +
           "\n";
  }
  const auto meeting = [&](const char* name, Float64 distance) {
    std::string line = std::string(name) + ": ";
    if (std::isinf(distance)) return line + "two of them parallel, no meeting point\n";
    line += "meet within " + number("%.3g", distance);
    if (distance <= Layout_Exact * size) return line + " (in one point)\n";
    if (distance <= Layout_Near * size) return line + " (near one point)\n";
    return line + " (not in one point)\n";
  };
  out += meeting("axes 1, 2, 3", baseDistance);
  out += meeting("axes 4, 5, 6", wristDistance);
  const auto triple = [](Int32 first) {
    return "axes " + joint(first) + ", " + joint(first + 1) + ", " + joint(first + 2);
  };
  if (parallelTriple >= 0) {
    out += "three parallel: " + triple(parallelTriple) + "\n";
  } else if (nearParallelTriple >= 0) {
    out += "three near parallel: " + triple(nearParallelTriple) + "\n";
  }
  out += "tolerance: " + number("%g", Layout_Exact) + " rad and " + number("%g", Layout_Exact) +
         " x size for a layout, " + number("%g", Layout_Near) + " for near it (size " +
         number("%.6g", size) + ")\n";
  out += std::string("family: ") + familyName(family) + "\n";
  if (nearFamily != family) {
    out += std::string("near family: ") + familyName(nearFamily) + " (off by " +
           number("%.3g", nearDeviation) + ")\n";
  }
  return out;
}

}  // namespace fk_ik
