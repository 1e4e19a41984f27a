#include "python/src/array_type.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "python/src/errors.h"
#include "python/src/from_host.h"
#include "python/src/host_value.h"
#include "python/src/names.h"
#include "python/src/text.h"

namespace vormel::python {
namespace {

PyTypeObject* arrayType = nullptr;
PyTypeObject* objectType = nullptr;

const vrArray* arrayIn(PyObject* self) { return reinterpret_cast<HostValue*>(self)->array; }

// Equal class, shape, complexity and content.
PyObject* compare(PyObject* self, PyObject* other, int operation) {
  if (Py_TYPE(self) != Py_TYPE(other) || (operation != Py_EQ && operation != Py_NE)) {
    Py_RETURN_NOTIMPLEMENTED;
  }
  return guarded<PyObject*>(nullptr, [&] {
    const bool isEqual = equal(arrayIn(self), arrayIn(other));
    return PyBool_FromLong(static_cast<long>(isEqual == (operation == Py_EQ)));
  });
}

// ---- Array ----

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

PyTypeObject* makeType(PyType_Spec& typeDescription) {
  auto* base = reinterpret_cast<PyObject*>(hostValueType());
  return reinterpret_cast<PyTypeObject*>(
      checked(PyType_FromSpecWithBases(&typeDescription, base)).release().ptr());
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
                                {Py_tp_richcompare, reinterpret_cast<void*>(compare)},
                                {Py_tp_hash, reinterpret_cast<void*>(PyObject_HashNotImplemented)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {"vormel.Array", sizeof(HostValue), 0,
                                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                                        slots};
  return makeType(typeDescription);
}

// ---- Object ----

// The property, or null if there is none of that name.
OwnedArray property(PyObject* self, PyObject* name) {
  if (!PyUnicode_Check(name)) return {};
  Py_ssize_t length = 0;
  const char* characters = PyUnicode_AsUTF8AndSize(name, &length);
  if (characters == nullptr && cannotBeEncoded()) return {};
  if (std::strlen(characters) != static_cast<std::size_t>(length)) return {};
  return OwnedArray(vrGetProperty_730(arrayIn(self), 0, characters));
}

PyObject* getProperty(PyObject* self, PyObject* name) {
  return guarded<PyObject*>(nullptr, [&]() -> PyObject* {
    OwnedArray value = property(self, name);
    if (!value) return PyObject_GenericGetAttr(self, name);
    return fromHost(std::move(value)).release().ptr();
  });
}

int setProperty(PyObject* self, PyObject* name, PyObject*) {
  PyErr_Format(PyExc_AttributeError, "'%.100s' object is read-only: %R cannot be set",
               Py_TYPE(self)->tp_name, name);
  return -1;
}

Ref propertyNames(const vrArray* object) {
  Ref names = checked(PyList_New(0));
  for (const std::string& name : fieldNames(object)) {
    checked(PyList_Append(names.ptr(), nameFor(name).ptr()));
  }
  return names;
}

PyObject* objectDir(PyObject* self, PyObject*) {
  return guarded<PyObject*>(nullptr, [&] {
    auto* type = reinterpret_cast<PyObject*>(Py_TYPE(self));
    const Ref inherited = checked(PyObject_Dir(type));
    return checked(PySequence_Concat(propertyNames(arrayIn(self)).ptr(), inherited.ptr()))
        .release()
        .ptr();
  });
}

PyObject* objectRepr(PyObject* self) {
  return guarded<PyObject*>(nullptr, [&] {
    std::string text = "<vormel.Object " + className(arrayIn(self));
    char separator = ':';
    for (const std::string& name : fieldNames(arrayIn(self))) {
      text.append(1, separator).append(1, ' ').append(name);
      separator = ',';
    }
    text += '>';
    return checked(
               PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"))
        .release()
        .ptr();
  });
}

PyTypeObject* makeObjectType() {
  static PyMethodDef methods[] = {{"__dir__", objectDir, METH_NOARGS, nullptr},
                                  {nullptr, nullptr, 0, nullptr}};
  static char doc[] =
      "A value object of the host. Its properties are attributes; they cannot be set. Objects are\n"
      "equal when class and properties are.";
  static PyType_Slot slots[] = {{Py_tp_doc, doc},
                                {Py_tp_methods, methods},
                                {Py_tp_getattro, reinterpret_cast<void*>(getProperty)},
                                {Py_tp_setattro, reinterpret_cast<void*>(setProperty)},
                                {Py_tp_repr, reinterpret_cast<void*>(objectRepr)},
                                {Py_tp_richcompare, reinterpret_cast<void*>(compare)},
                                {Py_tp_hash, reinterpret_cast<void*>(PyObject_HashNotImplemented)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {"vormel.Object", sizeof(HostValue), 0,
                                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                                        slots};
  return makeType(typeDescription);
}

}  // namespace

void addArrayTypes(PyObject* module) {
  arrayType = makeArrayType();
  objectType = makeObjectType();
  checked(PyModule_AddType(module, arrayType));
  checked(PyModule_AddType(module, objectType));
}

Ref wrapArray(OwnedArray array) { return wrapHostValue(arrayType, std::move(array)); }

Ref wrapObject(OwnedArray array) { return wrapHostValue(objectType, std::move(array)); }

}  // namespace vormel::python
