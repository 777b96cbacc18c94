// fk_ik.Arm's inverse calls: every solution (fk_ik::armIkAll) and the one nearest a
// reference within joint limits (fk_ik::armIkNearest), one pose at a time or in batches
// split over threads like fk_many.
//
// Every arm is answered, in closed form where its layout decomposes and by elimination
// otherwise; only a degenerate arm (coincident axes, no reading of its loop posed) has no
// inverse. For such an arm every call raises ValueError, a batch before it computes
// anything, so that no caller mistakes "degenerate" for "out of reach".
#include <algorithm>
#include <limits>
#include <string>

#include "arm_binding.h"
#include "arm_ik.h"

namespace fk_ik_python {

namespace {

// The module's enum fk_ik.Code, referenced for the life of the process (a module-level
// py::object would be released after the interpreter has gone), and its member count.
PyObject* codeType = nullptr;
Int32 codeCount = 0;

py::object codeObject(Int32 code) {
  if (code >= 0 && code < codeCount) return py::reinterpret_borrow<py::object>(codeType)(code);
  return py::int_(code);
}

[[noreturn]] void degenerate(const char* call) {
  throw py::value_error(std::string(call) +
                        ": this arm is degenerate (coincident axes) and has no inverse");
}

// ValueError for a degenerate arm, which the arm's inverse plan tells.
void requireInverse(const fk_ik::Arm& arm, const char* call) {
  if (arm.inversePlan().route == fk_ik::InverseRoute::None) degenerate(call);
}

// Joint limits for armIkNearest: null for None (the arm's own on that side).
class Limits {
 public:
  Limits(const py::object& lower, const py::object& upper)
      : hasLower_(!lower.is_none()), hasUpper_(!upper.is_none()) {
    if (hasLower_) lower_ = checkedArray(lower, "lower", {{6, 0}}, Values::NoNaN);
    if (hasUpper_) upper_ = checkedArray(upper, "upper", {{6, 0}}, Values::NoNaN);
  }
  const double* lower() const { return hasLower_ ? lower_.data() : nullptr; }
  const double* upper() const { return hasUpper_ ? upper_.data() : nullptr; }

