// From an object handle to the store behind it.
#pragma once

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

// The store behind a handle of class Dravik.kvr.SignalRepository. Never null.
// Fails with INVALID_OBJ if the handle names no object or one that is gone.
SignalRepository* resolveHandle(const vrArray* handle);

}  // namespace kvr
