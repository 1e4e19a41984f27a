// NumPy arrays on their way into host arrays.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/numpy_classes.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

// 0-d as 1-by-1, 1-d as one row, n-d as it is.
std::vector<std::size_t> hostDimensions(PyArrayObject* source) {
  const npy_intp* shape = PyArray_DIMS(source);
  std::vector<std::size_t> dimensions(shape, shape + PyArray_NDIM(source));
  while (dimensions.size() < 2) dimensions.insert(dimensions.begin(), 1);
  return dimensions;
}

std::size_t byteCount(const vrArray* array) {
  return vrGetNumberOfElements(array) * vrGetElementSize(array);
}

bool isPlain(PyArrayObject* source) {
  return PyArray_CHKFLAGS(source, NPY_ARRAY_FARRAY_RO) && PyArray_ISNOTSWAPPED(source);
}

// The source in Fortran order, aligned and in native byte order: itself, if it is so already.
Ref plain(PyArrayObject* source) {
  PyArray_Descr* native = PyArray_DescrNewByteorder(PyArray_DESCR(source), NPY_NATIVE);
  if (native == nullptr) throw PythonErrorSet();
  return checked(PyArray_FromArray(source, native, NPY_ARRAY_FARRAY_RO));
}

// A NumPy array over the storage of `target`, in the shape of `source`.
Ref viewFor(PyArrayObject* source, vrArray* target) {
  const int type = numpyTypeOf(vrGetClassID(target), false);
  return checked(PyArray_New(&PyArray_Type, PyArray_NDIM(source), PyArray_DIMS(source), type,
                             nullptr, vrGetData(target), 0, NPY_ARRAY_FARRAY, nullptr));
}

void copyReal(PyArrayObject* source, vrArray* target) {
  if (vrIsEmpty(target)) return;
  if (isPlain(source)) {
    std::memcpy(vrGetData(target), PyArray_DATA(source), byteCount(target));
  } else {
    const Ref view = viewFor(source, target);
    checked(PyArray_CopyInto(reinterpret_cast<PyArrayObject*>(view.ptr()), source));
  }
}

// A NumPy bool may be any byte; a logical is 0 or 1.
void settleTruths(vrArray* logical) {
  auto* truths = static_cast<std::uint8_t*>(vrGetData(logical));
  std::transform(truths, truths + vrGetNumberOfElements(logical), truths,
                 [](std::uint8_t truth) { return static_cast<std::uint8_t>(truth != 0); });
}

template <class Part>
void splitParts(const void* pairs, vrArray* target) {
  const auto* pair = static_cast<const Part*>(pairs);
  auto* reals = static_cast<Part*>(vrGetData(target));
  auto* imaginaries = static_cast<Part*>(vrGetImagData(target));
  for (std::size_t i = 0; i < vrGetNumberOfElements(target); ++i, pair += 2) {
    reals[i] = pair[0];
    imaginaries[i] = pair[1];
  }
}

void copyComplex(PyArrayObject* source, vrArray* target) {
  const Ref pairs = plain(source);
  const void* data = PyArray_DATA(reinterpret_cast<PyArrayObject*>(pairs.ptr()));
  if (vrGetClassID(target) == vrDOUBLE_CLASS) {
    splitParts<double>(data, target);
  } else {
    splitParts<float>(data, target);
  }
}

void copyCharacters(PyArrayObject* source, vrArray* target) {
  const Ref codes = plain(source);
  const auto* code =
      static_cast<const Py_UCS4*>(PyArray_DATA(reinterpret_cast<PyArrayObject*>(codes.ptr())));
  auto* units = static_cast<char16_t*>(vrGetData(target));
  for (std::size_t i = 0; i < vrGetNumberOfElements(target); ++i) {
    if (code[i] > 0xFFFF) {
      throw CallRefused("NotConvertible",
                        "a character array holds no character beyond U+FFFF in one element");
    }
    units[i] = static_cast<char16_t>(code[i]);
  }
}

OwnedArray characters(PyArrayObject* source) {
  const std::vector<std::size_t> dimensions = hostDimensions(source);
  OwnedArray array(vrCreateCharArray_730(dimensions.size(), dimensions.data()));
  copyCharacters(source, array.get());
  return array;
}

OwnedArray numbers(PyArrayObject* source, int classID) {
  const std::vector<std::size_t> dimensions = hostDimensions(source);
  const bool isComplex = PyArray_ISCOMPLEX(source);
  OwnedArray array(
      vrCreateNumericArray_730(dimensions.size(), dimensions.data(), classID, isComplex ? 1 : 0));
  if (isComplex) {
    copyComplex(source, array.get());
  } else {
    copyReal(source, array.get());
  }
  if (classID == vrLOGICAL_CLASS) settleTruths(array.get());
  return array;
}

[[noreturn]] void refuseDtype(PyArrayObject* source) {
  const Ref name = checked(PyObject_Str(reinterpret_cast<PyObject*>(PyArray_DESCR(source))));
  const char* text = PyUnicode_AsUTF8(name.ptr());
  if (text == nullptr) throw PythonErrorSet();
  throw CallRefused("NotConvertible", std::string("the NumPy dtype ") + text +
                                          " has no host class; there are classes for bool, int8 "
                                          "to uint64, float32, float64, complex64, complex128 "
                                          "and U1");
}

}  // namespace

OwnedArray toHostFromNumpy(PyArrayObject* source) {
  const int classID = classOfDtype(PyArray_DESCR(source));
  if (classID == vrUNKNOWN_CLASS) refuseDtype(source);
  return classID == vrCHAR_CLASS ? characters(source) : numbers(source, classID);
}

}  // namespace vormel::python
