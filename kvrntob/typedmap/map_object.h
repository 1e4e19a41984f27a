// The native object behind each instance of Dravik.kvr.Map.
#pragma once

#include <memory>

#include "kvrntob/typedmap/abstract_wrapper.h"

// The native object of one map: the owner of its typed map.
class DataMapWrapper : public MemoryOperationOverloads {
 public:
  // Until its constructor has run, an instance is a map from characters to characters.
  DataMapWrapper();
  DataMapWrapper(const DataMapWrapper&) = delete;
  DataMapWrapper& operator=(const DataMapWrapper&) = delete;
  virtual ~DataMapWrapper();

  // Replace it with reset(), which stores the new map before it destroys the old one: the arrays
  // that an "any" map releases may run destructors that use this object. Null only after a failed
  // allocation.
  std::unique_ptr<AbstractVrWrapperDataMap> wrapper;
};
