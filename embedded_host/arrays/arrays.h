// The embedded host's own view of host arrays: what the rest of the host needs beyond libvr.h.
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

// The one owner of an array. Releases it unless it is handed on with release().
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

// ---- Classes that libvr.h has no maker for. New arrays as there. ----

// Cell array; its elements are 0-by-0 doubles until set.
VORMEL_HOST_API vrArray* makeCell(std::size_t dimensionCount, const std::size_t* dimensions);

// Numeric, logical or character array, real, whose elements the caller writes, all of them, before
// anything else; they are not zeroed first.
VORMEL_HOST_API vrArray* makeUnfilled(int classID, std::size_t dimensionCount,
                                      const std::size_t* dimensions);

// Function handle value, 1-by-1.
VORMEL_HOST_API vrArray* makeFunctionHandle(const std::string& name);

// Value object array of the class. Its properties are 0-by-0 doubles; their names must differ.
// vrSetProperty_730 adds more.
VORMEL_HOST_API vrArray* makeObject(const std::string& className, std::size_t dimensionCount,
                                    const std::size_t* dimensions,
                                    const std::vector<std::string>& properties = {});

// Opaque scalar; `subclass` may be null. Holds nothing else.
VORMEL_HOST_API vrArray* makeOpaque(const char* subclass);

// What an object handle refers to. Counted: the last array that names it lets it go.
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

// What readers of many arrays ask of each, all at once.
struct ArrayFacts {
  int classID;
  bool isComplex;
  bool isMatrix;  // of two dimensions
  std::size_t rows;
  std::size_t count;     // of elements
  const void* elements;  // null for classes without
};
VORMEL_HOST_API ArrayFacts factsOf(const vrArray* array) noexcept;

// The target of a handle array's element; null for other arrays and elements. Borrowed.
VORMEL_HOST_API HandleTarget* handleTarget(const vrArray* array, std::size_t index) noexcept;

// Element of a cell array. Borrowed. Throws HostError for another class or index.
VORMEL_HOST_API const vrArray* cellElement(const vrArray* array, std::size_t index);

// Takes over `value` and releases the element's former value. Throws as cellElement.
VORMEL_HOST_API void setCellElement(vrArray* array, std::size_t index, vrArray* value);

// Field names of a structure array, property names of a value object, in order; else empty.
VORMEL_HOST_API const std::vector<std::string>& fieldNames(const vrArray* array);

// Tells lists of field names apart: arrays with one number, which is not 0, have the same names. 0
// for an array that has none.
VORMEL_HOST_API std::uint64_t fieldNamesNumber(const vrArray* array) noexcept;

// Field of a structure array, property of a value object, by its number in that order. Borrowed.
// Throws HostError for another class, index or number.
VORMEL_HOST_API const vrArray* fieldAt(const vrArray* array, std::size_t index, std::size_t field);

// Name of a function handle ("" for other classes).
VORMEL_HOST_API const std::string& functionName(const vrArray* array);

// The host class name: "double", "cell", "struct", "char", "logical", "function_handle", ...; for a
// value object its class, for an opaque array its subclass name or "opaque".
VORMEL_HOST_API std::string className(const vrArray* array);

// True when both have one class, shape, complexity and content, at every depth. NaN equals NaN and
// numbers compare by their bytes; handles are equal when they name the same object.
VORMEL_HOST_API bool equal(const vrArray* a, const vrArray* b);

// A shared copy on no array list, whatever call is running: the caller alone ends it.
VORMEL_HOST_API vrArray* detachedCopy(const vrArray* array);

// True for an array made by ntobConvertArrayToInternal and not converted back.
VORMEL_HOST_API bool isInternalForm(const vrArray* array) noexcept;

}  // namespace vormel
