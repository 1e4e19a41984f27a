#include "embedded_host/functions/own_functions.h"

#include <chrono>
#include <cstddef>

#include "embedded_host/functions/private_directory.h"

namespace vormel {
namespace {

OwnedArray text(const char* characters) { return OwnedArray(vrCreateString(characters)); }

}  // namespace

OwnedArray version() { return text("Vormel " VORMEL_VERSION); }

OwnedArray now() {
  using Days = std::chrono::duration<double, std::chrono::days::period>;
  constexpr std::chrono::sys_days yearZero = std::chrono::year{0} / std::chrono::January / 1;
  const Days sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return OwnedArray(vrCreateDoubleScalar((sinceEpoch - yearZero.time_since_epoch()).count()));
}

OwnedArray tempdir() { return text(PrivateDirectory::instance().path().c_str()); }

OwnedArray timeseries() {
  const std::size_t scalar[] = {1, 1};
  return OwnedArray(makeObject("timeseries", 2, scalar, {"Data", "Time"}));
}

}  // namespace vormel
