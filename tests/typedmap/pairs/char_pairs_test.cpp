#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(char_keys, std::string);

}  // namespace kvr::test
