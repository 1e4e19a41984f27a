#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(int32_keys, std::int32_t);

}  // namespace kvr::test
