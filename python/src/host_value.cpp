#include "python/src/host_value.h"

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel::python {
namespace {

PyTypeObject* makeType() {
  static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(deallocHostValue)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {
      "vormel._vormel._HostValue", sizeof(HostValue), 0,
      Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_DISALLOW_INSTANTIATION, slots};
  return reinterpret_cast<PyTypeObject*>(
      checked(PyType_FromSpec(&typeDescription)).release().ptr());
}

HostValue* asHostValue(PyObject* object) { return reinterpret_cast<HostValue*>(object); }

}  // namespace

PyTypeObject* hostValueType() {
  static PyTypeObject* const type = makeType();
  return type;
}

const vrArray* hostArrayOf(PyObject* value) {
  if (!PyObject_TypeCheck(value, hostValueType())) return nullptr;
  const vrArray* array = asHostValue(value)->array;
  if (array == nullptr) {
    throw CallRefused("NotConstructed", "the constructor of this host object never ran");
  }
  return array;
}

Ref wrapHostValue(PyTypeObject* type, OwnedArray array) {
  Ref object = checked(type->tp_alloc(type, 0));
  CallScope::detach(array.get());
  asHostValue(object.ptr())->array = array.release();
  return object;
}

void deallocHostValue(PyObject* self) {
  PyTypeObject* type = Py_TYPE(self);
  vrDestroyArray(asHostValue(self)->array);
  type->tp_free(self);
  Py_DECREF(type);
}

}  // namespace vormel::python
