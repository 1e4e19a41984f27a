// Bytes to a pair of series with settings: the comparison must judge it as the plain model does.
#include "tests/compare/random_pair.h"
#include "tests/fuzz/bytes.h"
#include "tests/fuzz/verdict.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr;
  fuzz::Bytes bytes(data, size);
  const compare::test::RandomPair pair =
      compare::test::randomPair([&bytes](int count) { return bytes.below(count); });
  const std::string disagreement = compare::test::disagreement(pair);
  fuzz::require(disagreement.empty(), disagreement);
  return 0;
}
