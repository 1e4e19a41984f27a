#include "embedded_host/functions/own_functions.h"

#include <chrono>
#include <cstddef>

#include "embedded_host/functions/private_directory.h"

namespace vormel {
namespace {

OwnedArray text(const char* characters) { return OwnedArray(vrCreateString(characters)); }

OwnedArray emptyDouble() {
  const std::size_t nothing[] = {0, 0};
  return OwnedArray(vrCreateNumericArray_730(2, nothing, vrDOUBLE_CLASS, 0));
}

void setProperty(const OwnedArray& object, const char* name, const OwnedArray& value) {
  vrSetProperty_730(object.get(), 0, name, value.get());
}

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
  OwnedArray object(makeObject("timeseries", 2, scalar));
  setProperty(object, "Data", emptyDouble());
  setProperty(object, "Time", emptyDouble());
  return object;
}

}  // namespace vormel
