// fk_ik.Arm: any serial arm of six revolute joints (fk_ik::Arm), built from DH rows of
// either convention or read from URDF (libFk_Ik_so_urdf), with its exact forward kinematics,
// Jacobian and dJ/dt, the layout of its axes and an equivalent modified-DH description.
// Its inverse calls are added by arm_ik_binding.cpp.
//
// The array arguments go through the module's checks (module_args.h). The values the
// library validates itself when it builds an arm (joint senses, frames, limits) pass
// through with their shape checked only, so that a refusal carries the library's own
// reason; the rows and every argument of a computing call must be finite.
#include "arm_binding.h"

#include <algorithm>
#include <string>

#include "arm_urdf.h"

namespace fk_ik_python {

namespace {

// The conventions' names in Python: RowConvention::Modified, RowConvention::Standard.
const char* const kConventionNames[] = {"modified", "standard"};

fk_ik::RowConvention conventionOf(const py::object& convention) {
  if (!py::isinstance<py::str>(convention)) {
    throw py::type_error("convention must be a str, \"standard\" or \"modified\"");
  }
  const std::string name = py::str(convention);
  if (name == kConventionNames[0]) return fk_ik::RowConvention::Modified;
  if (name == kConventionNames[1]) return fk_ik::RowConvention::Standard;
  throw py::value_error("convention must be \"standard\" or \"modified\", got \"" + name + "\"");
}

// A 4 x 4 homogeneous matrix (None: the identity). Its bottom row must be exactly 0 0 0 1;
// whether its rotation is rigid and its values finite, the library's check decides.
KDL::Frame frameOf(const py::object& obj, const char* name) {
  if (obj.is_none()) return KDL::Frame::Identity();
  const Array a = checkedArray(obj, name, {{4, 4}}, Values::Any);
  const auto m = a.unchecked<2>();
  if (!(m(3, 0) == 0 && m(3, 1) == 0 && m(3, 2) == 0 && m(3, 3) == 1)) {
    throw py::value_error(std::string(name) + " frame: the bottom row is not 0 0 0 1");
  }
  return KDL::Frame(KDL::Rotation(m(0, 0), m(0, 1), m(0, 2), m(1, 0), m(1, 1), m(1, 2), m(2, 0),
                                  m(2, 1), m(2, 2)),
                    KDL::Vector(m(0, 3), m(1, 3), m(2, 3)));
}

py::array_t<double> matrixOf(const KDL::Frame& f) {
  py::array_t<double> out({4, 4});
  auto o = out.mutable_unchecked<2>();
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) o(i, j) = f.M(i, j);
    o(i, 3) = f.p(i);
    o(3, i) = 0;
  }
  o(3, 3) = 1;
  return out;
}

py::array_t<double> sixOf(const double* values) {
  py::array_t<double> out(6);
  std::copy(values, values + 6, out.mutable_data());
  return out;
}

py::array_t<double> jacobianOf(const fk_ik::ArmJacobian& j) {
  py::array_t<double> out({6, 6});
  auto o = out.mutable_unchecked<2>();
  for (int r = 0; r < 6; ++r) {
    for (int c = 0; c < 6; ++c) o(r, c) = j(r, c);
  }
  return out;
}

// A URDF file's path: str, bytes or os.PathLike, in the file system's encoding.
std::string pathOf(const py::object& path) {
  static PyObject* fsencode =
      py::object(py::module_::import("os").attr("fsencode")).release().ptr();
  std::string encoded;
  try {
    encoded = py::bytes(py::reinterpret_borrow<py::object>(fsencode)(path));
  } catch (py::error_already_set& e) {
    if (!e.matches(PyExc_TypeError)) throw;
    throw py::type_error("path must be a str, bytes or os.PathLike, not " +
                         std::string(py::str(path.get_type().attr("__name__"))));
  }
  // The reader would open the path only up to the null byte, another file than asked for.
  if (encoded.find('\0') != std::string::npos) {
    throw py::value_error("path must not contain a null byte");
  }
  return encoded;
}

