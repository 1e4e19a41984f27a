// Python values as host arrays of a class that the caller names.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/host_value.h"
#include "python/src/numpy_classes.h"
#include "python/src/text.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

[[noreturn]] void refuse(const std::string& what, const std::string& className) {
  throw CallRefused("NotConvertible", what + " has no host array of class \"" + className + '"');
}

bool isEmptySequence(PyObject* value) {
  if (value == Py_None) return true;
  return (PyList_Check(value) || PyTuple_Check(value)) && PySequence_Size(value) == 0;
}

// ---- Elements: read and written through the widest number, which holds all of int64, uint64 and
// double ----

using Widest = long double;
static_assert(std::numeric_limits<Widest>::digits >= 64);

// Calls `use` with a pointer of the element type of a numeric, logical or character class.
template <class Use>
auto withElementType(int classID, const Use& use) {
  switch (classID) {
    case vrLOGICAL_CLASS:
    case vrUINT8_CLASS:
      return use(static_cast<std::uint8_t*>(nullptr));
    case vrCHAR_CLASS:
    case vrUINT16_CLASS:
      return use(static_cast<std::uint16_t*>(nullptr));
    case vrSINGLE_CLASS:
      return use(static_cast<float*>(nullptr));
    case vrINT8_CLASS:
      return use(static_cast<std::int8_t*>(nullptr));
    case vrINT16_CLASS:
      return use(static_cast<std::int16_t*>(nullptr));
    case vrINT32_CLASS:
      return use(static_cast<std::int32_t*>(nullptr));
    case vrUINT32_CLASS:
      return use(static_cast<std::uint32_t*>(nullptr));
    case vrINT64_CLASS:
      return use(static_cast<std::int64_t*>(nullptr));
    case vrUINT64_CLASS:
      return use(static_cast<std::uint64_t*>(nullptr));
    default:
      return use(static_cast<double*>(nullptr));
  }
}

template <class Element>
bool holds(Widest value) {
  using Limits = std::numeric_limits<Element>;
  if (!Limits::is_integer) return true;
  return value >= static_cast<Widest>(Limits::min()) &&
         value <= static_cast<Widest>(Limits::max()) && std::trunc(value) == value;
}

// False if a value is out of the range of the target's elements, or not whole where they are.
template <class From, class To>
bool convert(const void* source, void* target, std::size_t count, bool toTruth) {
  const auto* from = static_cast<const From*>(source);
  auto* to = static_cast<To*>(target);
  for (std::size_t i = 0; i < count; ++i) {
    auto value = static_cast<Widest>(from[i]);
    if (toTruth && !std::isnan(value)) value = value != 0 ? 1 : 0;
    if (!holds<To>(value)) return false;
    to[i] = static_cast<To>(value);
  }
  return true;
}

bool convertElements(int fromClass, const void* source, int toClass, void* target,
                     std::size_t count) {
  return withElementType(fromClass, [&](auto* from) {
    return withElementType(toClass, [&](auto* to) {
      return convert<std::remove_pointer_t<decltype(from)>, std::remove_pointer_t<decltype(to)>>(
          source, target, count, toClass == vrLOGICAL_CLASS);
    });
  });
}

bool hasElements(const vrArray* array) {
  const int classID = vrGetClassID(array);
  return vrIsNumeric(array) || classID == vrLOGICAL_CLASS || classID == vrCHAR_CLASS;
}

OwnedArray emptyOfShape(const vrArray* shape, int classID, bool isComplex) {
  const std::size_t count = vrGetNumberOfDimensions_730(shape);
  const std::size_t* dimensions = vrGetDimensions_730(shape);
  if (classID == vrCHAR_CLASS) return OwnedArray(vrCreateCharArray_730(count, dimensions));
  return OwnedArray(vrCreateNumericArray_730(count, dimensions, classID, isComplex ? 1 : 0));
}

// The same numbers in another class.
OwnedArray cast(const vrArray* array, int classID, const std::string& className) {
  const bool isComplex = vrIsComplex(array);
  if (isComplex && (classID == vrLOGICAL_CLASS || classID == vrCHAR_CLASS)) {
    refuse("a complex number", className);
  }
  OwnedArray target = emptyOfShape(array, classID, isComplex);
  const std::size_t count = vrGetNumberOfElements(array);
  const int fromClass = vrGetClassID(array);
  bool fits = convertElements(fromClass, vrGetData(array), classID, vrGetData(target.get()), count);
  if (isComplex) {
    fits = fits && convertElements(fromClass, vrGetImagData(array), classID,
                                   vrGetImagData(target.get()), count);
  }
  if (!fits) refuse("a number out of its range, or not a whole one,", className);
  return target;
}

