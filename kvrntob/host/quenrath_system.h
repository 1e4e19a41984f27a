// Host library quenrath_system: the root of the host's exceptions.
//
// Whatever crosses the border as a failure derives from IException. A module throws these only
// through the host (see drk_services.h) and catches none of them by type.
#pragma once

#include <exception>

#include "kvrntob/host/export.h"

namespace Quenrath::System {

// Every exception of the host. what() is a text for people; it is never null.
class VORMEL_HOST_API IException : public std::exception {
 public:
  ~IException() override;
  const char* what() const noexcept override = 0;

 protected:
  IException() = default;
  IException(const IException&) = default;
  IException& operator=(const IException&) = default;
};

// A failure that host code may see and handle, as against a fault of the host itself.
class VORMEL_HOST_API IUserException : public IException {
 public:
  ~IUserException() override;
};

}  // namespace Quenrath::System
