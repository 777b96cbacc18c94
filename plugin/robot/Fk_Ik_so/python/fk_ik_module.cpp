// _fk_ik: the Python extension behind the fk_ik package. It wraps one Robot per Python
// object and calls it one pose at a time or in batches split over threads of its own;
// fk_ik.Arm, for arms of any layout, is bound in arm_binding.cpp. The argument checks
// both share are in module_args.h.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "chain_mdh4.h"
#include "fk_solver_pos.h"
#include "jacobian.h"
#include "module_args.h"
#include "robot.h"

using namespace fk_ik_python;

namespace {

// The result codes as the Python enum fk_ik.Code; members are looked up by value.
const char* const kCodeNames[] = {"SOLVED",         "NO_MODEL",       "SHOULDER_SINGULAR",
                                  "ELBOW_SINGULAR", "WRIST_SINGULAR", "INVALID_MODE",
                                  "OUT_OF_REACH",   "NO_SOLUTION",    "INVALID_LIMITS"};
const int kCodeCount = sizeof(kCodeNames) / sizeof(kCodeNames[0]);
// The members, referenced for the life of the process: a module-level py::object would be
// released after the interpreter has gone.
PyObject* codeMembers[kCodeCount] = {};

py::object codeObject(Int32 code) {
  if (code >= 0 && code < kCodeCount) return py::reinterpret_borrow<py::object>(codeMembers[code]);
  return py::int_(code);
}

Tool toolOf(const py::object& tool) {
  Tool t{0, 0, 0, 0, 0, 0};
  if (tool.is_none()) return t;
  const Array a = checkedArray(tool, "tool", {{6, 0}});
  const double* p = a.data();
  t.x = p[0];
  t.y = p[1];
  t.z = p[2];
  t.rx = p[3];
  t.ry = p[4];
  t.rz = p[5];
  return t;
}

MathVector vectorOf(const double* p) {
  MathVector v(6);
  v = p;
  return v;
}

// The configuration mode argument: None asks for the designed inverse (the reference's
// mode); an int, -1 included, goes to the explicit-mode inverse, which answers INVALID_MODE
// for values other than -1 and 0 ... 7.
bool modeOf(const py::object& mode, Int32& value) {
  if (mode.is_none()) return false;
  value = static_cast<Int32>(integerOf(mode, "mode", INT32_MIN, INT32_MAX, "a 32-bit int"));
  return true;
}

// The six records of a 6 x 4 array-like of a, alpha, d, theta rows.
std::vector<MDH> recordsOf(const py::object& mdh) {
  const Array a = checkedArray(mdh, "mdh", {{6, 4}});
  std::vector<MDH> records(6);
  auto p = a.unchecked<2>();
  for (int i = 0; i < 6; ++i) {
    records[i].a = p(i, 0);
    records[i].alpha = p(i, 1);
    records[i].d = p(i, 2);
    records[i].theta = p(i, 3);
  }
  return records;
}

// Refuses the inverse calls of an arm whose rows are not of the designed solver's form:
// for such an arm the solver would still answer SOLVED, with joints that miss the pose.
void requireArmForm(Int32 form, const char* call) {
  if (form == 0) return;
  static const char* const kFields[] = {"a", "alpha", "d", "theta"};
  const std::string row = std::to_string((form - 1) / 4);
  const std::string field = std::to_string((form - 1) % 4);
  throw py::value_error(std::string(call) +
                        ": this arm is not of the form the designed inverse solver is exact for "
                        "(check_arm_form " +
                        std::to_string(form) + ": " + kFields[(form - 1) % 4] + " of joint " +
                        std::to_string((form - 1) / 4 + 1) + ", mdh[" + row + ", " + field +
                        "]), so its joints would miss the pose; use fk_ik.Arm for other arms "
                        "(forward kinematics, Jacobians and the inverse of any six-joint arm)");
}

class PyRobot {
 public:
  explicit PyRobot(const py::object& mdh)
      : records_(recordsOf(mdh)),
        robot_(records_),
        chain_(6, &records_),
        fkSolver_(&chain_),
        form_(Chain_MDH4::checkArmForm(records_.data())) {}

