// The least that a whole run of this program has to inject.
#include "tests/reliability/tally.h"

namespace kvr::test {
namespace {

TEST(FaultCounts, are_high_enough_at_the_end) {
  Tally::instance().expectAtLeast("faults in host memory", 4000);
  Tally::instance().expectAtLeast("faults on the heap", 16000);
  Tally::instance().expectAtLeast("faults in files", 2000);
  Tally::instance().expectAtLeast("faults in host functions", 50);
}

}  // namespace
}  // namespace kvr::test
