#include "embedded_host/files/file_error.h"

#include <new>

namespace vormel {
namespace {

std::string& lastText() noexcept {
  static std::string text;
  return text;
}

}  // namespace

const std::string& lastFileError() noexcept { return lastText(); }

void setLastFileError(const std::string& text) noexcept {
  try {
    lastText() = text;
  } catch (const std::bad_alloc&) {
    return;
  }
}

}  // namespace vormel
