// The type names of a signature, as the module declared them.
#pragma once

#include <string>
#include <vector>

#include "embedded_host/objects/signature.h"

namespace vormel::python {

inline std::vector<std::string> typeNames(const std::vector<SignatureType>& types) {
  std::vector<std::string> names;
  for (const SignatureType& type : types) {
    const char* name = type.name.characters();
    names.emplace_back(name == nullptr ? "" : name);
  }
  return names;
}

}  // namespace vormel::python
