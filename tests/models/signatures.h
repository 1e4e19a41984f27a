// The methods of both classes with their signatures, in the order of registration, and the host's
// rules about what it lets through to a body.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/models/plain_array.h"

namespace kvr::models {

enum class ClassKind {
  Repository,
  Map
};

// A failure by identifier, such as "KVR:kvr:NON_EXISTENT", and word.
struct Failure {
  std::string identifier;
  std::optional<std::string> word;
  bool operator==(const Failure&) const = default;
};

class Call;
using Body = void (*)(Call&);

// Types by letter: h a handle of the class, a any, i int32, d double, s string, l logical.
struct Signature {
  const char* name;
  std::string_view inputs;
  std::string_view outputs;
  Body body;  // what the model does; null for a method that the models leave out
};

const std::vector<Signature>& repositoryMethods();
const std::vector<Signature>& mapMethods();
const std::vector<Signature>& signaturesOf(ClassKind cls);
inline const Signature& signatureAt(ClassKind cls, int place) {
  return signaturesOf(cls)[static_cast<std::size_t>(place)];
}
// The place of the first registration of the name; the name must exist.
int placeOf(ClassKind cls, std::string_view name);

// Throws the Failure of a call that the host refuses. `isOfClass` answers for a handle array.
void checkCall(const Signature& signature, const std::vector<PlainArray>& inputs, int nargout,
               bool constructor, const std::function<bool(const PlainArray&)>& isOfClass);

// What a failing host function throws.
inline constexpr const char* kFunctionFailure = "FunctionFailed";

// Throws a failure of the module, with and without a word, or of the host.
[[noreturn]] void fail(const char* failureClass);
[[noreturn]] void fail(const char* failureClass, const char* word);
[[noreturn]] void failInHost(const char* key);

}  // namespace kvr::models
