#include "python/src/base/host_value.h"

#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/messages/host_exception.h"
#include "python/src/base/errors.h"

namespace vormel::python {
namespace {

PyTypeObject* arrayType = nullptr;
PyTypeObject* objectType = nullptr;

PyTypeObject* makeBaseType() {
  static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(deallocHostValue)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {
      "vormel._vormel._HostValue", sizeof(HostValue), 0,
      Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_DISALLOW_INSTANTIATION, slots};
  return reinterpret_cast<PyTypeObject*>(
      checked(PyType_FromSpec(&typeDescription)).release().ptr());
}

HostValue* asHostValue(PyObject* object) { return reinterpret_cast<HostValue*>(object); }

Ref wrap(PyTypeObject* type, OwnedArray array) {
  Ref object = checked(type->tp_alloc(type, 0));
  CallScope::detach(array.get());
  asHostValue(object.ptr())->array = array.release();
  return object;
}

}  // namespace

PyTypeObject* hostValueType() {
  static PyTypeObject* const type = makeBaseType();
  return type;
}

PyTypeObject* makeHostValueType(PyType_Spec& typeDescription) {
  auto* base = reinterpret_cast<PyObject*>(hostValueType());
  return reinterpret_cast<PyTypeObject*>(
      checked(PyType_FromSpecWithBases(&typeDescription, base)).release().ptr());
}

void setArrayType(PyTypeObject* type) { arrayType = type; }

void setObjectType(PyTypeObject* type) { objectType = type; }

Ref wrapArray(OwnedArray array) { return wrap(arrayType, std::move(array)); }

Ref wrapObject(OwnedArray array) { return wrap(objectType, std::move(array)); }

const vrArray* hostArrayIn(PyObject* hostValue) {
  const vrArray* array = asHostValue(hostValue)->array;
  if (array == nullptr) {
    throw CallRefused("NotConstructed", "the constructor of this host object never ran");
  }
  return array;
}

const vrArray* hostArrayOf(PyObject* value) {
  return isHostValue(value) ? hostArrayIn(value) : nullptr;
}

PyObject* compareHostValues(PyObject* self, PyObject* other, int operation) {
  if (Py_TYPE(self) != Py_TYPE(other) || (operation != Py_EQ && operation != Py_NE)) {
    Py_RETURN_NOTIMPLEMENTED;
  }
  return guarded<PyObject*>(nullptr, [&] {
    const bool isEqual = equal(asHostValue(self)->array, asHostValue(other)->array);
    return PyBool_FromLong(static_cast<long>(isEqual == (operation == Py_EQ)));
  });
}

void deallocHostValue(PyObject* self) {
  PyTypeObject* type = Py_TYPE(self);
  vrDestroyArray(asHostValue(self)->array);
  type->tp_free(self);
  Py_DECREF(type);
}

}  // namespace vormel::python