// URDF text: str or bytes.
std::string textOf(const py::object& xml) {
  if (py::isinstance<py::str>(xml)) return py::str(xml);
  if (py::isinstance<py::bytes>(xml)) return py::bytes(xml);
  throw py::type_error("xml must be a str or bytes");
}

// A link's name; None (or "") for the reader's default.
std::string linkOf(const py::object& link, const char* name) {
  if (link.is_none()) return std::string();
  if (!py::isinstance<py::str>(link))
    throw py::type_error(std::string(name) + " must be a str or None");
  return py::str(link);
}

py::object tripleOf(Int32 first) {
  return first < 0 ? py::object(py::none()) : py::object(py::int_(first));
}

// The arm, and its inverse calls, are ArmIk's (arm_binding.h).
class PyArm : public ArmIk {
 public:
  explicit PyArm(const fk_ik::Arm& arm) : ArmIk(arm) {}

  static PyArm fromDh(const py::object& rows, const py::object& convention, const py::object& signs,
                      const py::object& base, const py::object& flange, const py::object& lower,
                      const py::object& upper) {
    const Array r = checkedArray(rows, "rows", {{6, 4}});
    const fk_ik::RowConvention rowConvention = conventionOf(convention);
    Array senses;
    if (!signs.is_none()) senses = checkedArray(signs, "signs", {{6, 0}}, Values::Any);
    const KDL::Frame baseFrame = frameOf(base, "base");
    const KDL::Frame flangeFrame = frameOf(flange, "flange");
    Array low, high;
    if (!lower.is_none()) low = checkedArray(lower, "lower", {{6, 0}}, Values::Any);
    if (!upper.is_none()) high = checkedArray(upper, "upper", {{6, 0}}, Values::Any);

    Float64 table[fk_ik::Arm_Dof][4];
    std::copy(r.data(), r.data() + 24, &table[0][0]);
    fk_ik::ArmDescription description;
    std::string why;
    if (fk_ik::ArmDescription::fromRows(table, rowConvention,
                                        signs.is_none() ? nullptr : senses.data(), baseFrame,
                                        flangeFrame, description, &why) != fk_ik::Arm_Ok) {
      throw py::value_error(why);
    }
    if (!lower.is_none()) std::copy(low.data(), low.data() + 6, description.lower);
    if (!upper.is_none()) std::copy(high.data(), high.data() + 6, description.upper);
    return built(description);
  }

  static PyArm fromUrdfFile(const py::object& path, const py::object& baseLink,
                            const py::object& tipLink) {
    fk_ik::Arm arm;
    std::string why;
    const Int32 code = fk_ik::armFromUrdfFile(pathOf(path), linkOf(baseLink, "base_link"),
                                              linkOf(tipLink, "tip_link"), arm, &why);
    return urdfArm(code, arm, why);
  }

  static PyArm fromUrdfText(const py::object& xml, const py::object& baseLink,
                            const py::object& tipLink) {
    fk_ik::Arm arm;
    std::string why;
    const Int32 code = fk_ik::armFromUrdf(textOf(xml), linkOf(baseLink, "base_link"),
                                          linkOf(tipLink, "tip_link"), arm, &why);
    return urdfArm(code, arm, why);
  }

  // The arm of a description, or ValueError with the library's reason.
  static PyArm built(const fk_ik::ArmDescription& description) {
    fk_ik::Arm arm;
    std::string why;
    if (fk_ik::Arm::build(description, arm, &why) != fk_ik::Arm_Ok) throw py::value_error(why);
    return PyArm(arm);
  }

  py::array_t<double> fk(const py::object& q, const py::object& tool) const {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    const KDL::Frame t = toolOf(tool);
    py::array_t<double> pose(6);
    poseRow(jnt.data(), t, pose.mutable_data());
    return pose;
  }

