// Python values as host arrays of a class that the caller names.
#include <array>
#include <string>
#include <string_view>

#include "embedded_host/arrays/class_table.h"
#include "embedded_host/messages/host_exception.h"
#include "python/src/class_cast.h"
#include "python/src/host_value.h"
#include "python/src/nested_lists.h"
#include "python/src/text.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

bool isSequence(PyObject* value) { return PyList_Check(value) || PyTuple_Check(value); }

// The value, or if it is a list or tuple its items: from here on it is what it was when it was
// read.
Ref settled(PyObject* value) { return isSequence(value) ? snapshot(value) : borrow(value); }

bool isEmpty(PyObject* settledValue) {
  return settledValue == Py_None ||
         (PyTuple_Check(settledValue) && PyTuple_GET_SIZE(settledValue) == 0);
}

OwnedArray elements(PyObject* value, int classID, const std::string& className) {
  if (isEmpty(value))
    return OwnedArray(zeros(2, std::array<std::size_t, 2>{0, 0}.data(), classID, false));
  if (PyTuple_Check(value)) return arrayOfLists(value, classID, className);
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) == classID) return array;
  if (!hasElements(array.get())) {
    refuseForClass("a value without numbers or characters", className);
  }
  return cast(array.get(), classID, className);
}

OwnedArray cell(PyObject* value) {
  const std::size_t none[] = {0, 0};
  if (isEmpty(value)) return OwnedArray(makeCell(2, none));
  if (PyArray_Check(value)) return cellFromNumpy(reinterpret_cast<PyArrayObject*>(value));
  if (PyTuple_Check(value)) return cellRow(value);
  const vrArray* array = hostArrayOf(value);
  if (array != nullptr && vrGetClassID(array) == vrCELL_CLASS) {
    return OwnedArray(detachedCopy(array));
  }
  if (const Ref given = arrayByProtocol(value)) {
    return cellFromNumpy(reinterpret_cast<PyArrayObject*>(given.ptr()));
  }
  return cellRow(checked(PyTuple_Pack(1, value)).ptr());
}

OwnedArray structure(PyObject* value) {
  const std::size_t none[] = {0, 0};
  if (isEmpty(value)) return OwnedArray(vrCreateStructArray_730(2, none, 0, nullptr));
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) != vrSTRUCT_CLASS) {
    refuseForClass("what is neither a dict nor a list of dicts with equal keys", "struct");
  }
  return array;
}

OwnedArray functionHandle(PyObject* value) {
  if (PyUnicode_Check(value)) {
    return OwnedArray(makeFunctionHandle(plainUtf8(value, "function name")));
  }
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) != vrFUNCTION_CLASS)
    refuseForClass("what is no name", "function_handle");
  return array;
}

[[noreturn]] void refuseClassName(const std::string& className) {
  std::string known;
  for (int classID = vrCELL_CLASS; classID <= vrOBJECT_CLASS; ++classID) {
    const std::string_view name = nameOfClass(classID);
    if (!name.empty()) known.append(known.empty() ? "" : ", ").append(name);
  }
  throw CallRefused("NoSuchClass", "arrays of class \"" + className +
                                       "\" are not made by name; the classes are " + known);
}

}  // namespace

OwnedArray toHostOfClass(PyObject* value, const char* className) {
  const int classID = vrClassIDFromClassName(className);
  if (classID == vrUNKNOWN_CLASS) refuseClassName(className);
  const Ref held = settled(value);
  switch (classID) {
    case vrCELL_CLASS:
      return cell(held.ptr());
    case vrSTRUCT_CLASS:
      return structure(held.ptr());
    case vrFUNCTION_CLASS:
      return functionHandle(held.ptr());
    default:
      return elements(held.ptr(), classID, className);
  }
}

}  // namespace vormel::python
