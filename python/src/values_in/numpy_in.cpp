#include "python/src/values_in/numpy_in.h"

#include <algorithm>
#include <string>

#include "python/src/base/number_classes.h"
#include "python/src/values_in/refusals.h"

namespace vormel::python {
namespace {

constexpr char asCell[] = ", or make a cell array: vormel.array(value, \"cell\")";

// ---- Refusals: dtypes without a host class ----

std::string hintForFloating(const PyArray_Descr* dtype) {
  if (dtype->kind == 'c') return "convert it with .astype(np.complex128)";
  return dtype->elsize < 4 ? "convert it with .astype(np.float32), which keeps every value"
                           : "convert it with .astype(np.float64)";
}

// Of the first date, time or duration in an array of Python objects.
TimeKind firstTimeKind(const NumpyElements& objects) {
  TimeKind first = TimeKind::None;
  forEachElement(objects, [&first](const char* element) {
    PyObject* item = nullptr;
    std::memcpy(&item, element, sizeof(PyObject*));
    if (item != nullptr && first == TimeKind::None) first = timeKindOf(item);
  });
  return first;
}

std::string hintForObjects(PyArrayObject* array) {
  importDatetime();                                  // may run Python code
  if (PyArray_DESCR(array)->kind != 'O') return "";  // which may have changed the array
  switch (firstTimeKind(NumpyElements(array))) {
    case TimeKind::Date:
      return "pass numbers, such as seconds since a start: "
             "[(time - start).total_seconds() for time in times]";
    case TimeKind::TimeOfDay:
      return "pass numbers, such as seconds since midnight: "
             "[60 * (60 * time.hour + time.minute) + time.second for time in times]";
    case TimeKind::Duration:
      return "pass numbers, such as seconds: [time.total_seconds() for time in times]";
    default:
      return std::string("convert it to numbers with .astype(float)") + asCell;
  }
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

[[noreturn]] void refuseDtype(PyArrayObject* array) {
  const std::string name = nameOf(PyArray_DESCR(array));
  refuse("the NumPy dtype " + name + " has no host class", hintForDtype(array));
}

// ---- Masked arrays ----

// numpy.ma, or null if it is not imported; then there are no masked arrays.
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

// ---- Conversion ----

template <class Word>
void copyWords(const NumpyElements& source, void* target) {
  auto* word = static_cast<Word*>(target);
  forEachElement(source,
                 [&](const char* element) { *word++ = loadWord<Word>(element, source.isSwapped); });
}

void copyReal(const NumpyElements& source, vrArray* target) {
  void* data = vrGetData(target);
  if (source.isInFortranOrder && !source.isSwapped) {
    const std::size_t bytes = vrGetNumberOfElements(target) * source.size;
    if (bytes != 0) std::memcpy(data, source.first, bytes);
    return;
  }
  switch (source.size) {
    case 1:
      return copyWords<std::uint8_t>(source, data);
    case 2:
      return copyWords<std::uint16_t>(source, data);
    case 4:
      return copyWords<std::uint32_t>(source, data);
    default:
      return copyWords<std::uint64_t>(source, data);
  }
}

// A NumPy bool may be any byte; a logical is 0 or 1.
void settleTruths(vrArray* logical) {
  auto* truths = static_cast<std::uint8_t*>(vrGetData(logical));
  std::transform(truths, truths + vrGetNumberOfElements(logical), truths,
                 [](std::uint8_t truth) { return static_cast<std::uint8_t>(truth != 0); });
}

// Pairs in NumPy, two arrays in the host.
template <class Word>
void splitParts(const NumpyElements& source, vrArray* target) {
  auto* real = static_cast<Word*>(vrGetData(target));
  auto* imaginary = static_cast<Word*>(vrGetImagData(target));
  forEachElement(source, [&](const char* element) {
    *real++ = loadWord<Word>(element, source.isSwapped);
    *imaginary++ = loadWord<Word>(element + sizeof(Word), source.isSwapped);
  });
}

OwnedArray characters(const NumpyElements& source) {
  const std::vector<std::size_t> dimensions = source.hostDimensions();
  OwnedArray array(vrCreateCharArray_730(dimensions.size(), dimensions.data()));
  auto* unit = static_cast<char16_t*>(vrGetData(array.get()));
  std::uint32_t highest = 0;
  forEachElement(source, [&](const char* element) {
    const auto code = loadWord<std::uint32_t>(element, source.isSwapped);
    highest = std::max(highest, code);
    *unit++ = static_cast<char16_t>(code);
  });
  if (highest > 0xFFFF) {
    refuse("a character array holds no character beyond U+FFFF in one element",
           "pass a str, or a list of them");
  }
  return array;
}

OwnedArray numbers(const NumpyElements& source, int classID, bool isComplex) {
  const std::vector<std::size_t> dimensions = source.hostDimensions();
  OwnedArray array(
      vrCreateNumericArray_730(dimensions.size(), dimensions.data(), classID, isComplex ? 1 : 0));
  if (!isComplex) {
    copyReal(source, array.get());
  } else if (source.size == 2 * sizeof(std::uint64_t)) {
    splitParts<std::uint64_t>(source, array.get());
  } else {
    splitParts<std::uint32_t>(source, array.get());
  }
  if (classID == vrLOGICAL_CLASS) settleTruths(array.get());
  return array;
}

}  // namespace

OwnedArray toHostFromNumpy(PyArrayObject* source) {
  refuseMasked(source);  // may run Python code
  const int classID = classOfDtype(PyArray_DESCR(source));
  if (classID == vrUNKNOWN_CLASS) refuseDtype(source);
  const NumpyElements elements(source);
  if (classID == vrCHAR_CLASS) return characters(elements);
  return numbers(elements, classID, PyArray_ISCOMPLEX(source));
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
  if (timeKindOf(item) != TimeKind::None) refuseValue(item);
}

}  // namespace vormel::python
