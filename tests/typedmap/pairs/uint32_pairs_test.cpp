#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(uint32_keys, std::uint32_t);

}  // namespace kvr::test
