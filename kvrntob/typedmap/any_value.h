// The arrays that an "any" map keeps.
//
// Object handles are kept as shared copies; everything else in the form in which a native object
// may keep an array beyond the call. In the container they are plain pointers; on the way in and
// on the way out an AnyValue owns them.
#pragma once

#include <utility>

#include "kvrntob/host/libvr.h"

class AnyValue {
 public:
  // Makes what the map keeps for `value`, which is borrowed.
  static AnyValue store(const vrArray* value);

  // Takes over an array made by store(), or null.
  explicit AnyValue(vrArray* stored) noexcept : stored_(stored) {}
  AnyValue(const AnyValue&) = delete;
  AnyValue& operator=(const AnyValue&) = delete;
  ~AnyValue();

  vrArray* get() const noexcept { return stored_; }
  vrArray* release() noexcept { return std::exchange(stored_, nullptr); }

 private:
  vrArray* stored_;
};
