// Calls into the containers' inline members from a client compiled with NDEBUG: their
// checks stay on (test_assertions expects the same reports as from its own calls).
#include "jacobian.h"

#ifndef NDEBUG
#error "compiled with NDEBUG only"
#endif

double ndebugClientElement(UInt32 id) {
  Vector<double> v(2);
  return v(id);
}

void ndebugClientJacobian(UInt8 nr) {
  Jacobian j(nr, 6);
}
