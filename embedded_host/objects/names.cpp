// Identifiers of names, and texts of the host.
#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

#include "kvrntob/host/ntob.h"

namespace ntob {
namespace {

// One address a name: elements of the set never move, and the set outlives every identifier.
const char* intern(const char* name) {
  static auto& names = *new std::unordered_set<std::string>;
  return names.emplace(name).first->c_str();
}

char* copyOf(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  auto copy = std::make_unique<char[]>(size);
  std::memcpy(copy.get(), text, size);
  return copy.release();
}

}  // namespace

TOBNameID::TOBNameID(const char* name) : name_(name != nullptr ? intern(name) : nullptr) {}

TOBString::TOBString() noexcept : text_(nullptr) {}
TOBString::TOBString(const char* text) : text_(copyOf(text)) {}
TOBString::TOBString(const TOBString& other) : text_(copyOf(other.text_)) {}
TOBString& TOBString::operator=(const TOBString& other) {
  TOBString copy(other);
  std::swap(text_, copy.text_);
  return *this;
}
TOBString::~TOBString() { delete[] text_; }

}  // namespace ntob
