// The classes of host arrays that hold numbers or truths, and what C++ and NumPy have for each: the
// one table that every conversion reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kvrntob/host/libvr.h"
#include "python/src/base/python_api.h"

// Host class, type of an element, NumPy's name of the scalar type, kind of the dtype, NumPy's type
// numbers without and with imaginary parts. In the order of the class numbers.
#define VORMEL_NUMBER_CLASSES(ROW)                                        \
  ROW(vrLOGICAL_CLASS, std::uint8_t, Bool, 'b', NPY_BOOL, NPY_NOTYPE)     \
  ROW(vrDOUBLE_CLASS, double, Double, 'f', NPY_DOUBLE, NPY_CDOUBLE)       \
  ROW(vrSINGLE_CLASS, float, Float, 'f', NPY_FLOAT, NPY_CFLOAT)           \
  ROW(vrINT8_CLASS, std::int8_t, Int8, 'i', NPY_INT8, NPY_NOTYPE)         \
  ROW(vrUINT8_CLASS, std::uint8_t, UInt8, 'u', NPY_UINT8, NPY_NOTYPE)     \
  ROW(vrINT16_CLASS, std::int16_t, Int16, 'i', NPY_INT16, NPY_NOTYPE)     \
  ROW(vrUINT16_CLASS, std::uint16_t, UInt16, 'u', NPY_UINT16, NPY_NOTYPE) \
  ROW(vrINT32_CLASS, std::int32_t, Int32, 'i', NPY_INT32, NPY_NOTYPE)     \
  ROW(vrUINT32_CLASS, std::uint32_t, UInt32, 'u', NPY_UINT32, NPY_NOTYPE) \
  ROW(vrINT64_CLASS, std::int64_t, Int64, 'i', NPY_INT64, NPY_NOTYPE)     \
  ROW(vrUINT64_CLASS, std::uint64_t, UInt64, 'u', NPY_UINT64, NPY_NOTYPE)

namespace vormel::python {

struct NumberClass {
  int classID;
  std::size_t size;          // of an element, in bytes
  char kind;                 // of the dtype, as NumPy writes it
  int type;                  // NumPy's number of it
  int complexType;           // the same with imaginary parts; NPY_NOTYPE where NumPy has none
  PyTypeObject* scalarType;  // borrowed
  std::size_t offset;        // of the value in a scalar, in bytes
};

// Null for a class without numbers.
const NumberClass* numberClass(int classID) noexcept;

// The class whose NumPy scalars are of exactly this type; null for any other type, subclasses and
// types of another name but the same dtype included.
const NumberClass* numberClassOfScalar(const PyTypeObject* type) noexcept;

// The host class of a dtype, the character class for U1; vrUNKNOWN_CLASS for a dtype that has none
// (float16, longdouble, object, dates, ...).
int classOfDtype(const PyArray_Descr* dtype) noexcept;

// Calls `use` with a std::type_identity of the element type of a numeric, logical or character
// class.
template <class Use>
auto withElementType(int classID, const Use& use) {
  switch (classID) {
#define VORMEL_CASE(hostClass, Element, ...) \
  case hostClass:                            \
    return use(std::type_identity<Element>());
    VORMEL_NUMBER_CLASSES(VORMEL_CASE)
#undef VORMEL_CASE
    default:
      return use(std::type_identity<std::uint16_t>());  // a UTF-16 unit
  }
}

}  // namespace vormel::python
