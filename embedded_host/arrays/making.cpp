// libvr: making arrays.
#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/storage.h"
#include "embedded_host/arrays/text.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"

using namespace vormel;

namespace {

constexpr std::size_t oneByOne[] = {1, 1};
constexpr std::size_t zeroByZero[] = {0, 0};

// Adds a new array to the list of the innermost call.
vrArray* attached(vrArray* array) noexcept {
  CallScope::attach(array);
  return array;
}

template <class T>
vrArray* scalar(int classID, T value) {
  vrArray* array = newArray(classID, 2, oneByOne);
  std::memcpy(array->small, &value, sizeof value);
  return attached(array);
}

}  // namespace

vrArray* vrCreateNumericArray_730(std::size_t dimensionCount, const std::size_t* dimensions,
                                  int classID, int complexity) {
  if (!isNumericClass(classID) && (classID != vrLOGICAL_CLASS || complexity != 0)) {
    throw HostError("NotNumeric", "Only real and complex numeric and real logical arrays exist.");
  }
  return attached(newElementArray(classID, dimensionCount, dimensions, complexity != 0));
}

vrArray* vrCreateNumericMatrix_730(std::size_t rows, std::size_t columns, int classID,
                                   int complexity) {
  const std::size_t dimensions[] = {rows, columns};
  try {
    return vrCreateNumericArray_730(2, dimensions, classID, complexity);
  } catch (const ntob::TOBOutOfMemoryException&) {
    return nullptr;
  }
}

vrArray* vrCreateDoubleScalar(double value) { return scalar(vrDOUBLE_CLASS, value); }

vrArray* vrCreateLogicalScalar(bool value) {
  return scalar<std::uint8_t>(vrLOGICAL_CLASS, value ? 1 : 0);
}

vrArray* vrCreateCharArray_730(std::size_t dimensionCount, const std::size_t* dimensions) {
  return attached(newElementArray(vrCHAR_CLASS, dimensionCount, dimensions, false));
}

vrArray* vrCreateString(const char* text) {
  const std::size_t length = std::strlen(text);
  const bool isPlain = isAscii(text, length);
  const std::size_t count = isPlain ? length : utf16FromUtf8(text, nullptr);
  const std::size_t dimensions[] = {count == 0 ? 0U : 1U, count};
  vrArray* array = newUnfilledArray(vrCHAR_CLASS, 2, dimensions);
  auto* units = static_cast<std::uint16_t*>(vrGetData(array));
  if (isPlain) {
    std::copy_n(text, length, units);
  } else {
    utf16FromUtf8(text, units);
  }
  return attached(array);
}

namespace {

// The names of the structure that was made last: callers often make many structures with the same
// fields.
Names* lastFieldNames = nullptr;

// Field names with one reference for the caller.
Names* sharedFieldNames(std::size_t count, const char* const* names) {
  const auto isLast = [&] {
    return lastFieldNames != nullptr && lastFieldNames->fields.size() == count &&
           std::equal(names, names + count, lastFieldNames->fields.begin(),
                      [](const char* name, const std::string& field) {
                        return std::strcmp(name, field.c_str()) == 0;
                      });
  };
  if (!isLast()) {
    Names* fresh = newNames("", std::span(names, count));
    releaseNames(std::exchange(lastFieldNames, fresh));
  }
  ++lastFieldNames->references;
  return lastFieldNames;
}

}  // namespace

vrArray* vrCreateStructArray_730(std::size_t dimensionCount, const std::size_t* dimensions,
                                 int fieldCount, const char* const* names) {
  const std::size_t fields = fieldCount > 0 ? static_cast<std::size_t>(fieldCount) : 0;
  return attached(
      newPartsArray(vrSTRUCT_CLASS, dimensionCount, dimensions, sharedFieldNames(fields, names)));
}

vrArray* vrCreateEmptyCopy(const vrArray* array) {
  vrArray* copy = newArray(array->classID, 2, zeroByZero);
  if (!hasElements(array) && array->names != nullptr) {
    copy->names = array->names;
    ++copy->names->references;
  }
  return attached(copy);
}

// Copies the storage level by level. The parts that are still to be copied are linked by `next`
// instead of visited by recursion, since arrays can be nested deeper than the stack allows.
vrArray* vrDuplicateArray(const vrArray* array) {
  OwnedArray copy(newSharedCopy(array));
  vrArray* waiting = copy.get();
  while (waiting != nullptr) {
    vrArray* shared = waiting;
    waiting = shared->next;
    shared->next = nullptr;
    copyStorage(shared);
    if (!hasParts(shared) || shared->container == nullptr) continue;
    for (std::size_t i = 0; i < shared->container->count; ++i) {
      vrArray* part = shared->container->parts()[i];
      if (part == nullptr) continue;
      part->next = waiting;
      waiting = part;
    }
  }
  return attached(copy.release());
}

vrArray* vrCreateSharedDataCopy(const vrArray* array) { return attached(newSharedCopy(array)); }

vrArray* vrCreateSharedCopyNotOnArrayList(const vrArray* array) { return newSharedCopy(array); }

void vrSetArrayScope(vrArray* array, int scope) {
  if (scope == 0) CallScope::detach(array);
}

namespace vormel {

vrArray* makeCell(std::size_t dimensionCount, const std::size_t* dimensions) {
  return attached(newPartsArray(vrCELL_CLASS, dimensionCount, dimensions, nullptr));
}

vrArray* makeUnfilled(int classID, std::size_t dimensionCount, const std::size_t* dimensions) {
  return attached(newUnfilledArray(classID, dimensionCount, dimensions));
}

vrArray* makeObject(const std::string& className, std::size_t dimensionCount,
                    const std::size_t* dimensions, const std::vector<std::string>& properties) {
  return attached(
      newPartsArray(vrOBJECT_CLASS, dimensionCount, dimensions, newNames(className, properties)));
}

vrArray* makeFunctionHandle(const std::string& name) {
  OwnedArray array(newArray(vrFUNCTION_CLASS, 2, oneByOne));
  array.get()->names = newNames(name);
  return attached(array.release());
}

vrArray* makeOpaque(const char* subclass) {
  OwnedArray array(newArray(vrOPAQUE_CLASS, 2, oneByOne));
  if (subclass != nullptr) array.get()->names = newNames(subclass);
  return attached(array.release());
}

vrArray* makeHandle(HandleTarget* target) {
  OwnedArray array(makeOpaque("handle"));
  array.get()->target = target;
  if (target != nullptr) target->retain();
  return array.release();
}

vrArray* detachedCopy(const vrArray* array) { return newSharedCopy(array); }

}  // namespace vormel

vrArray* ntobConvertArrayToInternal(const vrArray* array) {
  vrArray* copy = newSharedCopy(array);
  copy->isInternalForm = true;
  return copy;
}

void ntobConvertArrayToExternalInPlace(vrArray* array) { array->isInternalForm = false; }
