// The exceptions of the embedded host.
//
//   HostException   carries identifier, word, text and the name of the running function; made by
//                   drsvThrowIExceptionFromDiagnostic for every failure that a module raises
//   HostError       a failure of the host itself; identifier begins "Vormel:"
//   CallRefused     the host refused a call before its body ran; nothing has changed
//
// Also the failure that a trapped call of a host function left behind.
#pragma once

#include <exception>
#include <optional>
#include <string>

#include "kvrntob/host/export.h"
#include "kvrntob/host/quenrath_system.h"

namespace vormel {

class VORMEL_HOST_API HostException : public Quenrath::System::IUserException {
 public:
  HostException(std::string identifier, std::optional<std::string> word, std::string text,
                std::optional<std::string> functionName);
  HostException(const HostException&);
  ~HostException() override;

  const char* what() const noexcept override { return text_.c_str(); }

  // For instance "KVR:kvr:NON_EXISTENT".
  const std::string& identifier() const noexcept { return identifier_; }
  // The one string that the failure carries, if its message takes one.
  const std::optional<std::string>& word() const noexcept { return word_; }
  // The plain name of the host method that was running, if one was.
  const std::optional<std::string>& functionName() const noexcept { return functionName_; }

 private:
  std::string identifier_;
  std::optional<std::string> word_;
  std::string text_;
  std::optional<std::string> functionName_;
};

// `key` follows "Vormel:" in the identifier. The constructor asks the dispatcher for the name of
// the running function.
class VORMEL_HOST_API HostError : public HostException {
 public:
  HostError(const std::string& key, const std::string& text);
  HostError(const HostError&);
  ~HostError() override;
};

class VORMEL_HOST_API CallRefused : public HostError {
 public:
  CallRefused(const std::string& key, const std::string& text);
  CallRefused(const CallRefused&);
  ~CallRefused() override;
};

// ---- The trapped failure ----
//
// A host function that is called with trap 1 and fails leaves a null array behind. Its failure is
// kept here until an operation that was given the null array raises it, until the next host
// function is called, or until the method call ends.

// Replaces the failure that is kept.
VORMEL_HOST_API void setTrappedFailure(std::exception_ptr failure) noexcept;
VORMEL_HOST_API void clearTrappedFailure() noexcept;

// Throws the failure that is kept and clears it. Returns if there is none.
VORMEL_HOST_API void rethrowTrappedFailure();

}  // namespace vormel
