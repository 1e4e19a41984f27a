// What an "any" map asks of the host when it lets go of a value. This program takes the place of
// the host's conversion.
#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "kvrntob/host/ntob.h"
#include "kvrntob/typedmap/abstract_wrapper.h"
#include "tests/support/array_builders.h"
#include "tests/support/left_behind.h"
#include "tests/support/live_arrays.h"

namespace {

// The numbers of the arrays that were converted back.
std::vector<double> converted;

}  // namespace

void ntobConvertArrayToExternalInPlace(vrArray* array) { converted.push_back(vrGetScalar(array)); }

namespace kvr::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Release : public LiveArraysTest {
 protected:
  Release() { converted.clear(); }

  void put(double key, const OwnedArray& value) { map->put(aNumber(key).get(), value.get()); }

  std::unique_ptr<AbstractVrWrapperDataMap> map{
      makeWrapperForKeyClass(vrDOUBLE_CLASS, vrUNKNOWN_CLASS)};
};

TEST_F(Release, value_that_is_deleted_by_index_is_converted_back) {
  put(1, aNumber(10));
  put(2, aNumber(20));
  map->deleteDataByIndex(1);
  EXPECT_THAT(converted, ElementsAre(20));
}

TEST_F(Release, value_that_is_deleted_by_key_is_converted_back) {
  put(1, aNumber(10));
  put(2, aNumber(20));
  map->deleteDataByID(aNumber(1).get());
  EXPECT_THAT(converted, ElementsAre(10));
}

TEST_F(Release, value_that_is_replaced_is_converted_back_and_the_new_one_stays) {
  put(1, aNumber(10));
  put(1, aNumber(11));
  EXPECT_THAT(converted, ElementsAre(10));
}

TEST_F(Release, values_of_a_map_that_ends_are_converted_back_in_the_order_of_their_indices) {
  for (const double key : {5, 3, 4, 1, 2}) put(key, aNumber(10 * key));
  map->deleteDataByID(aNumber(3).get());
  put(3, aNumber(31));
  converted.clear();
  map.reset();
  EXPECT_THAT(converted, ElementsAre(50, 40, 10, 20, 31));
}

TEST_F(Release, values_of_a_map_that_is_cleared_are_not_converted_back) {
  const LeftBehind value;
  put(1, aNumber(10));
  map->clear();
  map.reset();
  EXPECT_THAT(converted, IsEmpty());
  liveArrays.allow(1);
}

TEST_F(Release, opaque_value_that_is_no_handle_is_converted_back) {
  put(1, owned(vormel::makeOpaque("stream")));
  map->deleteDataByIndex(0);
  EXPECT_THAT(converted, SizeIs(1));
}

TEST_F(Release, handle_that_leaves_an_any_map_is_not_converted) {
  put(1, owned(vormel::makeOpaque("handle")));
  map->deleteDataByIndex(0);
  EXPECT_THAT(converted, IsEmpty());
}

}  // namespace
}  // namespace kvr::test
