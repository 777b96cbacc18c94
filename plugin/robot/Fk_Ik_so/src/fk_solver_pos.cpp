#include "fk_solver_pos.h"

#include <cassert>
#include <cmath>

namespace {

// A frame by columns: the rotation's three columns and the translation, each in the first
// three of four lanes (the fourth is 0 and read by nobody). The product of two such frames
// takes, lane by lane, exactly the operations of KDL's frame product in the same order:
// element (i, j) is (a(i,0) b(0,j) + a(i,1) b(1,j)) + a(i,2) b(2,j), the translation
// ((a(i,0) p0 + a(i,1) p1) + a(i,2) p2) + lhs.p(i). So the result is the same to the bit,
// only computed a column at a time.
typedef Float64 Lanes __attribute__((vector_size(32)));

struct ColumnFrame {
  Lanes c[3];
  Lanes p;
};

inline ColumnFrame product(const ColumnFrame& a, const ColumnFrame& b) {
  ColumnFrame m;
  for (int j = 0; j < 3; ++j) m.c[j] = a.c[0] * b.c[j][0] + a.c[1] * b.c[j][1] + a.c[2] * b.c[j][2];
  m.p = a.c[0] * b.p[0] + a.c[1] * b.p[1] + a.c[2] * b.p[2] + a.p;
  return m;
}

inline ColumnFrame identity() {
  return ColumnFrame{{{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}},
                     {0.0, 0.0, 0.0, 0.0}};
}

inline KDL::Frame toFrame(const ColumnFrame& f) {
  return KDL::Frame(KDL::Rotation(f.c[0][0], f.c[1][0], f.c[2][0], f.c[0][1], f.c[1][1], f.c[2][1],
                                  f.c[0][2], f.c[1][2], f.c[2][2]),
                    KDL::Vector(f.p[0], f.p[1], f.p[2]));
}

// Frame of segment i relative to the frame before it, the joint position added to the
// record's theta offset: the very frame KDL::Frame::DH_Craig1989(a, alpha, d, theta + q)
// builds, element by element, with the twist's sine and cosine taken from the chain so
// that a segment costs one sine and cosine of its angle.
inline ColumnFrame segmentFrame(const Chain_MDH4& chain, UInt32 i, Float64 q) {
  const MDH& r = chain._mdhParam[i];
  Float64 sa, ca;
  chain.twistSinCos(i, sa, ca);
  const Float64 angle = r.theta + q;
  const Float64 st = std::sin(angle);
  const Float64 ct = std::cos(angle);
  return ColumnFrame{
      {{ct, st * ca, st * sa, 0.0}, {-st, ct * ca, ct * sa, 0.0}, {0.0, -sa, ca, 0.0}},
      {r.a, -sa * r.d, ca * r.d, 0.0}};
}

}  // namespace

FkSolverPos::FkSolverPos(Chain_MDH4* chainMDH4) : _chainMDH4(chainMDH4) {}

Void FkSolverPos::jntPosToFlangePos(const MathVector& jntPos, KDL::Frame& flangePos) {
  assert(_chainMDH4->_dof == jntPos.size());
  ColumnFrame accumulated = identity();
  for (UInt32 i = 0; i < _chainMDH4->_dof; ++i) {
    accumulated = product(accumulated, segmentFrame(*_chainMDH4, i, jntPos(i)));
  }
  flangePos = toFrame(accumulated);
}

// The id test is written with "||" and compares the signed id with the unsigned
// count: it passes every id >= 0 and fails every negative one. Ids above the chain's
// length run into the joint vector's own index assertion.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-compare"
Void FkSolverPos::jntPosToFlangePos(const MathVector& jntPos, const Int32& segmenId,
                                    KDL::Frame& flangePos) {
  assert(_chainMDH4->_dof == jntPos.size());
  assert(segmenId >= 0 || segmenId < _chainMDH4->_dof);
  ColumnFrame accumulated = identity();
  for (Int32 i = 0; i < segmenId; ++i) {
    accumulated = product(accumulated, segmentFrame(*_chainMDH4, i, jntPos(i)));
  }
  flangePos = toFrame(accumulated);
}
#pragma GCC diagnostic pop