  py::array_t<double> fkMany(const py::object& qs, const py::object& tool,
                             const py::object& threads) const {
    const Array jnt = checkedArray(qs, "Q", {{-1, 6}});
    const KDL::Frame t = toolOf(tool);
    const py::ssize_t rows = jnt.shape(0);
    const py::ssize_t workers = workerCount(threads, rows);
    py::array_t<double> poses({rows, py::ssize_t(6)});
    const double* in = jnt.data();
    double* out = poses.mutable_data();
    forChunks(rows, workers, [&](py::ssize_t begin, py::ssize_t end) {
      for (py::ssize_t i = begin; i < end; ++i) poseRow(in + 6 * i, t, out + 6 * i);
    });
    return poses;
  }

  py::array_t<double> jacobian(const py::object& q, const py::object& tool) const {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    const KDL::Frame t = toolOf(tool);
    fk_ik::ArmJacobian j;
    arm_.jacobian(jnt.data(), t, j);
    return jacobianOf(j);
  }

  py::tuple jacobianDot(const py::object& q, const py::object& qd, const py::object& tool) const {
    const Array jnt = checkedArray(q, "q", {{6, 0}});
    const Array vel = checkedArray(qd, "qd", {{6, 0}});
    const KDL::Frame t = toolOf(tool);
    fk_ik::ArmJacobian j, jDot;
    arm_.jacobianDot(jnt.data(), vel.data(), t, j, jDot);
    return py::make_tuple(jacobianOf(j), jacobianOf(jDot));
  }

  py::array_t<double> lower() const { return sixOf(arm_.description().lower); }
  py::array_t<double> upper() const { return sixOf(arm_.description().upper); }

  py::dict layout() const {
    const fk_ik::ArmLayout& l = arm_.layout();
    py::list pairs;
    for (int i = 0; i + 1 < fk_ik::Arm_Dof; ++i) {
      const fk_ik::AxisPair& p = l.pair[i];
      pairs.append(py::dict(py::arg("axes") = py::make_tuple(i, i + 1), py::arg("kind") = p.kind(),
                            py::arg("angle") = p.angle, py::arg("distance") = p.distance,
                            py::arg("parallel") = p.parallel,
                            py::arg("intersecting") = p.intersecting,
                            py::arg("near_parallel") = p.nearParallel,
                            py::arg("near_intersecting") = p.nearIntersecting));
    }
    return py::dict(py::arg("family") = fk_ik::familyName(l.family),
                    py::arg("near_family") = fk_ik::familyName(l.nearFamily),
                    py::arg("near_deviation") = l.nearDeviation, py::arg("size") = l.size,
                    py::arg("pairs") = pairs, py::arg("wrist_distance") = l.wristDistance,
                    py::arg("base_distance") = l.baseDistance,
                    py::arg("parallel_triple") = tripleOf(l.parallelTriple),
                    py::arg("near_parallel_triple") = tripleOf(l.nearParallelTriple),
                    py::arg("text") = l.text(),
                    py::arg("solver") = fk_ik::inverseRouteName(arm_.inversePlan().route));
  }

  py::tuple mdh() const {
    const fk_ik::ArmMdh& m = arm_.mdh();
    py::array_t<double> rows({6, 4});
    std::copy(&m.rows[0][0], &m.rows[0][0] + 24, rows.mutable_data());
    return py::make_tuple(rows, sixOf(m.signs), matrixOf(m.base), matrixOf(m.flange),
                          py::bool_(m.designedForm));
  }

  std::string repr() const {
    return std::string("<fk_ik.Arm: ") + fk_ik::familyName(arm_.layout().family) + ">";
  }

 private:
  // The reader's answer: the arm, OSError for a file it could not read, else ValueError.
  static PyArm urdfArm(Int32 code, const fk_ik::Arm& arm, const std::string& why) {
    if (code == fk_ik::Arm_Unreadable) {
      PyErr_SetString(PyExc_OSError, why.c_str());
      throw py::error_already_set();
    }
    if (code != fk_ik::Arm_Ok) throw py::value_error(why);
    return PyArm(arm);
  }

