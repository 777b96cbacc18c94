#include "chain_mdh4.h"

#include <cassert>

MDH::MDH() : a(0.0), alpha(0.0), d(0.0), theta(0.0) {}

Chain_MDH4::Chain_MDH4(UInt32 dof, const std::vector<MDH>* pMDH4Param) {
  for (UInt32 i = 0; i < Max_Chain_Dof; ++i) _mdhParam[i] = MDH();
  assert(dof == 6 && pMDH4Param->size() == 6);
  _dof = dof;
  for (UInt32 i = 0; i < _dof; ++i) _mdhParam[i] = pMDH4Param->at(i);
  for (UInt32 i = 0; i < Max_Chain_Dof; ++i) {
    _twist[i].alpha = _mdhParam[i].alpha;
    _twist[i].sinAlpha = std::sin(_mdhParam[i].alpha);
    _twist[i].cosAlpha = std::cos(_mdhParam[i].alpha);
  }
}

Chain_MDH4::~Chain_MDH4() {}