Void FkSolverPos::jntPosToFlangePos(const MathVector& jntPos, KDL::Frame* flangePos) {
  assert(_chainMDH4->_dof == jntPos.size());
  ColumnFrame accumulated;
  for (UInt32 i = 0; i < _chainMDH4->_dof; ++i) {
    const ColumnFrame frame = segmentFrame(*_chainMDH4, i, jntPos(i));
    accumulated = i == 0 ? frame : product(accumulated, frame);
    flangePos[i] = toFrame(accumulated);
  }
}

// Jacobians of the TCP.

namespace {

// a x b: the installed KDL spells the cross product of two vectors as their product.
KDL::Vector cross(const KDL::Vector& a, const KDL::Vector& b) {
  return a * b;
}

// Writes the linear part into rows 0-2 and the angular part into rows 3-5 of column i.
Void setColumn(MathJacobian& jacobian, UInt32 i, const KDL::Vector& linear,
               const KDL::Vector& angular) {
  for (UInt32 row = 0; row < 3; ++row) {
    jacobian(row, i) = linear(row);
    jacobian(row + 3, i) = angular(row);
  }
}

// The common start of both Jacobians and the velocity Jacobian itself: per joint i the
// axis z[i] in the base frame and the TCP's offset r[i] in joint i's own frame. Only the
// TCP's origin enters, the flange frame times the tool's translation: the tool's rotation
// is not built.
Void velocityJacobian(FkSolverPos& solver, const MathVector& jntPos, const Tool& tool,
                      MathJacobian& velJacobian, KDL::Vector* z, KDL::Vector* r) {
  KDL::Frame frames[Max_Chain_Dof];
  solver.jntPosToFlangePos(jntPos, frames);
  const KDL::Frame& flange = frames[solver._chainMDH4->_dof - 1];
  const KDL::Frame tcp(flange.M * KDL::Vector(tool.x, tool.y, tool.z) + flange.p);
  for (UInt32 i = 0; i < solver._chainMDH4->_dof; ++i) {
    z[i] = frames[i].M.UnitZ();
    // The position of frames[i].Inverse() * tcp, with the same operations but without the
    // rotation part that nothing reads.
    r[i] = frames[i].M.Inverse(tcp.p) + -frames[i].M.Inverse(frames[i].p);
    setColumn(velJacobian, i, cross(z[i], frames[i].M * r[i]), z[i]);
  }
}

}  // namespace

Void FkSolverPos::jntPosToJacobians(const MathVector& jntPos, const Tool& tool,
                                    MathJacobian& velJacobian) {
  assert(_chainMDH4->_dof == jntPos.size());
  assert(velJacobian.rows() == 6);
  assert(velJacobian.columns() == _chainMDH4->_dof);
  KDL::Vector z[Max_Chain_Dof], r[Max_Chain_Dof];
  velocityJacobian(*this, jntPos, tool, velJacobian, z, r);
}

// The offsets r[k] and r[n] stay in their joint frames while w and z are base-frame
// vectors: the combination below is the required one, kept as written.
Void FkSolverPos::jntPosToJacobiansDot(const MathVector& jntPos, const MathVector& jntVel,
                                       const Tool& tool, MathJacobian& velJacobian,
                                       MathJacobian& velJacobianDot) {
  assert(_chainMDH4->_dof == jntPos.size());
  assert(_chainMDH4->_dof == jntVel.size());
  assert(velJacobian.rows() == 6);
  assert(velJacobian.columns() == _chainMDH4->_dof);
  assert(velJacobianDot.rows() == 6);
  assert(velJacobianDot.columns() == _chainMDH4->_dof);
  KDL::Vector z[Max_Chain_Dof], r[Max_Chain_Dof], w[Max_Chain_Dof];
  velocityJacobian(*this, jntPos, tool, velJacobian, z, r);
  const UInt32 n = _chainMDH4->_dof - 1;
  for (UInt32 i = 0; i <= n; ++i) w[i] = i == 0 ? jntVel(0) * z[0] : w[i - 1] + jntVel(i) * z[i];
  for (UInt32 k = 0; k <= n; ++k) {
    const KDL::Vector zDot = cross(w[k], z[k]);
    const KDL::Vector pDot = cross(w[n], r[n]) - cross(w[k], r[k]);
    setColumn(velJacobianDot, k, cross(zDot, r[k]) + cross(z[k], pDot), zDot);
  }
}
