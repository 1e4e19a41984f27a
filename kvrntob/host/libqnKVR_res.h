// Host library libqnKVR_res: the 29 messages of the catalogue KVR:kvr, each a class.
//
// A failing test makes an object of one of these on its stack and hands it to raiseFromMessage.
// Twelve classes take one string, the word that names what was wrong:
//
//   raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
//   raiseFromMessage(KVR::kvr::INVALID_OBJ());
#pragma once

#include <string>

#include "kvrntob/host/export.h"
#include "kvrntob/host/hf_i18n.h"

namespace KVR::kvr {

// The string of a message that takes one; made before the message that shows it.
struct OwnWord {
  std::string own;
};

#define MESSAGE(Class, text)                                 \
  class VORMEL_HOST_API Class : public hf::i18n::BaseMsgID { \
   public:                                                   \
    Class() noexcept;                                        \
    ~Class();                                                \
  };
#define MESSAGE_WITH_WORD(Class, text)                                        \
  class VORMEL_HOST_API Class : private OwnWord, public hf::i18n::BaseMsgID { \
   public:                                                                    \
    explicit Class(const std::string& word);                                  \
    ~Class();                                                                 \
  };
#include "kvrntob/host/kvr_messages.def"

}  // namespace KVR::kvr
