#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(uint64_keys, std::uint64_t);

}  // namespace kvr::test
