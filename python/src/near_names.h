// Names that somebody may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vormel::python {

// "; did you mean getRunID or getRunName?" for names that differ from `name` by little; "" if none
// does. At most three, the nearest first.
std::string suggestion(std::string_view name, const std::vector<std::string>& names);

}  // namespace vormel::python
