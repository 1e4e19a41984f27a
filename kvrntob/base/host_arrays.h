// Host arrays: who owns them, new ones of plain values, and those that host functions return.
#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kvrntob/base/codes.h"
#include "kvrntob/host/libvr.h"

namespace kvr {

// ---- Owners ----

struct ArrayDeleter {
  void operator()(vrArray* array) const {
    if (array != nullptr) vrDestroyArray(array);
  }
};

// A host array with one owner, which destroys it or passes it on with release(). May be null.
using OwnedArray = std::unique_ptr<vrArray, ArrayDeleter>;

// A host array that the store keeps; its last owner destroys it. May be null.
using SharedArray = boost::shared_ptr<vrArray>;

// Takes over an array that was just made and takes it off the call's array list, so that it
// outlives the host call.
SharedArray keepBeyondCall(vrArray* array);

// ---- New arrays, owned by the caller ----

vrArray* makeInt32(int32 value);                          // 1-by-1
vrArray* makeInt32Row(const std::vector<int32>& values);  // 1-by-n
vrArray* makeEmptyInt32();                                // 0-by-0
vrArray* makeDouble(double value);                        // 1-by-1
vrArray* makeDoubleRow(const std::vector<double>& values);
vrArray* makeString(const std::string& text);  // up to the first NUL; 0-by-0 for an empty text
vrArray* makeStructure(std::span<const char* const> fieldNames);  // 1-by-1, fields to be set

// ---- Host functions ----

// What to do when a host function fails.
enum class OnFailure {
  Throw,      // the host's exception passes through the call
  ReturnNull  // the result is null
};

// Calls a host function that takes nothing and returns one array.
OwnedArray callHostFunction(const char* name, OnFailure onFailure);

}  // namespace kvr
