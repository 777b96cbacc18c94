#include "module_args.h"

#include <climits>
#include <cmath>
#include <string>

namespace fk_ik_python {

namespace {

std::string shapeText(Shape shape) {
  const std::string rows = shape.rows < 0 ? "n" : std::to_string(shape.rows);
  return shape.columns == 0 ? "(" + rows + ",)"
                            : "(" + rows + ", " + std::to_string(shape.columns) + ")";
}

}  // namespace

// The messages are built only when they are needed.
Array checkedArray(py::handle obj, const char* name, std::initializer_list<Shape> shapes,
                   Values values) {
  const auto wanted = [&] {
    std::string text;
    for (const Shape& shape : shapes) text += (text.empty() ? "" : " or ") + shapeText(shape);
    return text;
  };
  if (obj.is_none())
    throw py::type_error(std::string(name) + " must be an array of numbers, not None");
  // numpy.asarray, kept for the life of the process: a static py::object would be
  // released after the interpreter has gone.
  static PyObject* asarray =
      py::object(py::module_::import("numpy").attr("asarray")).release().ptr();
  py::array a;
  if (py::isinstance<py::array>(obj)) {
    a = py::reinterpret_borrow<py::array>(obj);
  } else {
    try {
      a = py::reinterpret_borrow<py::object>(asarray)(obj);
    } catch (py::error_already_set& e) {
      // numpy refuses ragged nested sequences with ValueError: a shape problem.
      if (!e.matches(PyExc_ValueError)) throw;
      throw py::value_error(std::string(name) + " must have shape " + wanted() + ": " +
                            std::string(py::str(e.value())));
    }
  }
  const char kind = a.dtype().kind();
  if (kind != 'i' && kind != 'u' && kind != 'f') {
    throw py::type_error(std::string(name) + " must hold numbers (integers or floats), got dtype " +
                         std::string(py::str(a.dtype())));
  }
  bool shapeOk = false;
  for (const Shape& shape : shapes) {
    shapeOk = shapeOk ||
              (shape.columns == 0 ? a.ndim() == 1 && a.shape(0) == shape.rows
                                  : a.ndim() == 2 && (shape.rows < 0 || a.shape(0) == shape.rows) &&
                                        a.shape(1) == shape.columns);
  }
  if (!shapeOk) {
    std::string got = "(";
    for (py::ssize_t i = 0; i < a.ndim(); ++i) {
      got += std::to_string(a.shape(i)) + (a.ndim() == 1 ? "," : i + 1 < a.ndim() ? ", " : "");
    }
    throw py::value_error(std::string(name) + " must have shape " + wanted() + ", got " + got +
                          ")");
  }
  Array checked = Array::ensure(a);
  if (values == Values::Any) return checked;
  const double* p = checked.data();
  for (py::ssize_t i = 0; i < checked.size(); ++i) {
    if (std::isnan(p[i]) || (values == Values::Finite && std::isinf(p[i]))) {
      throw py::value_error(std::string(name) + " must be " +
                            (values == Values::NoNaN ? "free of NaN" : "finite") + ": element " +
                            std::to_string(i) + " (flat index) is " +
                            std::string(py::str(py::float_(p[i]))));
    }
  }
  return checked;
}

long long integerOf(const py::object& obj, const char* name, long long lowest, long long highest,
                    const char* range) {
  PyObject* index = py::isinstance<py::bool_>(obj) ? nullptr : PyNumber_Index(obj.ptr());
  if (index == nullptr) {
    PyErr_Clear();
    throw py::type_error(std::string(name) + " must be an int");
  }
  int overflow = 0;
  const long long value = PyLong_AsLongLongAndOverflow(index, &overflow);
  Py_DECREF(index);
  if (overflow != 0 || value < lowest || value > highest) {
    throw py::value_error(std::string(name) + " must be " + range);
  }
  return value;
}

py::ssize_t workerCount(const py::object& threads, py::ssize_t rows) {
  const py::ssize_t minRows = 256;
  long long wanted = std::max(1u, std::thread::hardware_concurrency());
  if (!threads.is_none()) {
    wanted = std::min(1024LL, integerOf(threads, "threads", 1, LLONG_MAX, "None or at least 1"));
  }
  return std::max<py::ssize_t>(1, std::min<py::ssize_t>(wanted, rows / minRows));
}

}  // namespace fk_ik_python
