// Host library libvr: host arrays.
//
// A vrArray is a value of the host: a class number, dimensions, and elements. Arrays have value
// semantics: copies share element storage until one of them is written.
//
// Ownership. Whoever makes an array owns it and ends it with vrDestroyArray, or hands it on: into
// an output cell of a method, or into a structure. Pointers to const are borrowed. While a host
// call runs, new arrays also stand on the array list of that call, and those that are still on it
// when the call ends, also by an exception, are released by the host. An array leaves the list when
// it is destroyed, handed on, or given scope 0.
//
// Failures. An operation that makes an array throws ntob::TOBOutOfMemoryException (ntob.h) when
// memory is exhausted, unless it says that it gives null. Array pointers must not be null, unless
// the operation says what it makes of null.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kvrntob/host/export.h"

struct vrArray;  // opaque

// Class numbers.
enum vrClassID : int {
  vrUNKNOWN_CLASS = 0,
  vrCELL_CLASS = 1,
  vrSTRUCT_CLASS = 2,
  vrLOGICAL_CLASS = 3,  // 1-byte elements, 0 or 1
  vrCHAR_CLASS = 4,     // 2-byte elements, UTF-16 units
  vrDOUBLE_CLASS = 6,
  vrSINGLE_CLASS = 7,
  vrINT8_CLASS = 8,
  vrUINT8_CLASS = 9,
  vrINT16_CLASS = 10,
  vrUINT16_CLASS = 11,
  vrINT32_CLASS = 12,
  vrUINT32_CLASS = 13,
  vrINT64_CLASS = 14,
  vrUINT64_CLASS = 15,
  vrFUNCTION_CLASS = 16,
  vrOPAQUE_CLASS = 17,  // told apart by the subclass name; object handles are "handle"
  vrOBJECT_CLASS = 18,  // value object with named properties
};

// ---- What an array is. No operation here changes or keeps the array. ----

VORMEL_HOST_API int vrGetClassID(const vrArray* array);

// True for double, single and the eight integer classes; false for logical and character.
VORMEL_HOST_API bool vrIsNumeric(const vrArray* array);

// True if a numeric array has imaginary storage.
VORMEL_HOST_API bool vrIsComplex(const vrArray* array);

VORMEL_HOST_API bool vrIsEmpty(const vrArray* array);   // no elements
VORMEL_HOST_API bool vrIsScalar(const vrArray* array);  // exactly one element

VORMEL_HOST_API std::size_t vrGetNumberOfElements(const vrArray* array);

// At least 2. Trailing dimensions of 1 are kept as they were given.
VORMEL_HOST_API std::size_t vrGetNumberOfDimensions_730(const vrArray* array);
VORMEL_HOST_API const std::size_t* vrGetDimensions_730(const vrArray* array);

// Rows, and columns: the product of all dimensions but the first.
VORMEL_HOST_API std::size_t vrGetM(const vrArray* array);
VORMEL_HOST_API std::size_t vrGetN(const vrArray* array);

// The subclass name of an opaque array, such as "handle". Null for every other class, and for an
// opaque array that has none. Belongs to the array.
VORMEL_HOST_API const char* vrGetSubclass(const vrArray* array);

// ---- Elements ----

// Bytes of one element of a numeric, logical or character array; of one stored word for others.
VORMEL_HOST_API std::size_t vrGetElementSize(const vrArray* array);

// Element storage of a numeric, logical or character array, column by column, null for the other
// classes. It is never null for these three, at least 8 bytes long, and zero beyond its last
// element. The writable form first makes the storage the array's own; it belongs to the array and
// is valid until the array is written through another operation or destroyed.
VORMEL_HOST_API const void* vrGetData(const vrArray* array);
VORMEL_HOST_API void* vrGetData(vrArray* array);

// Imaginary storage, null for a real array; otherwise as vrGetData.
VORMEL_HOST_API const void* vrGetImagData(const vrArray* array);
VORMEL_HOST_API void* vrGetImagData(vrArray* array);

// The first element as a double, real part alone. A logical reads as 0 or 1, a character as its
// code. NaN for an empty array and for one without numbers.
VORMEL_HOST_API double vrGetScalar(const vrArray* array);

// vrGetScalar truncated toward zero. NaN and values outside int32 give -2147483648.
VORMEL_HOST_API std::int32_t vrGetScalarInt(const vrArray* array);

