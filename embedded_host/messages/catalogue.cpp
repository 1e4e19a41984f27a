#include "embedded_host/messages/catalogue.h"

#include <string_view>

#include "kvrntob/host/libqnKVR_res.h"

namespace hf::i18n {

BaseMsgID::~BaseMsgID() = default;

}  // namespace hf::i18n

namespace KVR::kvr {

#define MESSAGE(Class, text)                       \
  Class::Class() : BaseMsgID("KVR:kvr:" #Class) {} \
  Class::~Class() = default;
#define MESSAGE_WITH_WORD(Class, text)                                          \
  Class::Class(const std::string& word) : BaseMsgID("KVR:kvr:" #Class, word) {} \
  Class::~Class() = default;
#include "kvrntob/host/kvr_messages.def"

}  // namespace KVR::kvr

namespace vormel {
namespace {

struct Entry {
  std::string_view identifier;
  std::string_view text;
};

constexpr Entry entries[] = {
#define MESSAGE(Class, text) {"KVR:kvr:" #Class, text},
#define MESSAGE_WITH_WORD(Class, text) {"KVR:kvr:" #Class, text},
#include "kvrntob/host/kvr_messages.def"
};

}  // namespace

std::string textOf(const hf::i18n::BaseMsgID& message) {
  constexpr std::string_view gap = "{0}";
  for (const Entry& entry : entries) {
    if (entry.identifier != message.identifier()) continue;
    std::string text(entry.text);
    const std::size_t place = text.find(gap);
    if (place != std::string::npos) text.replace(place, gap.size(), message.word());
    return text;
  }
  const std::string identifier = message.identifier();
  return message.takesWord() ? identifier + ": " + message.word() : identifier;
}

}  // namespace vormel
