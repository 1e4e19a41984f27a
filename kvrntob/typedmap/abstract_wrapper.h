// A typed map as its methods see it: host arrays in, host arrays out, types unknown.
//
// Keys and values that are passed in are borrowed. Arrays that come back are new and the caller's;
// one that the host cannot make for want of memory is null, or the host's exception. Indices count
// from 0. Every operation that takes a key or a value first converts it, the key before the value,
// and fails with TYPE_MISMATCH("key") or TYPE_MISMATCH("value") if it does not fit the map's types.
// An operation that fails leaves the map as it was.
#pragma once

#include <cstdint>

#include "kvrntob/host/libvr.h"
#include "kvrntob/typedmap/memory_operations.h"

// The order of the operations is part of the interface.
class AbstractVrWrapperDataMap : public MemoryOperationOverloads {
 public:
  AbstractVrWrapperDataMap() = default;
  AbstractVrWrapperDataMap(const AbstractVrWrapperDataMap&) = delete;
  AbstractVrWrapperDataMap& operator=(const AbstractVrWrapperDataMap&) = delete;
  virtual ~AbstractVrWrapperDataMap() = default;

  virtual bool isKey(const vrArray* key) const = 0;

  // Adds an entry behind all others, or gives the entry of the key another value in its place.
  virtual void put(const vrArray* key, const vrArray* value) = 0;

  virtual std::int32_t getCount() const = 0;

  // Fail with INDEX_OUT_OF_BOUNDS.
  virtual vrArray* getDataByIndex(const std::int32_t& index) const = 0;
  virtual vrArray* getIDByIndex(const std::int32_t& index) const = 0;

  // Fail with KEY_NOT_IN_MAP, an empty map included.
  virtual vrArray* getDataByID(const vrArray* key) const = 0;
  virtual std::int32_t getIndexByID(const vrArray* key) const = 0;

  // Later entries move down by one. Fail with KEY_NOT_IN_MAP and INDEX_OUT_OF_BOUNDS.
  virtual void deleteDataByID(const vrArray* key) = 0;
  virtual void deleteDataByIndex(const std::int32_t& index) = 0;

  // Such as "double" or "any". Good as long as the wrapper lives.
  virtual const char* getKeyType() const = 0;
  virtual const char* getValueType() const = 0;

  // Forgets all entries. Arrays that an "any" map keeps are not released: whoever clears such a map
  // loses them, which is the required difference from deleting.
  virtual void clear() = 0;
};
