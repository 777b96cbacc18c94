// The argument checks and the batch threads shared by the extension's classes (Robot in
// fk_ik_module.cpp, Arm in arm_binding.cpp).
//
// Every value a Python caller passes goes through these checks before the library sees
// it (shape, numeric type, finiteness), so that a mistake raises ValueError or TypeError
// instead of tripping one of the library's assertions, which would abort the interpreter.
#ifndef FK_IK_PYTHON_MODULE_ARGS_H
#define FK_IK_PYTHON_MODULE_ARGS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <initializer_list>
#include <system_error>
#include <thread>
#include <vector>

namespace fk_ik_python {

namespace py = pybind11;

using Array = py::array_t<double, py::array::c_style | py::array::forcecast>;

// An array shape a caller may pass: `rows` values (1-D, columns 0) or rows x columns; rows
// -1 stands for any count.
struct Shape {
  py::ssize_t rows;
  py::ssize_t columns;
};

// Which values an array may hold besides finite ones. Any is for values the library
// checks itself and refuses with its own message (an arm's frames, senses and limits).
enum class Values { Finite, NoNaN, Any };

// obj as a C-ordered float64 array, after checking that it holds integers or floats, that
// its shape is one of `shapes` and that its values are as `values` allows. The messages
// name the argument: "q must have shape (6,), got (3,)".
Array checkedArray(py::handle obj, const char* name, std::initializer_list<Shape> shapes,
                   Values values = Values::Finite);

// obj as an integer in [lowest, highest]: TypeError when it is not an integer (a bool
// neither), ValueError outside the range, which `range` describes.
long long integerOf(const py::object& obj, const char* name, long long lowest, long long highest,
                    const char* range);

// The worker count of a batch of `rows`: `threads` (None: the machine's cores), but no
// more than one per 256 rows, since starting a thread costs about as much as that many
// calls.
py::ssize_t workerCount(const py::object& threads, py::ssize_t rows);

// Calls rowsFrom(begin, end) over [0, rows) split into `workers` contiguous chunks, the first
// on the calling thread, without the GIL. Each row's answer depends on that row alone, so
// the split never changes a result. A thread that cannot be started leaves its chunk to
// the calling thread.
template <class RowsFrom>
void forChunks(py::ssize_t rows, py::ssize_t workers, const RowsFrom& rowsFrom) {
  py::gil_scoped_release released;
  const py::ssize_t chunk = (rows + workers - 1) / std::max<py::ssize_t>(workers, 1);
  // Room reserved first: growing either vector could throw while threads run.
  std::vector<std::thread> started;
  std::vector<py::ssize_t> leftOver;
  started.reserve(workers);
  leftOver.reserve(workers);
  for (py::ssize_t begin = chunk; begin < rows; begin += chunk) {
    const py::ssize_t end = std::min(rows, begin + chunk);
    try {
      started.emplace_back([&rowsFrom, begin, end] { rowsFrom(begin, end); });
    } catch (const std::system_error&) {
      leftOver.push_back(begin);
    }
  }
  rowsFrom(0, std::min(rows, chunk));
  for (py::ssize_t begin : leftOver) rowsFrom(begin, std::min(rows, begin + chunk));
  for (std::thread& t : started) t.join();
}

// Adds fk_ik.Arm to the module (arm_binding.cpp).
void bindArm(py::module_& m);

}  // namespace fk_ik_python

#endif  // FK_IK_PYTHON_MODULE_ARGS_H
