// What an "any" map asks of the host when it lets go of a value. This program takes the place of
// the host's conversion.
#include <memory>

#include "kvrntob/host/ntob.h"
#include "kvrntob/typedmap/make_wrapper.h"
#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace {

int conversions = 0;

}  // namespace

void ntobConvertArrayToExternalInPlace(vrArray*) { ++conversions; }

namespace kvr::test {
namespace {

using Release = LiveArraysTest;

// How often a value that leaves its map is converted back.
int conversionsOf(const OwnedArray& value) {
  const std::unique_ptr<AbstractVrWrapperDataMap> map(
      makeWrapperForKeyClass(vrDOUBLE_CLASS, vrUNKNOWN_CLASS));
  map->put(aNumber(1).get(), value.get());
  const int before = conversions;
  map->deleteDataByIndex(0);
  return conversions - before;
}

TEST_F(Release, value_that_leaves_an_any_map_is_converted_back) {
  EXPECT_EQ(conversionsOf(aText("value")), 1);
  EXPECT_EQ(conversionsOf(owned(vormel::makeOpaque("stream"))), 1);
}

TEST_F(Release, handle_that_leaves_an_any_map_is_not_converted) {
  EXPECT_EQ(conversionsOf(owned(vormel::makeOpaque("handle"))), 0);
}

}  // namespace
}  // namespace kvr::test