  // The pose as fk_ik.Robot and the C functions give it: KDL's roll, pitch, yaw.
  void poseRow(const double* q, const KDL::Frame& tool, double* pose) const {
    KDL::Frame tcp;
    arm_.tcpFrame(q, tool, tcp);
    for (int i = 0; i < 3; ++i) pose[i] = tcp.p(i);
    tcp.M.GetRPY(pose[3], pose[4], pose[5]);
  }
};

}  // namespace

KDL::Frame rpyFrame(const double* six) {
  return KDL::Frame(KDL::Rotation::RPY(six[3], six[4], six[5]),
                    KDL::Vector(six[0], six[1], six[2]));
}

KDL::Frame toolOf(const py::object& tool) {
  if (tool.is_none()) return KDL::Frame::Identity();
  return rpyFrame(checkedArray(tool, "tool", {{6, 0}}).data());
}

void bindArm(py::module_& m) {
  py::class_<PyArm> arm(m, "Arm", R"(Any serial arm of six revolute joints.

Built by Arm.from_dh (rows of either DH convention, joint senses, base and flange
frames, joint limits) or read from URDF by Arm.from_urdf and Arm.from_urdf_string; there
is no other constructor. Poses, tools, units and the argument checks are those of
fk_ik.Robot: a pose is [x, y, z, roll, pitch, yaw] of the tool centre point (TCP) in the
base frame, a tool [x, y, z, rx, ry, rz] the TCP in the flange's frame; lengths in the
unit of the description, angles in radians. ik_all, ik_nearest
and their batches answer every arm: in closed form where its layout decomposes, by
elimination otherwise (layout["solver"] says which); only a degenerate arm, whose axes
coincide, raises ValueError. fk_ik.Robot solves arms of the designed form (mdh() tells
whether an arm is one, and gives rows Robot takes).

Every computing call takes finite values only, joint limits infinite ones too (ValueError
otherwise, TypeError for values that are not numbers), and may run on one Arm from many
threads at once.)");
  arm.def_static("from_dh", &PyArm::fromDh, py::arg("rows"), py::arg("convention"),
                 py::arg("signs") = py::none(), py::arg("base") = py::none(),
                 py::arg("flange") = py::none(), py::arg("lower") = py::none(),
                 py::arg("upper") = py::none(),
                 R"(The arm of a DH table.

rows: 6 x 4, one row per joint from the base, in the library's column order for both
conventions: a, alpha, d, theta (lengths, radians).
convention: "modified" (Craig's: joint i's frame is Rot_x(alpha) Trans_x(a)
Rot_z(theta + q) Trans_z(d) in the frame before it) or "standard" (frame i is
Rot_z(theta + q) Trans_z(d) Trans_x(a) Rot_x(alpha) in frame i-1).
signs: six senses, +1 or -1 each (joint i turns by signs[i] * q[i]; None: all +1).
base, flange: 4 x 4 homogeneous matrices (None: identity); the chain stands on base, and
flange follows its last frame.
lower, upper: six joint limits each, radians (None or infinities: no limit).
Refusals raise ValueError with the reason: a sign other than +1 or -1, a frame that is
not rigid or not finite or whose bottom row is not 0 0 0 1, a NaN limit, a lower limit
above its upper one, a wrong shape, rows that are not finite.)")
      .def_static("from_urdf", &PyArm::fromUrdfFile, py::arg("path"),
                  py::arg("base_link") = py::none(), py::arg("tip_link") = py::none(),
                  R"(The arm of the chain from base_link to tip_link in a URDF file.

Revolute and continuous joints move, and the chain must hold exactly six; fixed joints
fold into the frames (those after joint 6 into the flange). Each joint's origin places its
frame in the link before it, its axis (1 0 0 where none is given) is what it turns about.
The base frame is base_link's own; lengths are the file's (metres in URDF); revolute
joints bring their limits, continuous ones none.
base_link: None for the model's root, or, for a root named "world" with one fixed child
joint, that joint's child. tip_link: None for the only leaf below the base, or the only
leaf whose path holds exactly six moving joints.
OSError when the file cannot be read; ValueError with the reader's reason when the text
or the chain is refused.)")
      .def_static("from_urdf_string", &PyArm::fromUrdfText, py::arg("xml"),
                  py::arg("base_link") = py::none(), py::arg("tip_link") = py::none(),
                  "The arm of URDF text (str or bytes), as from_urdf reads a file; ValueError "
                  "with the reader's reason when it is refused.")
      .def("fk", &PyArm::fk, py::arg("q"), py::arg("tool") = py::none(),
           "TCP pose [x, y, z, roll, pitch, yaw] of the joint positions q (6, radians); with "
           "no tool, the flange's.")
      .def("fk_many", &PyArm::fkMany, py::arg("Q"), py::arg("tool") = py::none(),
           py::arg("threads") = py::none(),
           "n x 6 poses of the n x 6 joint positions Q, computed without the GIL on up to "
           "`threads` threads (default: the machine's cores); each row is bit for bit fk of "
           "that row.")
      .def("jacobian", &PyArm::jacobian, py::arg("q"), py::arg("tool") = py::none(),
           "6 x 6 geometric Jacobian of the TCP in the base frame: column i maps joint i's "
           "velocity to the TCP's linear (rows 0-2: x, y, z) and angular (rows 3-5) velocity.")
      .def("jacobian_dot", &PyArm::jacobianDot, py::arg("q"), py::arg("qd"),
           py::arg("tool") = py::none(),
           "(J, Jdot): the Jacobian at q and its true time derivative dJ/dt, all six rows, "
           "while the joints move at velocity qd (rad/s).")
      .def_property_readonly("lower", &PyArm::lower, "The six lower joint limits (-inf: none).")
      .def_property_readonly("upper", &PyArm::upper, "The six upper joint limits (inf: none).")
      .def_property_readonly(
          "layout", &PyArm::layout,
          "How the joint axes lie at zero position, as a dict: family and near_family "
          "(\"designed chain\", \"spherical wrist\", \"spherical base\", \"three parallel\", "
          "\"general\"), near_deviation (how far off near_family's layout: rad, or length "
          "over size), size (the arm's length scale); pairs, five dicts of consecutive axes "
          "(axes, 0-based as q; kind \"coincident\", \"parallel\", \"intersecting\", \"near "
          "parallel\", \"near intersecting\" or \"skew\"; angle, distance, and the flags "
          "parallel, intersecting, near_parallel, near_intersecting); wrist_distance and "
          "base_distance (how far axes 4-6 and 1-3 are from meeting in one point, inf when "
          "two are parallel); parallel_triple and near_parallel_triple (the first of three "
          "consecutive parallel axes, 0-based, or None); text (all of it as lines); solver "
          "(what answers the inverse: \"closed form\", \"closed form, chain reversed\", "
          "\"closed form of the nearest solvable arm, refined\", \"closed form of the "
          "nearest solvable arm, chain reversed, refined\" or \"elimination\").")
      .def("mdh", &PyArm::mdh,
           "(rows, signs, base, flange, designed_form): an equivalent modified-DH "
           "description, the flange at q being base * prod_i DH(rows[i], theta_i + "
           "signs[i] * q[i]) * flange (rows 6 x 4 as a, alpha, d, theta; signs 6; base and "
           "flange 4 x 4). designed_form is True when the rows are of the form fk_ik.Robot's "
           "inverse is exact for: Robot(rows) then solves the arm for a pose taken into "
           "base's frame, with flange times the tool as its tool, in joints signs * q.")
      .def("__repr__", &PyArm::repr);
  ArmIk::bind(m, arm);
}

}  // namespace fk_ik_python
