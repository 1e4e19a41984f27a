// The message catalogue: texts by identifier.
#pragma once

#include <string>

#include "kvrntob/host/hf_i18n.h"

namespace vormel {

// The message's text with its word filled in. For a message that the catalogue does not hold, the
// identifier and the word.
std::string textOf(const hf::i18n::BaseMsgID& message);

}  // namespace vormel