 private:
  bool hasLower_, hasUpper_;
  Array lower_, upper_;
};

// The nearest solution into q: six zeros unless the code is 0, as fk_ik.Robot gives them.
Int32 nearestRow(const fk_ik::Arm& arm, const double* pose, const KDL::Frame& tool,
                 const double* ref, const Limits& limits, double* q) {
  std::fill_n(q, 6, 0.0);
  return fk_ik::armIkNearest(arm, rpyFrame(pose), tool, ref, limits.lower(), limits.upper(), q);
}

}  // namespace

py::tuple ArmIk::ikAll(const py::object& pose, const py::object& tool) const {
  const Array p = checkedArray(pose, "pose", {{6, 0}});
  const KDL::Frame t = toolOf(tool);
  fk_ik::ArmIkSolutions s;
  if (fk_ik::armIkAll(arm_, rpyFrame(p.data()), t, s) == fk_ik::Arm_Not_Covered) {
    degenerate("ik_all");
  }
  py::array_t<double> q({py::ssize_t(s.count), py::ssize_t(6)});
  py::array_t<bool> singular(s.count);
  std::copy(&s.q[0][0], &s.q[0][0] + 6 * s.count, q.mutable_data());
  std::copy(s.singular, s.singular + s.count, singular.mutable_data());
  return py::make_tuple(q, singular);
}

py::tuple ArmIk::ikNearest(const py::object& pose, const py::object& ref, const py::object& tool,
                           const py::object& lower, const py::object& upper) const {
  const Array p = checkedArray(pose, "pose", {{6, 0}});
  const Array r = checkedArray(ref, "ref", {{6, 0}});
  const KDL::Frame t = toolOf(tool);
  const Limits limits(lower, upper);
  py::array_t<double> q(6);
  const Int32 code = nearestRow(arm_, p.data(), t, r.data(), limits, q.mutable_data());
  // Limits refused before solving say nothing of the arm.
  if (code == fk_ik::Arm_Not_Covered || code == 8) requireInverse(arm_, "ik_nearest");
  return py::make_tuple(codeObject(code), q);
}

py::tuple ArmIk::ikAllMany(const py::object& poses, const py::object& tool,
                           const py::object& threads) const {
  const Array p = checkedArray(poses, "poses", {{-1, 6}});
  const KDL::Frame t = toolOf(tool);
  const py::ssize_t rows = p.shape(0);
  const py::ssize_t workers = workerCount(threads, rows);
  requireInverse(arm_, "ik_all_many");
  const py::ssize_t most = fk_ik::Ik_Max_Solutions;
  py::array_t<Int32> counts(rows);
  py::array_t<double> q({rows, most, py::ssize_t(6)});
  py::array_t<bool> singular({rows, most});
  const double* in = p.data();
  Int32* c = counts.mutable_data();
  double* out = q.mutable_data();
  bool* flags = singular.mutable_data();
  forChunks(rows, workers, [&](py::ssize_t begin, py::ssize_t end) {
    fk_ik::ArmIkSolutions s;
    for (py::ssize_t i = begin; i < end; ++i) {
      fk_ik::armIkAll(arm_, rpyFrame(in + 6 * i), t, s);
      c[i] = s.count;
      double* qi = out + i * most * 6;
      bool* si = flags + i * most;
      std::copy(&s.q[0][0], &s.q[0][0] + 6 * s.count, qi);
      std::fill(qi + 6 * s.count, qi + 6 * most, std::numeric_limits<double>::quiet_NaN());
      std::copy(s.singular, s.singular + s.count, si);
      std::fill(si + s.count, si + most, false);
    }
  });
  return py::make_tuple(counts, q, singular);
}

py::tuple ArmIk::ikNearestMany(const py::object& poses, const py::object& refs,
                               const py::object& tool, const py::object& lower,
                               const py::object& upper, const py::object& threads) const {
  const Array p = checkedArray(poses, "poses", {{-1, 6}});
  const py::ssize_t rows = p.shape(0);
  // One reference for every row, or one per row.
  const Array r = checkedArray(refs, "refs", {{6, 0}, {rows, 6}});
  const py::ssize_t refStride = r.ndim() == 1 ? 0 : 6;
  const KDL::Frame t = toolOf(tool);
  const Limits limits(lower, upper);
  const py::ssize_t workers = workerCount(threads, rows);
  requireInverse(arm_, "ik_nearest_many");
  py::array_t<Int32> codes(rows);
  py::array_t<double> q({rows, py::ssize_t(6)});
  const double* in = p.data();
  const double* ref = r.data();
  Int32* c = codes.mutable_data();
  double* out = q.mutable_data();
  forChunks(rows, workers, [&](py::ssize_t begin, py::ssize_t end) {
    for (py::ssize_t i = begin; i < end; ++i) {
      c[i] = nearestRow(arm_, in + 6 * i, t, ref + refStride * i, limits, out + 6 * i);
    }
  });
  return py::make_tuple(codes, q);
}

void ArmIk::useCodes(const py::object& code) {
  codeCount = static_cast<Int32>(py::len(code));
  codeType = code.inc_ref().ptr();
}

const char* const ArmIk::kIkAllDoc = R"((Q, singular): every joint position putting the TCP at pose.

pose: [x, y, z, roll, pitch, yaw] of the TCP in the base frame, as fk gives it; tool as
for fk (None: the flange). Q is k x 6, each joint in (-pi, pi], k at most 16 and 0 when no
joint position reaches the pose; singular holds k bools, True for a solution on a
continuum of solutions or whose Jacobian's smallest singular value (the linear rows
divided by the arm's size) is below 1e-6. Solutions within 1e-9 rad of one another count
once.

Every arm is answered: in closed form where its layout decomposes (the layouts the
library's header fk_ik_so/arm_ik.h lists, among them the designed chain and spherical
wrists with axes 2 and 3 parallel or axes 1 and 2 meeting, and arms near them), by
elimination otherwise; layout["solver"] says which. By elimination, two solutions merging
at a singular pose may come out as one or none. A degenerate arm, whose axes coincide,
has no inverse and raises ValueError.)";

const char* const ArmIk::kIkNearestDoc =
    "(code, q): of ik_all's solutions and their whole-turn variants (within 2^20 turns), the "
    "one whose largest joint difference from ref is smallest (ties to the earlier solution), "
    "each joint within [lower, upper] (6 each, radians; infinities for none; None for the "
    "arm's own limits on that side). code is a Code: SOLVED, OUT_OF_REACH, NO_SOLUTION when "
    "no solution fits the limits, INVALID_LIMITS when a lower limit exceeds its upper one; q "
    "is six zeros unless SOLVED. ValueError as for ik_all for a degenerate arm.";

const char* const ArmIk::kIkAllManyDoc =
    "(counts, Q, singular) of the n x 6 poses: int32 counts (n), Q n x 16 x 6 and singular "
    "n x 16, where Q[i, :counts[i]] and singular[i, :counts[i]] are ik_all of pose i bit for "
    "bit and the rows after them NaN and False. Computed without the GIL on up to `threads` "
    "threads (default: the machine's cores). ValueError as for ik_all for a degenerate arm, "
    "before any row is computed.";

const char* const ArmIk::kIkNearestManyDoc =
    "(codes, Q): int32 codes (n) and n x 6 joint positions of the n x 6 poses, refs one joint "
    "position (6) for every row or one per row (n x 6), tool and limits for every row; each "
    "row is ik_nearest of that row bit for bit. Computed without the GIL on up to `threads` "
    "threads (default: the machine's cores). ValueError as for ik_all for a degenerate arm, "
    "before any row is computed.";

}  // namespace fk_ik_python
