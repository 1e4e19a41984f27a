// Host arrays on their way out into NumPy arrays.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/array_type.h"
#include "python/src/from_host.h"
#include "python/src/host_value.h"
#include "python/src/numpy_classes.h"

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
  return dtypeOfNumber(numpyTypeOf(vrGetClassID(array), vrIsComplex(array)));
}

// In Fortran order; over `data`, and read-only then, or over memory of its own.
Ref newArray(const vrArray* shape, Ref dtype, void* data) {
  std::vector<npy_intp> lengths = shapeOf(shape);
  return checked(PyArray_NewFromDescr(&PyArray_Type, asDescr(dtype.release().ptr()),
                                      static_cast<int>(lengths.size()), lengths.data(), nullptr,
                                      data, data == nullptr ? 1 : NPY_ARRAY_FARRAY_RO, nullptr));
}

template <class Part>
void joinParts(const vrArray* array, void* pairs) {
  const auto* reals = static_cast<const Part*>(vrGetData(array));
  const auto* imaginaries = static_cast<const Part*>(vrGetImagData(array));
  auto* pair = static_cast<Part*>(pairs);
  for (std::size_t i = 0; i < vrGetNumberOfElements(array); ++i, pair += 2) {
    pair[0] = reals[i];
    pair[1] = imaginaries[i];
  }
}

void joinComplex(const vrArray* array, void* pairs) {
  if (vrGetClassID(array) == vrDOUBLE_CLASS) {
    joinParts<double>(array, pairs);
  } else {
    joinParts<float>(array, pairs);
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

Ref numpyComplexScalar(const vrArray* array) {
  const Ref dtype = dtypeOf(array);
  double pair[2];
  joinComplex(array, pair);
  return checked(PyArray_Scalar(pair, asDescr(dtype.ptr()), nullptr));
}

Ref numpyCharacters(const vrArray* array) {
  const Ref dtype = checked(reinterpret_cast<PyObject*>(PyArray_DescrNewFromType(NPY_UNICODE)));
  asDescr(dtype.ptr())->elsize = sizeof(Py_UCS4);
  const Ref characters = newArray(array, dtype, nullptr);
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
