// Owners of host arrays.
#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>

#include "kvrntob/host/libvr.h"

namespace kvr {

struct ArrayDeleter {
  void operator()(vrArray* array) const {
    if (array != nullptr) vrDestroyArray(array);
  }
};

// A host array that its holder alone ends, or hands on with release(). May be null.
using OwnedArray = std::unique_ptr<vrArray, ArrayDeleter>;

// A host array that the store keeps; the last of its holders ends it. May be null.
using SharedArray = boost::shared_ptr<vrArray>;

// Takes over an array that has just been made, so that it outlives the host call.
inline SharedArray keepArray(vrArray* array) {
  SharedArray holder(array, ArrayDeleter());
  vrSetArrayScope(array, 0);
  return holder;
}

}  // namespace kvr
