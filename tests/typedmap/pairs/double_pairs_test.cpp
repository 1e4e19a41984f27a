#include "tests/typedmap/pair_suite.h"

namespace kvr::test {

PAIR_SUITE(double_keys, double);

}  // namespace kvr::test