// ---- The classes ----

// Nested lists: what NumPy makes of them.
OwnedArray throughNumpy(PyObject* value, const std::string& className) {
  const Ref array = steal(PyArray_FromAny(value, nullptr, 0, 0, 0, nullptr));
  if (!array && PyErr_ExceptionMatches(PyExc_ValueError) == 0) throw PythonErrorSet();
  PyErr_Clear();
  if (!array) refuse("a list of lists of unequal lengths", className);
  auto* numbers = reinterpret_cast<PyArrayObject*>(array.ptr());
  if (classOfDtype(PyArray_DESCR(numbers)) == vrUNKNOWN_CLASS) refuse("such a list", className);
  return toHostFromNumpy(numbers);
}

OwnedArray elements(PyObject* value, int classID, const std::string& className) {
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) == vrCELL_CLASS && (PyList_Check(value) || PyTuple_Check(value))) {
    array = throughNumpy(value, className);
  }
  if (vrGetClassID(array.get()) == classID) return array;
  if (!hasElements(array.get())) refuse("a value without numbers or characters", className);
  return cast(array.get(), classID, className);
}

OwnedArray cellOfNumpy(PyArrayObject* source) {
  std::vector<std::size_t> dimensions(PyArray_DIMS(source),
                                      PyArray_DIMS(source) + PyArray_NDIM(source));
  while (dimensions.size() < 2) dimensions.insert(dimensions.begin(), 1);
  OwnedArray cell(makeCell(dimensions.size(), dimensions.data()));
  const Ref order = checked(PyArray_NewCopy(source, NPY_FORTRANORDER));
  auto* items = reinterpret_cast<PyArrayObject*>(order.ptr());
  const auto* item = static_cast<const char*>(PyArray_DATA(items));
  for (std::size_t i = 0; i < vrGetNumberOfElements(cell.get()); ++i) {
    const Ref element = checked(PyArray_ToScalar(const_cast<char*>(item), items));
    OwnedArray array = toHost(element.ptr());
    setCellElement(cell.get(), i, array.get());
    static_cast<void>(array.release());  // the cell's from here on
    item += PyArray_ITEMSIZE(items);
  }
  return cell;
}

OwnedArray cell(PyObject* value) {
  const std::size_t none[] = {0, 0};
  if (isEmptySequence(value)) return OwnedArray(makeCell(2, none));
  if (PyArray_Check(value)) return cellOfNumpy(reinterpret_cast<PyArrayObject*>(value));
  if (PyList_Check(value) || PyTuple_Check(value)) {
    return cellRow(checked(PySequence_Tuple(value)).ptr());
  }
  const vrArray* array = hostArrayOf(value);
  if (array != nullptr && vrGetClassID(array) == vrCELL_CLASS) {
    return OwnedArray(detachedCopy(array));
  }
  return cellRow(checked(PyTuple_Pack(1, value)).ptr());
}

OwnedArray structure(PyObject* value) {
  const std::size_t none[] = {0, 0};
  if (isEmptySequence(value)) return OwnedArray(vrCreateStructArray_730(2, none, 0, nullptr));
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) != vrSTRUCT_CLASS) {
    refuse("what is neither a dict nor a list of dicts with equal keys", "struct");
  }
  return array;
}

OwnedArray functionHandle(PyObject* value) {
  if (PyUnicode_Check(value)) {
    return OwnedArray(makeFunctionHandle(plainUtf8(value, "function name")));
  }
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) != vrFUNCTION_CLASS) refuse("what is no name", "function_handle");
  return array;
}

}  // namespace

OwnedArray toHostOfClass(PyObject* value, const char* className) {
  const int classID = vrClassIDFromClassName(className);
  switch (classID) {
    case vrCELL_CLASS:
      return cell(value);
    case vrSTRUCT_CLASS:
      return structure(value);
    case vrFUNCTION_CLASS:
      return functionHandle(value);
    case vrUNKNOWN_CLASS:
    case vrOPAQUE_CLASS:
    case vrOBJECT_CLASS:
      throw CallRefused("NoSuchClass",
                        std::string("arrays of class \"") + className + "\" are not made by name");
    default:
      return elements(value, classID, className);
  }
}

}  // namespace vormel::python