  py::array_t<double> mdh() const {
    py::array_t<double> out({6, 4});
    auto o = out.mutable_unchecked<2>();
    for (int i = 0; i < 6; ++i) {
      o(i, 0) = records_[i].a;
      o(i, 1) = records_[i].alpha;
      o(i, 2) = records_[i].d;
      o(i, 3) = records_[i].theta;
    }
    return out;
  }

  Int32 armForm() const { return form_; }

  py::array_t<double> fk(const py::object& q, const py::object& tool) {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    const Tool t = toolOf(tool);
    py::array_t<double> pose(6);
    fkRow(jnt.data(), t, pose.mutable_data());
    return pose;
  }

  py::tuple ik(const py::object& pose, const py::object& ref, const py::object& tool,
               const py::object& mode) {
    requireArmForm(form_, "ik");
    const Array tcp = checkedArray(pose, "pose", {{6, 0}});
    const Array r = checkedArray(ref, "ref", {{6, 0}});
    const Tool t = toolOf(tool);
    Int32 m = -1;
    const bool explicitMode = modeOf(mode, m);
    py::array_t<double> q(6);
    const Int32 code =
        ikRow(tcp.data(), t, r.data(), explicitMode ? &m : nullptr, q.mutable_data());
    return py::make_tuple(codeObject(code), q);
  }

  py::tuple ikAll(const py::object& pose, const py::object& ref, const py::object& tool) {
    requireArmForm(form_, "ik_all");
    const Array tcp = checkedArray(pose, "pose", {{6, 0}});
    const Array r = checkedArray(ref, "ref", {{6, 0}});
    const Tool t = toolOf(tool);
    IkSolutions solutions;
    const Int32 code =
        robot_.tcpPosToAllJntPos(vectorOf(tcp.data()), t, vectorOf(r.data()), solutions);
    py::array_t<double> joints({8, 6});
    py::array_t<Int32> modes(8), statuses(8);
    std::copy(&solutions.jntPos[0][0], &solutions.jntPos[0][0] + 48, joints.mutable_data());
    std::copy(solutions.mode, solutions.mode + 8, modes.mutable_data());
    std::copy(solutions.status, solutions.status + 8, statuses.mutable_data());
    return py::make_tuple(codeObject(code), joints, modes, statuses);
  }

  py::tuple ikNearest(const py::object& pose, const py::object& ref, const py::object& tool,
                      const py::object& lower, const py::object& upper) {
    requireArmForm(form_, "ik_nearest");
    const Array tcp = checkedArray(pose, "pose", {{6, 0}});
    const Array r = checkedArray(ref, "ref", {{6, 0}});
    const Tool t = toolOf(tool);
    // Infinite limits are no limits; one side given alone leaves the other open.
    const bool limited = !lower.is_none() || !upper.is_none();
    double low[6], high[6];
    std::fill_n(low, 6, -HUGE_VAL);
    std::fill_n(high, 6, HUGE_VAL);
    if (!lower.is_none()) {
      const Array a = checkedArray(lower, "lower", {{6, 0}}, Values::NoNaN);
      std::copy_n(a.data(), 6, low);
    }
    if (!upper.is_none()) {
      const Array a = checkedArray(upper, "upper", {{6, 0}}, Values::NoNaN);
      std::copy_n(a.data(), 6, high);
    }
    MathVector out(6);
    const Int32 code =
        robot_.tcpPosToNearestJntPos(vectorOf(tcp.data()), t, vectorOf(r.data()), out,
                                     limited ? low : nullptr, limited ? high : nullptr);
    py::array_t<double> q(6);
    for (UInt32 i = 0; i < 6; ++i) q.mutable_data()[i] = code == 0 ? out(i) : 0.0;
    return py::make_tuple(codeObject(code), q);
  }

