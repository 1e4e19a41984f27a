#include "python/src/values_out/numpy_out.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/base/host_value.h"
#include "python/src/base/number_classes.h"

namespace vormel::python {
namespace {

std::vector<npy_intp> shapeOf(const vrArray* array) {
  const std::size_t count = vrGetNumberOfDimensions_730(array);
  if (count > NPY_MAXDIMS) {
    throw HostError("TooManyDimensions", "a NumPy array has at most 32 dimensions");
  }
  const std::size_t* dimensions = vrGetDimensions_730(array);
  return {dimensions, dimensions + count};
}

PyArrayObject* asArray(const Ref& object) { return reinterpret_cast<PyArrayObject*>(object.ptr()); }

PyArray_Descr* asDescr(PyObject* object) { return reinterpret_cast<PyArray_Descr*>(object); }

Ref dtypeOfNumber(int type) {
  return checked(reinterpret_cast<PyObject*>(PyArray_DescrFromType(type)));
}

Ref dtypeOf(const vrArray* array) {
  const NumberClass& number = *numberClass(vrGetClassID(array));
  return dtypeOfNumber(vrIsComplex(array) ? number.complexType : number.type);
}

// In Fortran order; over `data`, and read-only then, or over memory of its own.
Ref newArray(const vrArray* shape, Ref dtype, void* data) {
  std::vector<npy_intp> lengths = shapeOf(shape);
  return checked(PyArray_NewFromDescr(&PyArray_Type, asDescr(dtype.release().ptr()),
                                      static_cast<int>(lengths.size()), lengths.data(), nullptr,
                                      data, data == nullptr ? 1 : NPY_ARRAY_FARRAY_RO, nullptr));
}

// Two arrays in the host, pairs in NumPy. Parts are copied as words of their size.
template <class Word>
void joinParts(const vrArray* array, void* pairs) {
  const auto* reals = static_cast<const Word*>(vrGetData(array));
  const auto* imaginaries = static_cast<const Word*>(vrGetImagData(array));
  auto* pair = static_cast<Word*>(pairs);
  for (std::size_t i = 0; i < vrGetNumberOfElements(array); ++i, pair += 2) {
    pair[0] = reals[i];
    pair[1] = imaginaries[i];
  }
}

void joinComplex(const vrArray* array, void* pairs) {
  if (vrGetElementSize(array) == sizeof(std::uint64_t)) {
    joinParts<std::uint64_t>(array, pairs);
  } else {
    joinParts<std::uint32_t>(array, pairs);
  }
}

Ref complexCopy(const vrArray* array) {
  Ref copy = newArray(array, dtypeOf(array), nullptr);
  joinComplex(array, PyArray_DATA(asArray(copy)));
  PyArray_CLEARFLAGS(asArray(copy), NPY_ARRAY_WRITEABLE);
  return copy;
}

}  // namespace

Ref numpyFromHost(OwnedArray array) {
  if (vrIsComplex(array.get())) return complexCopy(array.get());
  const vrArray* values = array.get();
  const Ref keeper = wrapArray(std::move(array));
  // NumPy wants a pointer to non-const; the array that it makes of it is read-only.
  Ref view = newArray(values, dtypeOf(values), const_cast<void*>(vrGetData(values)));
  checked(PyArray_SetBaseObject(asArray(view), keeper.inc_ref().ptr()));
  return view;
}

Ref numpyScalar(int classID, const void* element) {
  const NumberClass& number = *numberClass(classID);
  Ref scalar = checked(PyObject_New(PyObject, number.scalarType));  // all of it is written here
  std::memcpy(reinterpret_cast<char*>(scalar.ptr()) + number.offset, element, number.size);
  return scalar;
}

Ref numpyComplexScalar(const vrArray* array) {
  const Ref dtype = dtypeOf(array);
  double pair[2];
  joinComplex(array, pair);
  return checked(PyArray_Scalar(pair, asDescr(dtype.ptr()), nullptr));
}

Ref numpyCharacters(const vrArray* array) {
  const Ref dtype = checked(reinterpret_cast<PyObject*>(PyArray_DescrNewFromType(NPY_UNICODE)));
  asDescr(dtype.ptr())->elsize = sizeof(Py_UCS4);
  Ref characters = newArray(array, dtype, nullptr);
  std::copy_n(static_cast<const char16_t*>(vrGetData(array)), vrGetNumberOfElements(array),
              static_cast<Py_UCS4*>(PyArray_DATA(asArray(characters))));
  return characters;
}

Ref numpyObjects(const vrArray* array) {
  Ref objects = newArray(array, dtypeOfNumber(NPY_OBJECT), nullptr);
  auto** item = static_cast<PyObject**>(PyArray_DATA(asArray(objects)));
  for (std::size_t i = 0; i < vrGetNumberOfElements(array); ++i) {
    PyObject* former = item[i];
    item[i] = Py_NewRef(Py_None);
    Py_XDECREF(former);
  }
  return objects;
}

}  // namespace vormel::python
