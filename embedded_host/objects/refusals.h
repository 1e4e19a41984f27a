// The texts with which the host refuses calls. Each throws CallRefused.
#pragma once

#include <string>

#include "embedded_host/objects/records.h"

namespace vormel {

// What an array is, for people: "a complex double 2-by-3".
VORMEL_HOST_API std::string describe(const vrArray* array);

[[noreturn]] void refuseTooFewInputs(const MethodRecord& method, std::size_t count);
[[noreturn]] void refuseTooManyInputs(const MethodRecord& method, std::size_t count);
[[noreturn]] void refuseOutputCount(const MethodRecord& method, std::int64_t count);
[[noreturn]] void refuseInputValue(const MethodRecord& method, std::size_t position,
                                   const SignatureType& type, const std::string& given);
[[noreturn]] void refuseObject(const MethodRecord& method, const std::string& given);

}  // namespace vormel