  py::array_t<double> jacobian(const py::object& q, const py::object& tool) {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    const Tool t = toolOf(tool);
    MathJacobian j(6, 6);
    fkSolver_.jntPosToJacobians(vectorOf(jnt.data()), t, j);
    return matrixOf(j);
  }

  py::tuple jacobianDot(const py::object& q, const py::object& qd, const py::object& tool) {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    const Array vel = checkedArray(qd, "qd", {{6, 0}});
    const Tool t = toolOf(tool);
    MathJacobian j(6, 6), jDot(6, 6);
    fkSolver_.jntPosToJacobiansDot(vectorOf(jnt.data()), vectorOf(vel.data()), t, j, jDot);
    return py::make_tuple(matrixOf(j), matrixOf(jDot));
  }

  py::tuple mode(const py::object& q, bool check) {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    Int32 m = 0;
    const Int32 code = chain_.getMode_6dof(vectorOf(jnt.data()), m, check);
    return py::make_tuple(codeObject(code), m);
  }

  py::array_t<double> fkMany(const py::object& qs, const py::object& tool,
                             const py::object& threads) {
    const Array jnt = checkedArray(qs, "Q", {{-1, 6}});
    const Tool t = toolOf(tool);
    const py::ssize_t rows = jnt.shape(0);
    py::array_t<double> poses({rows, py::ssize_t(6)});
    const double* in = jnt.data();
    double* out = poses.mutable_data();
    forChunks(rows, workerCount(threads, rows), [&](py::ssize_t begin, py::ssize_t end) {
      for (py::ssize_t i = begin; i < end; ++i) fkRow(in + 6 * i, t, out + 6 * i);
    });
    return poses;
  }

  py::tuple ikMany(const py::object& poses, const py::object& ref, const py::object& tool,
                   const py::object& mode, const py::object& threads) {
    requireArmForm(form_, "ik_many");
    const Array tcp = checkedArray(poses, "P", {{-1, 6}});
    const py::ssize_t rows = tcp.shape(0);
    // One reference for every row, or one per row.
    const Array refs = checkedArray(ref, "ref", {{6, 0}, {rows, 6}});
    const py::ssize_t refStride = refs.ndim() == 1 ? 0 : 6;
    const Tool t = toolOf(tool);
    Int32 m = -1;
    const Int32* explicitMode = modeOf(mode, m) ? &m : nullptr;
    py::array_t<Int32> codes(rows);
    py::array_t<double> joints({rows, py::ssize_t(6)});
    const double* in = tcp.data();
    const double* r = refs.data();
    Int32* c = codes.mutable_data();
    double* out = joints.mutable_data();
    forChunks(rows, workerCount(threads, rows), [&](py::ssize_t begin, py::ssize_t end) {
      for (py::ssize_t i = begin; i < end; ++i) {
        c[i] = ikRow(in + 6 * i, t, r + refStride * i, explicitMode, out + 6 * i);
      }
    });
    return py::make_tuple(codes, joints);
  }

 private:
  static py::array_t<double> matrixOf(const MathJacobian& j) {
    py::array_t<double> out({6, 6});
    auto o = out.mutable_unchecked<2>();
    for (UInt32 r = 0; r < 6; ++r) {
      for (UInt32 c = 0; c < 6; ++c) o(r, c) = j(r, c);
    }
    return out;
  }

  void fkRow(const double* q, const Tool& t, double* pose) {
    MathVector out(6);
    robot_.jntPosToTcpPos(vectorOf(q), t, out);
    for (UInt32 i = 0; i < 6; ++i) pose[i] = out(i);
  }

