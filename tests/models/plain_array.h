// A host array as a plain value: what a step is called with and what it gives, printable,
// comparable with ==, and known to the models without any help of the host.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "embedded_host/arrays/arrays.h"

namespace kvr::models {

using int32 = std::int32_t;
using Dimensions = std::vector<std::size_t>;

struct PlainArray {
  int classID = vrDOUBLE_CLASS;
  Dimensions dimensions{0, 0};  // none: no array, but the number in a cell of an output
  std::string real{};           // bytes of the elements: numeric, logical, character
  std::string imaginary{};      // likewise, if complex
  bool complex = false;
  std::string name{};  // of a value object's class, a function handle, an opaque array
  std::vector<std::string> fields{};  // of a structure, a value object
  std::vector<PlainArray> parts{};    // cell by cell, or element by element the fields
  int object = 0;                     // of a handle: the number of the object

  bool operator==(const PlainArray&) const = default;
};

// ---- Questions, as methods ask them ----

std::size_t elementCount(const PlainArray& array);
inline bool isEmpty(const PlainArray& array) { return elementCount(array) == 0; }
inline bool isScalar(const PlainArray& array) { return elementCount(array) == 1; }
inline bool isInteger(const PlainArray& a) {
  return a.classID >= vrINT8_CLASS && a.classID <= vrUINT64_CLASS;
}
inline bool isNumeric(const PlainArray& a) {
  return a.classID >= vrDOUBLE_CLASS && a.classID <= vrUINT64_CLASS;
}
inline bool isText(const PlainArray& array) { return array.classID == vrCHAR_CLASS; }
inline bool isHandle(const PlainArray& a) {
  return a.classID == vrOPAQUE_CLASS && a.name == "handle";
}
// Arrays that it is made of, itself included.
std::size_t arrayCount(const PlainArray& array);

// The first element as a double; NaN if there is none or it is no number.
double firstNumber(const PlainArray& array);
// The same truncated toward zero; -2147483648 for NaN and what is outside int32.
int32 valueReading(const PlainArray& array);
// A 32-bit word of the element storage, which is zero beyond its end.
int32 storageReading(const PlainArray& array, std::size_t word = 0);
// The characters as UTF-8.
std::string textOf(const PlainArray& array);
// A field of the first element, or null.
const PlainArray* fieldOf(const PlainArray& array, const std::string& field);

// ---- Making them ----

std::size_t elementSize(int classID);
// The numbers in that class, cut to its bounds; NaN becomes 0 in an integer.
PlainArray numbers(int classID, const Dimensions& dimensions, const std::vector<double>& values);
PlainArray number(double value);
PlainArray number(int classID, double value);
PlainArray int32Scalar(int32 value);
PlainArray int32Row(const std::vector<int32>& values);
PlainArray truth(bool value);
PlainArray characters(const Dimensions& dimensions, const std::u16string& units);
// What the host makes of a byte string: a row up to the first NUL, 0-by-0 if that is empty.
PlainArray text(const std::string& utf8);
PlainArray emptyOf(int classID);
PlainArray cellArray(const Dimensions& dimensions, std::vector<PlainArray> parts);
PlainArray structure(std::vector<std::string> fields, std::vector<PlainArray> parts);
PlainArray valueObject(const std::string& className, std::vector<std::string> properties,
                       std::vector<PlainArray> parts);
PlainArray handleOf(int object);
// The contents of typed output cells.
PlainArray int32Cell(int32 value);
PlainArray logicalCell(bool value);

template <class T>
std::string bytesOf(T value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

// ---- Between the models and the host ----

// The host's objects by the numbers that the steps give them.
class Objects {
 public:
  virtual ~Objects() = default;
  virtual const vrArray* handle(int object) const = 0;    // null if there is none of the number
  virtual int numberOf(const vrArray* handle) const = 0;  // 0 for an object without a number
};

// Handles of unknown objects become opaque arrays that are no handles.
vormel::OwnedArray build(const PlainArray& array, const Objects& objects);
PlainArray read(const vrArray* array, const Objects& objects);

// As people would write it: 'text', 2.5, int32(3), double 1x2 [1 2], struct{...}.
std::string describe(const PlainArray& array);

}  // namespace kvr::models
