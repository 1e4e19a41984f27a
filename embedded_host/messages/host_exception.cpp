#include "embedded_host/messages/host_exception.h"

#include <utility>

#include "embedded_host/messages/dispatcher.h"
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

std::exception_ptr trappedFailure;

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

void setTrappedFailure(std::exception_ptr failure) noexcept { trappedFailure = std::move(failure); }

void clearTrappedFailure() noexcept {
  if (trappedFailure != nullptr)
    trappedFailure = nullptr;  // every call ends here: a load, no store
}

void rethrowTrappedFailure() {
  if (trappedFailure != nullptr) std::rethrow_exception(std::exchange(trappedFailure, nullptr));
}

}  // namespace vormel
