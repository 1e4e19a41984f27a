// Host library hf_i18n: a reference to a message of a catalogue, with the text filled into it.
#pragma once

#include <string>

#include "kvrntob/host/export.h"

namespace hf::i18n {

// Names one message by catalogue path and key, such as "KVR:kvr:NON_EXISTENT", and carries the one
// string that fills the message's text, if the message takes one. The key must outlive the object:
// message classes pass a literal.
class VORMEL_HOST_API BaseMsgID {
 public:
  virtual ~BaseMsgID();

  // The full identifier, catalogue included. Never null.
  const char* identifier() const noexcept { return identifier_; }

  // True if the message takes a string; `word` is that string, else empty.
  bool takesWord() const noexcept { return takesWord_; }
  const std::string& word() const noexcept { return word_; }

 protected:
  explicit BaseMsgID(const char* identifier) : identifier_(identifier) {}
  BaseMsgID(const char* identifier, const std::string& word)
      : identifier_(identifier), word_(word), takesWord_(true) {}
  BaseMsgID(const BaseMsgID&) = default;
  BaseMsgID& operator=(const BaseMsgID&) = default;

 private:
  const char* identifier_;
  std::string word_;
  bool takesWord_ = false;
};

}  // namespace hf::i18n
