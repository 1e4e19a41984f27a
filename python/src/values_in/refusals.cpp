#include "python/src/values_in/refusals.h"

#include <datetime.h>

#include <cstring>
#include <string>

#include "embedded_host/messages/host_exception.h"
#include "python/src/values_in/numpy_elements.h"

namespace vormel::python {
namespace {

constexpr char asCell[] = ", or make a cell array: vormel.array(value, \"cell\")";

[[noreturn]] void refuse(const std::string& what, const std::string& hint) {
  throw CallRefused("NotConvertible", what + (hint.empty() ? "" : "; " + hint));
}

// ---- Values ----

void importDatetime() {
  if (PyDateTimeAPI == nullptr) PyDateTime_IMPORT;
  if (PyDateTimeAPI == nullptr) throw PythonErrorSet();
}

// "" for what is no date, time or duration of Python's own. After importDatetime().
const char* hintForTime(PyObject* value) {
  if (PyDate_Check(value)) {
    return "pass a number, such as seconds since a start: (time - start).total_seconds()";
  }
  if (PyTime_Check(value)) {
    return "pass a number, such as seconds since midnight: "
           "60 * (60 * time.hour + time.minute) + time.second";
  }
  return PyDelta_Check(value) ? "pass a number, such as seconds: value.total_seconds()" : "";
}

std::string hintForValue(PyObject* value) {
  if (PyBytes_Check(value) || PyByteArray_Check(value)) {
    return "decode it to a str, or pass np.frombuffer(value, np.uint8)";
  }
  importDatetime();
  const char* hint = hintForTime(value);
  if (*hint != '\0') return hint;
  if (Py_TYPE(value)->tp_iter != nullptr) return "pass list(value)";
  if (PyCallable_Check(value) != 0) return "vormel.function_handle(name) makes a function handle";
  return "";
}

// ---- Dtypes ----

std::string hintForFloating(const PyArray_Descr* dtype) {
  if (dtype->kind == 'c') return "convert it with .astype(np.complex128)";
  return dtype->elsize < 4 ? "convert it with .astype(np.float32), which keeps every value"
                           : "convert it with .astype(np.float64)";
}

// Of an array of Python objects, by its first date, time or duration if there is one.
std::string hintForObjects(PyArrayObject* array) {
  importDatetime();  // may run Python code
  if (PyArray_DESCR(array)->kind != 'O') return "";
  const char* hint = "";
  bool isDuration = false;
  forEachElement(NumpyElements(array), [&](const char* element) {
    PyObject* item = nullptr;
    std::memcpy(&item, element, sizeof(PyObject*));
    if (item == nullptr || *hint != '\0') return;
    hint = hintForTime(item);
    isDuration = PyDelta_Check(item) != 0;
  });
  if (*hint == '\0') return std::string("convert it to numbers with .astype(float)") + asCell;
  return isDuration ? "pass numbers, such as seconds: [time.total_seconds() for time in times]"
                    : "pass numbers, such as seconds since a start: "
                      "[(time - start).total_seconds() for time in times]";
}

std::string hintForDtype(PyArrayObject* array) {
  const PyArray_Descr* dtype = PyArray_DESCR(array);
  switch (dtype->kind) {
    case 'M':
      return "pass numbers, such as seconds since a start: "
             "(times - times[0]) / np.timedelta64(1, 's')";
    case 'm':
      return "pass numbers, such as seconds: times / np.timedelta64(1, 's')";
    case 'O':
      return hintForObjects(array);
    case 'U':
      return std::string("pass a list of str with .tolist()") + asCell;
    case 'S':
      return "decode it with .astype(str), and pass a list of str with .tolist()";
    case 'V':
      return PyDataType_HASFIELDS(dtype)
                 ? "pass a dict of its fields: {name: value[name] for name in value.dtype.names}"
                 : "read it as numbers with .view(np.uint8)";
    case 'f':
    case 'c':
      return hintForFloating(dtype);
    default:
      return "";
  }
}

std::string nameOf(PyArray_Descr* dtype) {
  const Ref held = borrow(reinterpret_cast<PyObject*>(dtype));
  const Ref name = checked(PyObject_Str(held.ptr()));
  const char* text = PyUnicode_AsUTF8(name.ptr());
  if (text == nullptr) throw PythonErrorSet();
  return text;
}

// ---- Masked arrays ----

// numpy.ma, or null if nobody has imported it; then there are no masked arrays.
Ref masks() {
  const Ref name = checked(PyUnicode_FromString("numpy.ma"));
  Ref module = steal(PyImport_GetModule(name.ptr()));
  if (!module && PyErr_Occurred() != nullptr) throw PythonErrorSet();
  return module;
}

bool isMaskedArray(PyObject* array, const Ref& module) {
  const Ref type = checked(PyObject_GetAttrString(module.ptr(), "MaskedArray"));
  return PyType_Check(type.ptr()) != 0 &&
         PyType_IsSubtype(Py_TYPE(array), reinterpret_cast<PyTypeObject*>(type.ptr())) != 0;
}

// The mask is an array of NumPy's bools, or one bool for an array without masked elements.
bool hasMaskedElements(PyObject* array, const Ref& module) {
  const Ref mask = checked(PyObject_CallMethod(module.ptr(), "getmask", "O", array));
  if (!PyArray_Check(mask.ptr())) return false;
  auto* truths = reinterpret_cast<PyArrayObject*>(mask.ptr());
  if (PyArray_TYPE(truths) != NPY_BOOL) return false;
  bool isAnyTrue = false;
  forEachElement(NumpyElements(truths),
                 [&isAnyTrue](const char* truth) { isAnyTrue = isAnyTrue || *truth != 0; });
  return isAnyTrue;
}

}  // namespace

void refuseValue(PyObject* value) {
  refuse(
      std::string("a value of the Python class ") + Py_TYPE(value)->tp_name + " has no host array",
      hintForValue(value));
}

void refuseDtype(PyArrayObject* array) {
  const std::string name = nameOf(PyArray_DESCR(array));
  refuse("the NumPy dtype " + name + " has no host class", hintForDtype(array));
}

void refuseMasked(PyArrayObject* array) {
  auto* object = reinterpret_cast<PyObject*>(array);
  if (PyArray_CheckExact(object)) return;
  // A structured array has a mask for each field; its dtype is refused without a look at them.
  if (PyDataType_HASFIELDS(PyArray_DESCR(array))) return;
  const Ref module = masks();
  if (!module || !isMaskedArray(object, module) || !hasMaskedElements(object, module)) return;
  refuse("a masked array with masked elements has no host array",
         "fill them with .filled(value), or leave them out with .compressed()");
}

void refuseHinted(PyObject* item) {
  if (PyArray_Check(item)) return refuseMasked(reinterpret_cast<PyArrayObject*>(item));
  if (PyArray_IsScalar(item, Datetime) || PyArray_IsScalar(item, Timedelta)) {
    const Ref array = checked(PyArray_FromScalar(item, nullptr));
    refuseDtype(reinterpret_cast<PyArrayObject*>(array.ptr()));
  }
  importDatetime();
  if (*hintForTime(item) != '\0') refuseValue(item);
}

}  // namespace vormel::python
