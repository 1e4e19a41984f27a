// What the package's three kinds of host values have in common: a Python object that owns one host
// array.
//
//   Array        any host array, as it is
//   Object       a value object, its properties as attributes
//   HostObject   the handle of a host object; base of the classes made from class descriptors
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/python_api.h"

namespace vormel::python {

struct HostValue {
  PyObject_HEAD vrArray*
      array;  // owned, on no array list; null only in a HostObject that was never made
};

// The common base type. Borrowed, alive to the end of the process.
PyTypeObject* hostValueType();

// The array of an Array, an Object or a host object, borrowed; null for any other Python object.
// Refuses a host object whose constructor never ran.
const vrArray* hostArrayOf(PyObject* value);

// A new object of a type derived from hostValueType, owner of the array. The array leaves any
// array list.
Ref wrapHostValue(PyTypeObject* type, OwnedArray array);

// Releases the array and the object: tp_dealloc of the common base.
void deallocHostValue(PyObject* self);

}  // namespace vormel::python
