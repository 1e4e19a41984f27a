// Whether two verdicts are the same, bit for bit.
#pragma once

#include <string>

#include "compare/compare.h"

namespace kvr::compare::test {

// Every field with its value, but for `failure`; doubles in hexadecimal. Signs of zero times and of
// NaN do not show.
std::string dump(const Verdict& verdict);

// The first field in which the verdicts differ, with both values; empty if there is none.
std::string differenceOf(const Verdict& expected, const Verdict& found);

}  // namespace kvr::compare::test