  // The designed inverse (mode null) or the explicit-mode one; six zeros on failure, as the
  // exported functions write them.
  Int32 ikRow(const double* tcp, const Tool& t, const double* ref, const Int32* mode, double* q) {
    MathVector out(6);
    const Int32 code =
        mode == nullptr ? robot_.tcpPosToJntPos(vectorOf(tcp), t, vectorOf(ref), out)
                        : robot_.tcpPosToJntPosInMode(vectorOf(tcp), t, vectorOf(ref), *mode, out);
    for (UInt32 i = 0; i < 6; ++i) q[i] = out(i);
    return code;
  }

  std::vector<MDH> records_;
  Robot robot_;
  // A chain of the same records for the members the facade does not offer: the modes and
  // the Jacobians. It never changes, like the facade's own.
  Chain_MDH4 chain_;
  FkSolverPos fkSolver_;
  // check_arm_form of the records, which never change.
  Int32 form_;
};

}  // namespace

PYBIND11_MODULE(_fk_ik, m) {
  m.doc() = "Compiled core of the fk_ik package; import fk_ik instead.";

  py::list members;
  for (int i = 0; i < kCodeCount; ++i) members.append(py::make_tuple(kCodeNames[i], i));
  py::object code =
      py::module_::import("enum").attr("IntEnum")("Code", members, py::arg("module") = "fk_ik");
  code.attr("__doc__") =
      "Result codes of the kinematics: SOLVED 0; NO_MODEL 1 (the C functions only, never "
      "returned here); SHOULDER_SINGULAR 2, ELBOW_SINGULAR 3, WRIST_SINGULAR 4; INVALID_MODE 5; "
      "OUT_OF_REACH 6 (the wrist centre lies within the offset cylinder around joint 1's axis); "
      "NO_SOLUTION 7 (none in the requested configuration or within the limits, e.g. beyond the "
      "arm's reach); INVALID_LIMITS 8 (a lower joint limit above its upper one).";
  for (int i = 0; i < kCodeCount; ++i) codeMembers[i] = code(i).release().ptr();
  m.attr("Code") = code;

  py::class_<PyRobot>(m, "Robot",
                      R"(A 6-axis arm given by modified DH parameters (Craig's convention).

Frames: poses are of the tool centre point (TCP) in the arm's base frame; the tool is the
TCP relative to the flange, [x, y, z, rx, ry, rz] (translation in flange coordinates,
then roll, pitch, yaw). A pose is [x, y, z, roll, pitch, yaw]: the position, then the
rotation Rz(yaw) Ry(pitch) Rx(roll) about the base's fixed axes. Lengths are in the unit
of the arm's parameters, angles in radians, joints ordered from the base.

Every array argument takes any array-like of integers or floats. A wrong shape or a value
that is not finite raises ValueError, a non-numeric type TypeError; nothing reaches the
library unchecked. The calls hold no lock: one Robot may serve many threads.

The inverse calls (ik, ik_all, ik_nearest, ik_many) raise ValueError when the parameters
are not of the form the closed-form inverse is exact for (arm_form not 0): for any other
arm it would answer SOLVED with joints that miss the pose. fk, the Jacobians and mode
serve any parameters; fk_ik.Arm takes arms of any layout.)")
      .def(py::init<const py::object&>(), py::arg("mdh"),
           "mdh: 6 x 4 array-like, one row per joint from the base: a, alpha, d, theta "
           "(lengths in any unit, angles in radians).")
      .def_property_readonly("mdh", &PyRobot::mdh, "The 6 x 4 parameters (a copy).")
      .def_property_readonly(
          "arm_form", &PyRobot::armForm,
          "check_arm_form of the robot's parameters: 0 when the inverse calls are exact "
          "for them; otherwise they raise ValueError.")
      .def("fk", &PyRobot::fk, py::arg("q"), py::arg("tool") = py::none(),
           "TCP pose [x, y, z, roll, pitch, yaw] of the joint positions q (6, radians).")
      .def("ik", &PyRobot::ik, py::arg("pose"), py::arg("ref"), py::arg("tool") = py::none(),
           py::arg("mode") = py::none(),
           "(code, q): the joint positions that put the TCP at pose, in the configuration "
           "mode of the reference joint position ref (mode None or -1) or in `mode` (0 ... 7), "
           "each joint in ref's turn. code is a Code; q is six zeros unless code is SOLVED.")
      .def("ik_all", &PyRobot::ikAll, py::arg("pose"), py::arg("ref"), py::arg("tool") = py::none(),
           "(code, Q, modes, statuses): the eight candidate solutions of pose, Q 8 x 6 with "
           "each joint in ref's turn, their configuration modes and int32 result codes (SOLVED, "
           "a singular code, or NO_SOLUTION; zeros in Q where not SOLVED). code is SOLVED, or "
           "OUT_OF_REACH or SHOULDER_SINGULAR for the pose as a whole.")
      .def("ik_nearest", &PyRobot::ikNearest, py::arg("pose"), py::arg("ref"),
           py::arg("tool") = py::none(), py::arg("lower") = py::none(),
           py::arg("upper") = py::none(),
           "(code, q): of all solutions and their whole-turn variants, the one nearest ref "
           "(smallest largest joint difference), within the joint limits lower and upper "
           "(6 each, radians; infinities for none; None for no limit on that side). NO_SOLUTION "
           "when none lies within the limits, INVALID_LIMITS when a lower limit exceeds its "
           "upper one; q is six zeros unless code is SOLVED.")
      .def("jacobian", &PyRobot::jacobian, py::arg("q"), py::arg("tool") = py::none(),
           "6 x 6 velocity Jacobian of the TCP in the base frame: column i maps joint i's "
           "velocity (rad/s) to the TCP's linear (rows 0-2, length unit/s) and angular "
           "(rows 3-5, rad/s) velocity.")
      .def("jacobian_dot", &PyRobot::jacobianDot, py::arg("q"), py::arg("qd"),
           py::arg("tool") = py::none(),
           "(J, Jdot): the Jacobian and its time derivative for the joint velocity qd "
           "(rad/s) as the library computes it (the angular rows are the exact derivative).")
      .def("mode", &PyRobot::mode, py::arg("q"), py::arg("check") = true,
           "(code, mode): the configuration mode (0 ... 7, bits 4 shoulder, 2 elbow, 1 wrist) "
           "of q. With check, a singular q gives SHOULDER_, ELBOW_ or WRIST_SINGULAR and "
           "mode 0.")
      .def("fk_many", &PyRobot::fkMany, py::arg("Q"), py::arg("tool") = py::none(),
           py::arg("threads") = py::none(),
           "n x 6 poses of the n x 6 joint positions Q, computed without the GIL on up to "
           "`threads` threads (default: the machine's cores); each row equals fk of that row.")
      .def("ik_many", &PyRobot::ikMany, py::arg("P"), py::arg("ref"), py::arg("tool") = py::none(),
           py::arg("mode") = py::none(), py::arg("threads") = py::none(),
           "(codes, Q): int32 codes (n) and n x 6 joint positions of the n x 6 poses P, ref "
           "one joint position (6) for every row or one per row (n x 6), mode as for ik. Computed "
           "without the GIL on up to `threads` threads (default: the machine's cores); each row "
           "equals ik of that row.");

  m.def(
      "check_arm_form",
      [](const py::object& mdh) { return Chain_MDH4::checkArmForm(recordsOf(mdh).data()); },
      py::arg("mdh"),
      "0 when the 6 x 4 parameters are of the form the closed-form inverse is exact for "
      "(twists 0, -pi/2, 0, pi, pi/2, pi/2; a of joints 1, 2, 5, 6 zero, of joints 3 and 4 "
      "not), else 4 * row + column + 1 of the first value that breaks it (rows from 0, "
      "columns a, alpha, d, theta). Robot's inverse calls refuse any other form, for which "
      "the closed-form inverse returns joints that do not reach the pose.");

  bindArm(m);
}
