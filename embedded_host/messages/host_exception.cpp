// The exceptions of the host, and the way from a message to one of them.
#include <memory>
#include <utility>

#include "embedded_host/functions/dispatcher.h"
#include "embedded_host/messages/catalogue.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/drk_services.h"
#include "kvrntob/host/ntob.h"

namespace Quenrath::System {

IException::~IException() = default;
IUserException::~IUserException() = default;

}  // namespace Quenrath::System

namespace ntob {

TOBException::~TOBException() = default;
TOBMsgException::~TOBMsgException() = default;
TOBOutOfMemoryException::TOBOutOfMemoryException() = default;
TOBOutOfMemoryException::TOBOutOfMemoryException(const TOBOutOfMemoryException&) = default;
TOBOutOfMemoryException::~TOBOutOfMemoryException() = default;
const char* TOBOutOfMemoryException::what() const noexcept { return "Out of memory."; }

}  // namespace ntob

namespace vormel {
namespace {

std::optional<std::string> runningFunctionName() {
  const Vfh_Vormel_fn* scope = Vdispatcher::pDMain->GetCurrentlyExecutingFunctionScope();
  if (scope == nullptr) return std::nullopt;
  return scope->dispatcher().get_hfuncname(scope->handle());
}

}  // namespace

HostException::HostException(std::string identifier, std::optional<std::string> word,
                             std::string text, std::optional<std::string> functionName)
    : identifier_(std::move(identifier)),
      word_(std::move(word)),
      text_(std::move(text)),
      functionName_(std::move(functionName)) {}
HostException::HostException(const HostException&) = default;
HostException::~HostException() = default;

HostError::HostError(const std::string& key, const std::string& text)
    : HostException("Vormel:" + key, std::nullopt, text, runningFunctionName()) {}
HostError::HostError(const HostError&) = default;
HostError::~HostError() = default;

CallRefused::CallRefused(const std::string& key, const std::string& text) : HostError(key, text) {}
CallRefused::CallRefused(const CallRefused&) = default;
CallRefused::~CallRefused() = default;

}  // namespace vormel

struct drsvDiagnosticImpl {
  std::string identifier;
  std::optional<std::string> word;
  std::string text;
};

drsvDiagnosticImpl* drsvCreateDiagnosticFromMessageID(const hf::i18n::BaseMsgID& message) {
  std::optional<std::string> word;
  if (message.takesWord()) word = message.word();
  return new drsvDiagnosticImpl{message.identifier(), std::move(word), vormel::textOf(message)};
}

namespace {

vormel::HostException madeFrom(drsvDiagnosticImpl*& diagnostic, const char* functionName) {
  const std::unique_ptr<drsvDiagnosticImpl> owned(std::exchange(diagnostic, nullptr));
  std::optional<std::string> function;
  if (functionName != nullptr) function = functionName;
  return {std::move(owned->identifier), std::move(owned->word), std::move(owned->text),
          std::move(function)};
}

}  // namespace

// Holds nothing itself that unwinding would have to stop for.
void drsvThrowIExceptionFromDiagnostic(drsvDiagnosticImpl*& diagnostic, const char* functionName) {
  throw madeFrom(diagnostic, functionName);
}
