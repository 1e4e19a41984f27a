#include "embedded_host/objects/signature.h"

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

namespace vormel {

CellType cellTypeOf(const ntob::TOBNameID& name) {
  static const std::array<std::pair<ntob::TOBNameID, CellType>, 5> plainTypes = {{
      {ntob::TOBNameID("any"), CellType::Any},
      {ntob::TOBNameID("int32 scalar"), CellType::Int32Scalar},
      {ntob::TOBNameID("double scalar"), CellType::DoubleScalar},
      {ntob::TOBNameID("logical scalar"), CellType::LogicalScalar},
      {ntob::TOBNameID("string"), CellType::String},
  }};
  for (const auto& [plainName, type] : plainTypes) {
    if (name == plainName) return type;
  }
  return CellType::Object;
}

Signature::~Signature() = default;

void Signature::addInput(ntob::TOBNameID type) { inputs_.push_back({cellTypeOf(type), type}); }

void Signature::addOutput(ntob::TOBNameID type) { outputs_.push_back({cellTypeOf(type), type}); }

}  // namespace vormel

namespace ntob {

// ---- Names and texts ----

namespace {

// Returns the same address for the same name. Elements of the set never move, and the set is never
// destroyed.
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

// ---- Signatures ----

TOBMethodSignature::~TOBMethodSignature() = default;

TOBMethodSignature* TOBMethodSignature::createMethodSignature() { return new vormel::Signature; }

}  // namespace ntob
