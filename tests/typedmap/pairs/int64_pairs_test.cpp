#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(int64_keys, std::int64_t);

}  // namespace kvr::test
