// Host library hf_i18n: a reference to a message of a catalogue, with the text filled into it.
#pragma once

#include <string_view>

#include "kvrntob/host/export.h"

namespace hf::i18n {

// Names one message by catalogue path and key, such as "KVR:kvr:NON_EXISTENT", and shows the one
// string that fills the message's text, if the message takes one. Owns neither: message classes
// pass a literal and a string of their own.
class VORMEL_HOST_API BaseMsgID {
 public:
  BaseMsgID(const BaseMsgID&) = delete;
  BaseMsgID& operator=(const BaseMsgID&) = delete;

  // The full identifier, catalogue included. Never null.
  const char* identifier() const noexcept { return identifier_; }

  // True if the message takes a string; `word` is that string, else empty.
  bool takesWord() const noexcept { return takesWord_; }
  std::string_view word() const noexcept { return word_; }

 protected:
  explicit BaseMsgID(const char* identifier) noexcept : identifier_(identifier) {}
  BaseMsgID(const char* identifier, std::string_view word) noexcept
      : identifier_(identifier), word_(word), takesWord_(true) {}
  ~BaseMsgID() = default;

 private:
  const char* identifier_;
  std::string_view word_;
  bool takesWord_ = false;
};

}  // namespace hf::i18n
