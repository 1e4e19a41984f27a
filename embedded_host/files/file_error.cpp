#include "embedded_host/files/file_error.h"

#include <new>
#include <utility>

namespace vormel {
namespace {

std::string& lastText() noexcept {
  static std::string text;
  return text;
}

}  // namespace

const std::string& lastFileError() noexcept { return lastText(); }

void setLastFileError(std::string_view what, std::string_view why) noexcept {
  try {
    std::string text(what);
    if (!why.empty()) text.append(": ").append(why);
    lastText() = std::move(text);
  } catch (const std::bad_alloc&) {
    return;
  }
}

}  // namespace vormel
