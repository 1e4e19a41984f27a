// Texts that the host gives, as Python strings, and names in the texts of errors.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/objects/signature.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A new str of UTF-8; bytes that are not UTF-8 become U+FFFD. Throws PythonErrorSet.
Ref newText(std::string_view utf8);

// The str of a name: of a field, property, method or type. Equal names give one object, which lives
// as long as the process, up to a bound on how many are kept. Throws PythonErrorSet.
Ref nameFor(const std::string& name);

// The type names of a signature, as the module declared them.
std::vector<std::string> typeNames(const std::vector<SignatureType>& types);

// "cell, struct, logical"; "" for no names.
std::string listed(const std::vector<std::string>& names);

// "; did you mean getRunID or getRunName?" for names that differ from `name` by little; "" if none
// does. At most three, the nearest first.
std::string suggestion(std::string_view name, const std::vector<std::string>& names);

}  // namespace vormel::python
