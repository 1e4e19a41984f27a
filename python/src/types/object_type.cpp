// vormel.Object.
#include "python/src/types/types.h"

#include <cstring>
#include <string>
#include <utility>

#include "python/src/base/errors.h"
#include "python/src/base/host_value.h"
#include "python/src/base/names.h"
#include "python/src/base/text.h"
#include "python/src/values_out/from_host.h"

namespace vormel::python {
namespace {

const vrArray* arrayIn(PyObject* self) { return reinterpret_cast<HostValue*>(self)->array; }

// The property, or null if there is none of that name.
OwnedArray property(PyObject* self, PyObject* name) {
  if (!PyUnicode_Check(name)) return {};
  Py_ssize_t length = 0;
  const char* characters = PyUnicode_AsUTF8AndSize(name, &length);
  if (characters == nullptr) {
    clearEncodingError();
    return {};
  }
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
    return newText(text).release().ptr();
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
                                {Py_tp_richcompare, reinterpret_cast<void*>(compareHostValues)},
                                {Py_tp_hash, reinterpret_cast<void*>(PyObject_HashNotImplemented)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {"vormel.Object", sizeof(HostValue), 0,
                                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                                        slots};
  return makeHostValueType(typeDescription);
}

}  // namespace

void addObjectType(PyObject* module) {
  PyTypeObject* type = makeObjectType();
  setObjectType(type);
  checked(PyModule_AddType(module, type));
}

}  // namespace vormel::python
