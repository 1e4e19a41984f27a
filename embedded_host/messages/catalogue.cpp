// The message catalogue: the message classes, their texts, and the way from a message to the
// exception that carries it.
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/drk_services.h"
#include "kvrntob/host/hf_i18n.h"
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

// The message's text with its word filled in. For a message that is not in the catalogue, the
// identifier and the word.
std::string textOf(const hf::i18n::BaseMsgID& message) {
  constexpr std::string_view gap = "{0}";
  const std::string_view identifier = message.identifier();
  for (const Entry& entry : entries) {
    if (entry.identifier != identifier) continue;
    std::string text(entry.text);
    const std::size_t position = text.find(gap);
    if (position != std::string::npos) text.replace(position, gap.size(), message.word());
    return text;
  }
  std::string text(identifier);
  if (message.takesWord()) text.append(": ").append(message.word());
  return text;
}

}  // namespace

struct drsvDiagnosticImpl {
  std::string identifier;
  std::optional<std::string> word;
  std::string text;
};

drsvDiagnosticImpl* drsvCreateDiagnosticFromMessageID(const hf::i18n::BaseMsgID& message) {
  std::optional<std::string> word;
  if (message.takesWord()) word = message.word();
  return new drsvDiagnosticImpl{message.identifier(), std::move(word), textOf(message)};
}

namespace {

vormel::HostException exceptionFrom(drsvDiagnosticImpl*& diagnostic, const char* functionName) {
  const std::unique_ptr<drsvDiagnosticImpl> owned(std::exchange(diagnostic, nullptr));
  std::optional<std::string> function;
  if (functionName != nullptr) function = functionName;
  return {std::move(owned->identifier), std::move(owned->word), std::move(owned->text),
          std::move(function)};
}

}  // namespace

// Has no locals of its own: unwinding would have to stop here to destroy them.
void drsvThrowIExceptionFromDiagnostic(drsvDiagnosticImpl*& diagnostic, const char* functionName) {
  throw exceptionFrom(diagnostic, functionName);
}
