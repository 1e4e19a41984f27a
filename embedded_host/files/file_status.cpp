#include "embedded_host/files/file_status.h"

#include <new>
#include <utility>

namespace vormel {
namespace {

std::size_t openFiles = 0;

std::string& lastText() noexcept {
  static std::string text;
  return text;
}

}  // namespace

std::size_t openFileCount() noexcept { return openFiles; }

OpenFileCounter::OpenFileCounter() noexcept { ++openFiles; }

OpenFileCounter::~OpenFileCounter() { --openFiles; }

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
