// The one way in which the module reports a failure.
#pragma once

#include "kvrntob/host/libqnKVR_res.h"

namespace kvr {

// Raises the failure as a host exception that names the running host function, if any. Never
// returns. Call sites spell class and word out: raiseFromMessage(KVR::kvr::NON_EXISTENT("ID")).
[[noreturn]] void raiseFromMessage(const hf::i18n::BaseMsgID& message);

}  // namespace kvr
