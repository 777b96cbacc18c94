#include "arm.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "simd_trig.h"

namespace fk_ik {

namespace {

// A frame by columns, each in four lanes (the fourth unused), as Arm::Link stores it.
typedef Float64 Lanes __attribute__((vector_size(32)));

struct ColumnFrame {
  Lanes c[3];
  Lanes p;
};

inline ColumnFrame load(const Float64 (&column)[4][4]) {
  static_assert(sizeof(ColumnFrame) == sizeof column, "a link is one column frame");
  ColumnFrame f;
  std::memcpy(&f, column, sizeof f);
  return f;
}

// a * b, b's elements read from memory one at a time: broadcasting them from a vector
// register instead would cost a store and a stalled load each.
inline ColumnFrame product(const ColumnFrame& a, const Float64 (&b)[4][4]) {
  ColumnFrame m;
  for (int j = 0; j < 3; ++j) m.c[j] = a.c[0] * b[j][0] + a.c[1] * b[j][1] + a.c[2] * b[j][2];
  m.p = a.c[0] * b[3][0] + a.c[1] * b[3][1] + a.c[2] * b[3][2] + a.p;
  return m;
}

// f * Rot_z(angle), from the angle's sine and cosine.
inline void turn(ColumnFrame& f, Float64 s, Float64 c) {
  const Lanes x = f.c[0];
  const Lanes y = f.c[1];
  f.c[0] = x * c + y * s;
  f.c[1] = y * c - x * s;
}

inline KDL::Frame toFrame(const ColumnFrame& f) {
  return KDL::Frame(KDL::Rotation(f.c[0][0], f.c[1][0], f.c[2][0], f.c[0][1], f.c[1][1], f.c[2][1],
                                  f.c[0][2], f.c[1][2], f.c[2][2]),
                    KDL::Vector(f.p[0], f.p[1], f.p[2]));
}

void store(const KDL::Frame& frame, Float64 (&column)[4][4]) {
  for (int j = 0; j < 3; ++j) {
    for (int i = 0; i < 3; ++i) column[j][i] = frame.M(i, j);
    column[j][3] = 0;
  }
  for (int i = 0; i < 3; ++i) column[3][i] = frame.p(i);
  column[3][3] = 0;
}

// The six joints' sines and cosines, four lanes at a time where the machine has them.
inline void sinCos6(const Float64 q[Arm_Dof], Float64 s[8], Float64 c[8]) {
  const Float64 x[8] = {q[0], q[1], q[2], q[3], q[4], q[5], 0.0, 0.0};
  if (VectorTrig::usable()) {
    VectorTrig::sinCos4(x, s, c);
    VectorTrig::sinCos4(x + 4, s + 4, c + 4);
  } else {
    LibmTrig::sinCos4(x, s, c);
    LibmTrig::sinCos4(x + 4, s + 4, c + 4);
  }
}

// A rotation taking the z axis onto the unit vector z; exact for the coordinate axes of
// either sense.
KDL::Rotation alongZ(const KDL::Vector& z) {
  const KDL::Vector x = acrossUnit(z, KDL::Vector::Zero());
  return KDL::Rotation(x, z * x, z);
}

// Code for processors with AVX2 beside the baseline's, chosen when the library is loaded:
// the baseline's four-lane vectors are pairs of two-lane ones, and it builds every
// broadcast scalar through memory. Both round alike (no fused operations in either). GCC
// only, and not under ThreadSanitizer: clang 14's link-time optimisation fails on the
// clones, and the resolver that picks one runs before ThreadSanitizer's run time is set up.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#define FK_IK_ARM_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define FK_IK_ARM_CLONES
#endif

// The flange at q and, when frames is not null, each joint's frame after its own rotation.
FK_IK_ARM_CLONES void chainFrames(const Arm::Link* link, const Float64 q[Arm_Dof],
                                  KDL::Frame* frames, KDL::Frame& flange) {
  Float64 s[8], c[8];
  sinCos6(q, s, c);
  ColumnFrame f = load(link[0].column);
  for (int i = 0; i < Arm_Dof; ++i) {
    if (i > 0) f = product(f, link[i].column);
    turn(f, s[i], c[i]);
    if (frames) frames[i] = toFrame(f);
  }
  flange = toFrame(product(f, link[Arm_Dof].column));
}

// Six records of the designed solver's chain: the arm's equivalent rows where they are of
// its form, else zeros (the chain then serves nothing).
std::vector<MDH> designedRecords(const ArmMdh& mdh) {
  std::vector<MDH> records(Arm_Dof);
  for (int i = 0; i < Arm_Dof && mdh.designedForm; ++i) {
    records[i].a = mdh.rows[i][0];
    records[i].alpha = mdh.rows[i][1];
    records[i].d = mdh.rows[i][2];
    records[i].theta = mdh.rows[i][3];
  }
  return records;
}

const std::vector<MDH>& zeroRecords() {
  static const std::vector<MDH> zeros(Arm_Dof);
  return zeros;
}

}  // namespace

Arm::Arm() : _designed(Arm_Dof, &zeroRecords()) {
  _assign(ArmDescription());
}

Int32 Arm::build(const ArmDescription& description, Arm& arm, std::string* message) {
  const Int32 code = description.check(message);
  if (code == Arm_Ok) arm._assign(description);
  return code;
}

Void Arm::_assign(const ArmDescription& description) {
  _description = description;
  // Joint i about axis a: joint[i] Rot(a, q) = joint[i] A Rot_z(q) A^T with A taking z onto a.
  KDL::Rotation before = KDL::Rotation::Identity();
  for (int i = 0; i < Arm_Dof; ++i) {
    const KDL::Rotation along = alongZ(unitVector(description.axis[i]));
    KDL::Frame link = KDL::Frame(before.Inverse()) * description.joint[i] * KDL::Frame(along);
    if (i == 0) link = description.base * link;
    store(link, _link[i].column);
    before = along;
  }
  store(KDL::Frame(before.Inverse()) * description.flange, _link[Arm_Dof].column);
  _layout.size = description.size();
  _mdh = ArmMdh::of(*this);
  _layout = ArmLayout::measure(description, _mdh.designedForm);
  _inverse = InversePlan::of(*this);
  const std::vector<MDH> records = designedRecords(_mdh);
  _designed = Chain_MDH4(Arm_Dof, &records);
}

Void Arm::flangeFrame(const Float64 q[Arm_Dof], KDL::Frame& flange) const {
  chainFrames(_link, q, nullptr, flange);
}

Void Arm::tcpFrame(const Float64 q[Arm_Dof], const KDL::Frame& tool, KDL::Frame& tcp) const {
  KDL::Frame flange;
  flangeFrame(q, flange);
  tcp = flange * tool;
}

Void Arm::jointFrames(const Float64 q[Arm_Dof], KDL::Frame frames[Arm_Dof + 1]) const {
  chainFrames(_link, q, frames, frames[Arm_Dof]);
}

Void Arm::jacobian(const Float64 q[Arm_Dof], const KDL::Frame& tool, ArmJacobian& jacobian) const {
  KDL::Frame frames[Arm_Dof + 1];
  jointFrames(q, frames);
  const KDL::Vector tcp = frames[Arm_Dof] * tool.p;
  for (int i = 0; i < Arm_Dof; ++i) {
    const KDL::Vector z = frames[i].M.UnitZ();
    const KDL::Vector linear = z * (tcp - frames[i].p);
    jacobian.col(i) << linear.x(), linear.y(), linear.z(), z.x(), z.y(), z.z();
  }
}

Void Arm::jacobianDot(const Float64 q[Arm_Dof], const Float64 qd[Arm_Dof], const KDL::Frame& tool,
                      ArmJacobian& jacobian, ArmJacobian& jacobianDot) const {
  KDL::Frame frames[Arm_Dof + 1];
  jointFrames(q, frames);
  const KDL::Vector tcp = frames[Arm_Dof] * tool.p;
  KDL::Vector tcpVelocity = KDL::Vector::Zero();
  for (int i = 0; i < Arm_Dof; ++i) {
    const KDL::Vector z = frames[i].M.UnitZ();
    const KDL::Vector linear = z * (tcp - frames[i].p);
    jacobian.col(i) << linear.x(), linear.y(), linear.z(), z.x(), z.y(), z.z();
    tcpVelocity += linear * qd[i];
  }
  // Joint i's axis is fixed to the link before it, which turns at omega (the joints before
  // i) and carries the axis's origin at originVelocity.
  KDL::Vector omega = KDL::Vector::Zero();
  KDL::Vector originVelocity = KDL::Vector::Zero();
  for (int i = 0; i < Arm_Dof; ++i) {
    const KDL::Vector z = frames[i].M.UnitZ();
    if (i > 0) originVelocity += omega * (frames[i].p - frames[i - 1].p);
    const KDL::Vector zDot = omega * z;
    const KDL::Vector linearDot = zDot * (tcp - frames[i].p) + z * (tcpVelocity - originVelocity);
    jacobianDot.col(i) << linearDot.x(), linearDot.y(), linearDot.z(), zDot.x(), zDot.y(), zDot.z();
    omega += z * qd[i];
  }
}

}  // namespace fk_ik
