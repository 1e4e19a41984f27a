// Host arrays as the embedded host sees them: operations beyond those of libvr.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kvrntob/host/export.h"
#include "kvrntob/host/libvr.h"

namespace vormel {

// ---- Owners ----

// Owns an array, and destroys it unless release() has handed it on.
class OwnedArray {
 public:
  OwnedArray() noexcept = default;
  explicit OwnedArray(vrArray* array) noexcept : array_(array) {}
  OwnedArray(OwnedArray&& other) noexcept : array_(std::exchange(other.array_, nullptr)) {}
  OwnedArray& operator=(OwnedArray&& other) noexcept {
    if (this != &other) reset(std::exchange(other.array_, nullptr));
    return *this;
  }
  ~OwnedArray() { reset(); }

  vrArray* get() const noexcept { return array_; }
  vrArray* release() noexcept { return std::exchange(array_, nullptr); }
  void reset(vrArray* array = nullptr) noexcept {
    if (vrArray* former = std::exchange(array_, array)) vrDestroyArray(former);
  }
  explicit operator bool() const noexcept { return array_ != nullptr; }

 private:
  vrArray* array_ = nullptr;
};

// Number of arrays alive in the process, parts of other arrays included.
VORMEL_HOST_API std::size_t liveArrayCount() noexcept;

// ---- Making arrays that libvr.h has no function for; ownership and scope as there ----

// Cell array; its elements are 0-by-0 doubles until set.
VORMEL_HOST_API vrArray* makeCell(std::size_t dimensionCount, const std::size_t* dimensions);

// Real numeric, logical or character array with indeterminate elements. The caller writes all of
// them before any other use.
VORMEL_HOST_API vrArray* makeUnfilled(int classID, std::size_t dimensionCount,
                                      const std::size_t* dimensions);

// Function handle value, 1-by-1.
VORMEL_HOST_API vrArray* makeFunctionHandle(const std::string& name);

// Value object array of the class. Its properties are 0-by-0 doubles; their names must differ.
// vrSetProperty_730 adds more.
VORMEL_HOST_API vrArray* makeObject(const std::string& className, std::size_t dimensionCount,
                                    const std::size_t* dimensions,
                                    const std::vector<std::string>& properties = {});

// Opaque scalar without content; `subclass` may be null.
VORMEL_HOST_API vrArray* makeOpaque(const char* subclass);

// What an object handle refers to. Reference-counted by the handle arrays.
class VORMEL_HOST_API HandleTarget {
 public:
  virtual void retain() noexcept = 0;
  virtual void release() noexcept = 0;

 protected:
  ~HandleTarget() = default;
};

// Opaque scalar of subclass "handle". Adds a reference.
VORMEL_HOST_API vrArray* makeHandle(HandleTarget* target);

// ---- Reading arrays ----

// The properties of an array that conversions need, in one call.
struct ArrayFacts {
  int classID;
  bool isComplex;
  bool isMatrix;  // has two dimensions
  std::size_t rows;
  std::size_t count;     // of elements
  const void* elements;  // null for classes without
};
VORMEL_HOST_API ArrayFacts factsOf(const vrArray* array) noexcept;

// The target of element `index` of a handle array; null for other arrays and indices. Borrowed.
VORMEL_HOST_API HandleTarget* handleTarget(const vrArray* array, std::size_t index) noexcept;

// Element of a cell array; indices count from 0. Borrowed. Throws HostError("NoSuchElement") for
// another class or index.
VORMEL_HOST_API const vrArray* cellElement(const vrArray* array, std::size_t index);

// Takes over `value` and releases the element's former value. Throws as cellElement.
VORMEL_HOST_API void setCellElement(vrArray* array, std::size_t index, vrArray* value);

// Field names of a structure array or property names of a value object, in order; empty for other
// classes. Valid as long as the array does not change.
VORMEL_HOST_API const std::vector<std::string>& fieldNames(const vrArray* array);

// Identifies the list of field names: arrays with the same number have the same names. 0 for an
// array without such a list.
VORMEL_HOST_API std::uint64_t fieldNamesNumber(const vrArray* array) noexcept;

// Field of a structure array or property of a value object by its number in that order, from 0.
// Borrowed. Throws HostError("NoSuchField") for another class, index or number.
VORMEL_HOST_API const vrArray* fieldAt(const vrArray* array, std::size_t index, std::size_t field);

// Name of a function handle ("" for other classes).
VORMEL_HOST_API const std::string& functionName(const vrArray* array);

// The host class name: "double", "cell", "struct", "char", "logical", "function_handle", ...; for a
// value object its class, for an opaque array its subclass name or "opaque".
VORMEL_HOST_API std::string className(const vrArray* array);

// True if both have the same class, shape, complexity and content, at every depth. Numbers are
// compared by their bytes, so that NaN equals the same NaN and 0 differs from -0. Handles are equal
// if they refer to the same object.
VORMEL_HOST_API bool equal(const vrArray* a, const vrArray* b);

// A shared copy on no array list, also within a call. The caller destroys it.
VORMEL_HOST_API vrArray* detachedCopy(const vrArray* array);

// True for an array made by ntobConvertArrayToInternal and not converted back.
VORMEL_HOST_API bool isInternalForm(const vrArray* array) noexcept;

// The array as a message names it, such as "a complex double 2-by-3"; "nothing" for null.
VORMEL_HOST_API std::string describe(const vrArray* array);

// ---- Numbers, as the host accepts them where it converts one ----

// Real numeric or logical, of any size; and with one element.
bool isReal(const vrArray* array) noexcept;
bool isRealScalar(const vrArray* array) noexcept;

// Whole and within int32.
bool isWholeInt32(double value) noexcept;

}  // namespace vormel
