// What the sources of fk_ik.Arm share: arm_binding.cpp builds the class and its forward
// calls, arm_ik_binding.cpp its inverse calls.
#ifndef FK_IK_PYTHON_ARM_BINDING_H
#define FK_IK_PYTHON_ARM_BINDING_H

#include "arm.h"
#include "module_args.h"

namespace fk_ik_python {

// The frame of six values x, y, z, roll, pitch, yaw: the translation, then KDL's roll,
// pitch, yaw. Poses and tools alike.
KDL::Frame rpyFrame(const double* six);

// The tool [x, y, z, rx, ry, rz] as the library's C functions and fk_ik.Robot take it: the
// translation in the flange's frame, then roll, pitch, yaw. None: the identity.
KDL::Frame toolOf(const py::object& tool);

// The arm behind fk_ik.Arm with its inverse calls (arm_ik_binding.cpp). The class's C++
// type derives from this one, and py::class_ binds a base's members as the derived
// type's own.
class ArmIk {
 public:
  explicit ArmIk(const fk_ik::Arm& arm) : arm_(arm) {}

  py::tuple ikAll(const py::object& pose, const py::object& tool) const;
  py::tuple ikNearest(const py::object& pose, const py::object& ref, const py::object& tool,
                      const py::object& lower, const py::object& upper) const;
  py::tuple ikAllMany(const py::object& poses, const py::object& tool,
                      const py::object& threads) const;
  py::tuple ikNearestMany(const py::object& poses, const py::object& refs, const py::object& tool,
                          const py::object& lower, const py::object& upper,
                          const py::object& threads) const;

  // Adds the calls above to the class, after the module's Code is bound (their codes are
  // its members).
  template <class Derived>
  static void bind(py::module_& m, py::class_<Derived>& cls) {
    useCodes(m.attr("Code"));
    cls.def("ik_all", &ArmIk::ikAll, py::arg("pose"), py::arg("tool") = py::none(), kIkAllDoc)
        .def("ik_nearest", &ArmIk::ikNearest, py::arg("pose"), py::arg("ref"),
             py::arg("tool") = py::none(), py::arg("lower") = py::none(),
             py::arg("upper") = py::none(), kIkNearestDoc)
        .def("ik_all_many", &ArmIk::ikAllMany, py::arg("poses"), py::arg("tool") = py::none(),
             py::arg("threads") = py::none(), kIkAllManyDoc)
        .def("ik_nearest_many", &ArmIk::ikNearestMany, py::arg("poses"), py::arg("refs"),
             py::arg("tool") = py::none(), py::arg("lower") = py::none(),
             py::arg("upper") = py::none(), py::arg("threads") = py::none(), kIkNearestManyDoc);
  }

 protected:
  fk_ik::Arm arm_;

 private:
  static void useCodes(const py::object& code);
  static const char* const kIkAllDoc;
  static const char* const kIkNearestDoc;
  static const char* const kIkAllManyDoc;
  static const char* const kIkNearestManyDoc;
};

}  // namespace fk_ik_python

#endif  // FK_IK_PYTHON_ARM_BINDING_H
