// vormel.Array.
#include "python/src/types/types.h"

#include <string>

#include "python/src/base/errors.h"
#include "python/src/base/host_value.h"
#include "python/src/base/names.h"
#include "python/src/values_out/from_host.h"

namespace vormel::python {
namespace {

const vrArray* arrayIn(PyObject* self) { return reinterpret_cast<HostValue*>(self)->array; }

PyObject* getClassId(PyObject* self, void*) { return PyLong_FromLong(vrGetClassID(arrayIn(self))); }

PyObject* getClassName(PyObject* self, void*) {
  return guarded<PyObject*>(nullptr,
                            [&] { return nameFor(className(arrayIn(self))).release().ptr(); });
}

PyObject* getIsComplex(PyObject* self, void*) {
  return PyBool_FromLong(static_cast<long>(vrIsComplex(arrayIn(self))));
}

Ref shapeTuple(const vrArray* array) {
  const std::size_t count = vrGetNumberOfDimensions_730(array);
  const std::size_t* dimensions = vrGetDimensions_730(array);
  Ref shape = checked(PyTuple_New(static_cast<Py_ssize_t>(count)));
  for (std::size_t i = 0; i < count; ++i) {
    PyObject* length = checked(PyLong_FromSize_t(dimensions[i])).release().ptr();
    PyTuple_SET_ITEM(shape.ptr(), static_cast<Py_ssize_t>(i), length);
  }
  return shape;
}

PyObject* getShape(PyObject* self, void*) {
  return guarded<PyObject*>(nullptr, [&] { return shapeTuple(arrayIn(self)).release().ptr(); });
}

PyObject* toPython(PyObject* self, PyObject*) {
  return guarded<PyObject*>(nullptr, [&] { return fromHost(arrayIn(self)).release().ptr(); });
}

// ---- The array interface of NumPy ----

// NumPy arrays that own their elements are copies; the others lie over the host's memory.
bool isCopy(PyArrayObject* array) { return PyArray_CHKFLAGS(array, NPY_ARRAY_OWNDATA); }

Ref inDtype(Ref array, PyArray_Descr* dtype, bool mustCopy) {
  const int flags = NPY_ARRAY_FORCECAST | (mustCopy ? NPY_ARRAY_ENSURECOPY : 0);
  auto* source = reinterpret_cast<PyArrayObject*>(array.ptr());
  Py_XINCREF(dtype);  // taken over by the call
  return checked(PyArray_FromArray(source, dtype, flags));
}

// Null for None.
Ref readDtype(PyObject* value) {
  PyArray_Descr* dtype = nullptr;
  if (value != Py_None && PyArray_DescrConverter(value, &dtype) == NPY_FAIL) throw PythonErrorSet();
  return steal(reinterpret_cast<PyObject*>(dtype));
}

// What NumPy 2 means by `copy`: None where it has to be, True always, False never.
Ref numpyFace(const vrArray* array, PyObject* dtypeValue, PyObject* copy) {
  const Ref dtype = readDtype(dtypeValue);
  const int isTrue = PyObject_IsTrue(copy);
  checked(isTrue);
  Ref face = numpyArrayOf(array);
  const bool wasCopied = isCopy(reinterpret_cast<PyArrayObject*>(face.ptr()));
  const bool mustCopy = isTrue != 0 && !wasCopied;
  Ref result = inDtype(face, reinterpret_cast<PyArray_Descr*>(dtype.ptr()), mustCopy);
  if (isTrue != 0) {
    PyArray_ENABLEFLAGS(reinterpret_cast<PyArrayObject*>(result.ptr()), NPY_ARRAY_WRITEABLE);
  }
  if (copy != Py_None && isTrue == 0 && (wasCopied || result.ptr() != face.ptr())) {
    PyErr_SetString(PyExc_ValueError, "a NumPy array of these elements needs a copy of them");
    throw PythonErrorSet();
  }
  return result;
}

PyObject* toNumpy(PyObject* self, PyObject* arguments, PyObject* keywords) {
  static const char* names[] = {"dtype", "copy", nullptr};
  PyObject* dtype = Py_None;
  PyObject* copy = Py_None;
  if (PyArg_ParseTupleAndKeywords(arguments, keywords, "|OO:__array__", const_cast<char**>(names),
                                  &dtype, &copy) == 0) {
    return nullptr;
  }
  return guarded<PyObject*>(nullptr,
                            [&] { return numpyFace(arrayIn(self), dtype, copy).release().ptr(); });
}

std::string shapeText(const vrArray* array) {
  const std::size_t count = vrGetNumberOfDimensions_730(array);
  const std::size_t* dimensions = vrGetDimensions_730(array);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) text += "-by-";
    text += std::to_string(dimensions[i]);
  }
  return text;
}

PyObject* arrayRepr(PyObject* self) {
  return guarded<PyObject*>(nullptr, [&] {
    const vrArray* array = arrayIn(self);
    const std::string text = "<vormel.Array " + shapeText(array) + ' ' +
                             (vrIsComplex(array) ? "complex " : "") + className(array) + '>';
    return checked(PyUnicode_FromString(text.c_str())).release().ptr();
  });
}

PyTypeObject* makeArrayType() {
  static PyGetSetDef attributes[] = {
      {"class_id", getClassId, nullptr, "The host's class number, such as 6 for double.", nullptr},
      {"class_name", getClassName, nullptr, "The host's class name, such as \"double\".", nullptr},
      {"shape", getShape, nullptr, "Lengths of the dimensions, two or more.", nullptr},
      {"is_complex", getIsComplex, nullptr, "True if there are imaginary parts.", nullptr},
      {nullptr, nullptr, nullptr, nullptr, nullptr}};
  static PyMethodDef methods[] = {
      {"to_python", toPython, METH_NOARGS,
       "to_python($self, /)\n--\n\nThe value as a call would return it."},
      {"__array__", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(toNumpy)),
       METH_VARARGS | METH_KEYWORDS,
       "__array__($self, /, dtype=None, copy=None)\n--\n\n"
       "A NumPy array of the same shape, of two or more dimensions: numbers and truths read-only\n"
       "over the host's memory, characters of dtype U1, everything else of dtype object."},
      {nullptr, nullptr, 0, nullptr}};
  static char doc[] =
      "A host array as it is. Make one with vormel.array(). Arrays are equal when class, shape,\n"
      "complexity and content are; they do not change.";
  static PyType_Slot slots[] = {{Py_tp_doc, doc},
                                {Py_tp_getset, attributes},
                                {Py_tp_methods, methods},
                                {Py_tp_repr, reinterpret_cast<void*>(arrayRepr)},
                                {Py_tp_richcompare, reinterpret_cast<void*>(compareHostValues)},
                                {Py_tp_hash, reinterpret_cast<void*>(PyObject_HashNotImplemented)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {"vormel.Array", sizeof(HostValue), 0,
                                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                                        slots};
  return makeHostValueType(typeDescription);
}

}  // namespace

void addArrayType(PyObject* module) {
  PyTypeObject* type = makeArrayType();
  setArrayType(type);
  checked(PyModule_AddType(module, type));
}

}  // namespace vormel::python