// The characters of a character array, in storage order, as UTF-8; a lone surrogate becomes U+FFFD.
// A null array gives an empty text. Throws the host's own exception for any other class.
VORMEL_HOST_API std::string vrArrayToStdString(const vrArray* array);

// ---- Structures and objects. Indexes of elements and fields count from 0. ----

// Fields of a structure array, properties of a value object, 0 for other classes.
VORMEL_HOST_API int vrGetNumberOfFields(const vrArray* array);

// The field, or property, `name` of element `index`. Borrowed: it lives as long as the array is
// neither written nor destroyed. Null when there is no such field or element.
VORMEL_HOST_API const vrArray* vrGetField_730(const vrArray* array, std::size_t index,
                                              const char* name);

// Sets field number `field` of element `index`. The structure takes over `value`, which may not be
// part of another array, and releases what the field held. Throws the host's own exception when
// there is no such field or element; `value` then stays the caller's.
VORMEL_HOST_API void vrSetFieldByNumber_730(vrArray* structure, std::size_t index, int field,
                                            vrArray* value);

// A property of a value object, as a new array of the caller's that shares its data. Null when
// there is no such property or element, or `array` is no value object.
VORMEL_HOST_API vrArray* vrGetProperty_730(const vrArray* array, std::size_t index,
                                           const char* name);

// Sets a property of a value object, and adds it if it is new. The object keeps a shared copy;
// `value` stays the caller's. Throws the host's own exception when `array` is null or no value
// object or there is no such element; if `array` is null because a function called with trap 1 gave
// no result, what it throws is that function's failure.
VORMEL_HOST_API void vrSetProperty_730(vrArray* array, std::size_t index, const char* name,
                                       const vrArray* value);

// ---- Making arrays. The new array is the caller's and stands on the call's array list. ----

// The class number of a host class name, such as "int32"; 0 for a name that is none.
VORMEL_HOST_API int vrClassIDFromClassName(const char* name);

// A real or complex array of a numeric class or logical, zero-filled. `complexity` is 0 for real,
// 1 for complex. Throws the host's own exception for another class or an impossible size.
VORMEL_HOST_API vrArray* vrCreateNumericArray_730(std::size_t dimensionCount,
                                                  const std::size_t* dimensions, int classID,
                                                  int complexity);

// The same with two dimensions. Null when memory is exhausted.
VORMEL_HOST_API vrArray* vrCreateNumericMatrix_730(std::size_t rows, std::size_t columns,
                                                   int classID, int complexity);

VORMEL_HOST_API vrArray* vrCreateDoubleScalar(double value);
VORMEL_HOST_API vrArray* vrCreateLogicalScalar(bool value);

// A character array of NUL characters.
VORMEL_HOST_API vrArray* vrCreateCharArray_730(std::size_t dimensionCount,
                                               const std::size_t* dimensions);

// A character row of a NUL-terminated UTF-8 text, one element a UTF-16 unit; what is not UTF-8
// becomes U+FFFD. An empty text gives 0-by-0.
VORMEL_HOST_API vrArray* vrCreateString(const char* text);

// A structure array whose fields are 0-by-0 doubles. Names are copied; they must differ.
VORMEL_HOST_API vrArray* vrCreateStructArray_730(std::size_t dimensionCount,
                                                 const std::size_t* dimensions, int fieldCount,
                                                 const char* const* fieldNames);

// A 0-by-0 real array of the class of `array`.
VORMEL_HOST_API vrArray* vrCreateEmptyCopy(const vrArray* array);

// A copy that shares nothing with `array`, at any depth. A handle's copy names the same object.
VORMEL_HOST_API vrArray* vrDuplicateArray(const vrArray* array);

// A copy that shares element storage until one of the two is written.
VORMEL_HOST_API vrArray* vrCreateSharedDataCopy(const vrArray* array);

// The same, but never on an array list: the caller alone ends it.
VORMEL_HOST_API vrArray* vrCreateSharedCopyNotOnArrayList(const vrArray* array);

// Scope 0 takes the array off the call's array list, so that it outlives the call and the caller
// alone ends it. Other scopes change nothing.
VORMEL_HOST_API void vrSetArrayScope(vrArray* array, int scope);

// Ends the array and everything it owns. Null is ignored.
VORMEL_HOST_API void vrDestroyArray(vrArray* array);
