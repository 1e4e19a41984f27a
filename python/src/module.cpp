// The extension module _vormel: what the package's Python files are written over.
//
// It is written over Python's C interface, without the module macros of pybind11: those take the
// interpreter's lock in a way that never returns in a sub-interpreter, and end the process where
// memory runs out within a call.
#define VORMEL_IMPORTS_NUMPY
#include "python/src/array_type.h"
#include "python/src/errors.h"
#include "python/src/host_object.h"
#include "python/src/method_type.h"
#include "python/src/module_functions.h"
#include "python/src/python_api.h"

namespace vormel::python {
namespace {

// The one module of the process, owned; null until the first import.
PyObject* theModule = nullptr;
bool isFilled = false;

// The host's objects belong to the interpreter that made them.
void requireMainInterpreter() {
  if (PyInterpreterState_Get() == PyInterpreterState_Main()) return;
  PyErr_SetString(PyExc_ImportError,
                  "vormel can be imported in the main interpreter only: a process has one host, "
                  "and sub-interpreters cannot share its objects");
  throw PythonErrorSet();
}

PyObject* create(PyObject* importSpec, PyModuleDef*) {
  return guarded<PyObject*>(nullptr, [&] {
    requireMainInterpreter();
    if (theModule == nullptr) {
      const Ref name = checked(PyObject_GetAttrString(importSpec, "name"));
      theModule = checked(PyModule_NewObject(name.ptr())).release().ptr();
    }
    return Py_NewRef(theModule);
  });
}

void fill(PyObject* module) {
  loadErrorClasses();  // the package may have been imported again, with classes of its own
  if (isFilled) return;
  if (_import_array() < 0) throw PythonErrorSet();
  addArrayTypes(module);
  addMethodType(module);
  addHostObjectType(module);
  isFilled = true;
}

int execute(PyObject* module) {
  return guarded<int>(-1, [&] {
    fill(module);
    return 0;
  });
}

PyModuleDef* definition() {
  static PyModuleDef_Slot slots[] = {{Py_mod_create, reinterpret_cast<void*>(create)},
                                     {Py_mod_exec, reinterpret_cast<void*>(execute)},
                                     {0, nullptr}};
  static PyModuleDef made = {PyModuleDef_HEAD_INIT,
                             "_vormel",
                             "The embedded host in Python; the package vormel is its face.",
                             0,
                             moduleFunctions(),
                             slots,
                             nullptr,
                             nullptr,
                             nullptr};
  return &made;
}

}  // namespace
}  // namespace vormel::python

PyMODINIT_FUNC PyInit__vormel() { return PyModuleDef_Init(vormel::python::definition()); }
