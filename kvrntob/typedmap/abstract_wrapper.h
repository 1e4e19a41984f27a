// A typed map as its methods see it: host arrays in, host arrays out, types hidden. And the choice
// of its types from the classes of two sample arrays.
//
// Keys and values that are passed in are borrowed. Returned arrays are new and owned by the caller;
// if the host has no memory for one, it returns null or throws. Indices count from 0. Every
// operation that takes a key or a value first converts it, the key before the value, and fails with
// TYPE_MISMATCH("key") or TYPE_MISMATCH("value") if it does not fit the map's types. An operation
// that fails leaves the map as it was.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kvrntob/host/libvr.h"

// Root of the map's native objects: they are allocated from host memory.
class MemoryOperationOverloads {
 public:
  // huMalloc: null when memory is exhausted, and then the new expression is null too.
  static void* operator new(std::size_t size) noexcept;
  // huFree.
  static void operator delete(void* pointer) noexcept;
};

// The order of the operations is part of the interface.
class AbstractVrWrapperDataMap : public MemoryOperationOverloads {
 public:
  AbstractVrWrapperDataMap() = default;
  AbstractVrWrapperDataMap(const AbstractVrWrapperDataMap&) = delete;
  AbstractVrWrapperDataMap& operator=(const AbstractVrWrapperDataMap&) = delete;
  virtual ~AbstractVrWrapperDataMap() = default;

  virtual bool isKey(const vrArray* key) const = 0;

  // Appends an entry, or replaces the value of the key's entry, which keeps its index.
  virtual void put(const vrArray* key, const vrArray* value) = 0;

  virtual std::int32_t getCount() const = 0;

  // Fail with INDEX_OUT_OF_BOUNDS.
  virtual vrArray* getDataByIndex(const std::int32_t& index) const = 0;
  virtual vrArray* getIDByIndex(const std::int32_t& index) const = 0;

  // Fail with KEY_NOT_IN_MAP, also if the map is empty.
  virtual vrArray* getDataByID(const vrArray* key) const = 0;
  virtual std::int32_t getIndexByID(const vrArray* key) const = 0;

  // The indices of later entries decrease by one. Fail with KEY_NOT_IN_MAP and INDEX_OUT_OF_BOUNDS.
  virtual void deleteDataByID(const vrArray* key) = 0;
  virtual void deleteDataByIndex(const std::int32_t& index) = 0;

  // Such as "double" or "any". Valid as long as the wrapper lives.
  virtual const char* getKeyType() const = 0;
  virtual const char* getValueType() const = 0;

  // Removes all entries. Required: unlike deleting, this does not release the arrays that an "any"
  // map keeps. They leak.
  virtual void clear() = 0;
};

// A new, empty map for keys like a sample of class `keyClass` and values like a scalar sample of
// class `valueClass`; class 0 stands for a value sample that is not a scalar. The caller owns it.
// Null when host memory is exhausted; throws std::bad_alloc when the ordinary heap is.
// Fails with UNSUPPORTED_KEY if no key type takes keys of that class.
AbstractVrWrapperDataMap* makeWrapperForKeyClass(int keyClass, int valueClass);

// The same for keys of type K, which `keyTypeName` names. Instantiated for each of the 7 key types
// in a source of its own.
template <class K>
AbstractVrWrapperDataMap* makeWrapperForValueClass(int valueClass, const char* keyTypeName);
