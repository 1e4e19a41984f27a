#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(single_keys, float);

}  // namespace kvr::test
