// The least that a method of a Python class costs with pybind11: the yardstick of the Python face.
#include <pybind11/pybind11.h>

namespace {

struct Counter {
  int count = 0;
  int getCount() const { return count; }
};

}  // namespace

PYBIND11_MODULE(bare_pybind, module) {
  pybind11::class_<Counter>(module, "Counter")
      .def(pybind11::init<>())
      .def("getCount", &Counter::getCount);
}
