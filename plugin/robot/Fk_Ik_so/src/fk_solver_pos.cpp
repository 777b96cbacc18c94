#include "fk_solver_pos.h"

#include <cassert>

namespace {

// Frame of segment i relative to the frame before it: the joint position is added
// to the record's theta offset.
KDL::Frame segmentFrame(const MDH& r, Float64 q) {
  return KDL::Frame::DH_Craig1989(r.a, r.alpha, r.d, r.theta + q);
}

}  // namespace

FkSolverPos::FkSolverPos(Chain_MDH4* chainMDH4) : _chainMDH4(chainMDH4) {}

Void FkSolverPos::jntPosToFlangePos(const MathVector& jntPos, KDL::Frame& flangePos) {
  assert(_chainMDH4->_dof == jntPos.size());
  KDL::Frame accumulated = KDL::Frame::Identity();
  for (UInt32 i = 0; i < _chainMDH4->_dof; ++i) {
    accumulated = accumulated * segmentFrame(_chainMDH4->_mdhParam[i], jntPos(i));
  }
  flangePos = accumulated;
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
  KDL::Frame accumulated = KDL::Frame::Identity();
  for (Int32 i = 0; i < segmenId; ++i) {
    accumulated = accumulated * segmentFrame(_chainMDH4->_mdhParam[i], jntPos(i));
  }
  flangePos = accumulated;
}
#pragma GCC diagnostic pop

Void FkSolverPos::jntPosToFlangePos(const MathVector& jntPos, KDL::Frame* flangePos) {
  assert(_chainMDH4->_dof == jntPos.size());
  for (UInt32 i = 0; i < _chainMDH4->_dof; ++i) {
    const KDL::Frame frame = segmentFrame(_chainMDH4->_mdhParam[i], jntPos(i));
    flangePos[i] = i == 0 ? frame : flangePos[i - 1] * frame;
  }
}
