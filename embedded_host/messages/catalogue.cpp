#include "embedded_host/messages/catalogue.h"

#include <string_view>

#include "kvrntob/host/libqnKVR_res.h"

namespace KVR::kvr {

#define MESSAGE(Class, text)                                \
  Class::Class() noexcept : BaseMsgID("KVR:kvr:" #Class) {} \
  Class::~Class() = default;
#define MESSAGE_WITH_WORD(Class, text)                                                        \
  Class::Class(const std::string& word) : OwnWord{word}, BaseMsgID("KVR:kvr:" #Class, own) {} \
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
  const std::string_view identifier = message.identifier();
  for (const Entry& entry : entries) {
    if (entry.identifier != identifier) continue;
    std::string text(entry.text);
    const std::size_t place = text.find(gap);
    if (place != std::string::npos) text.replace(place, gap.size(), message.word());
    return text;
  }
  std::string text(identifier);
  if (message.takesWord()) text.append(": ").append(message.word());
  return text;
}

}  // namespace vormel
