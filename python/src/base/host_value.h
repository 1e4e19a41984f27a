// Python objects that own a host array: what the package's three kinds of them have in common.
//
//   Array        any host array, as it is
//   Object       a value object, its properties as attributes
//   HostObject   the handle of a host object; base of the classes made from class descriptors
//
// The types themselves are made in types/; conversions need no more of them than what is here.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

struct HostValue {
  PyObject_HEAD vrArray*
      array;  // owned, on no array list; null only in a HostObject that was never made
};

// The common base type. Borrowed, alive to the end of the process.
PyTypeObject* hostValueType();

// A type derived from the common base.
PyTypeObject* makeHostValueType(PyType_Spec& typeDescription);

// The types of wrapArray and wrapObject. Set once, when the module is made; alive to the end of the
// process.
void setArrayType(PyTypeObject* type);
void setObjectType(PyTypeObject* type);

// A vormel.Array that owns the array. The array leaves any array list.
Ref wrapArray(OwnedArray array);

// The same as a vormel.Object, of a value object of one element.
Ref wrapObject(OwnedArray array);

// True for an Array, an Object or a host object.
inline bool isHostValue(PyObject* value) { return PyObject_TypeCheck(value, hostValueType()); }

// The array of a host value, borrowed. Refuses a host object whose constructor never ran.
const vrArray* hostArrayIn(PyObject* hostValue);

// The same, or null for any other Python object.
const vrArray* hostArrayOf(PyObject* value);

// Slots of the types: tp_richcompare by class, shape, complexity and content, and tp_dealloc.
PyObject* compareHostValues(PyObject* self, PyObject* other, int operation);
void deallocHostValue(PyObject* self);

}  // namespace vormel::python
