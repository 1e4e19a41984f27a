// Maps of all 91 pairs of types under faults: each call fails at its first, its second, its third
// ... allocation, until it comes through untouched. A call that failed has left the map as it was.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "embedded_host/objects/object_record.h"
#include "tests/reliability/map_calls.h"
#include "tests/reliability/tally.h"
#include "tests/support/live_arrays.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

// Without host memory for a number there is no result, and without host memory for a typed map the
// new instance has none: neither is a failure by itself.
bool isExpected(const Attempt& attempt, Site site, const std::string& method) {
  if (attempt.failure == "out of memory") return true;
  if (!attempt.failure.empty() || site != Site::HostMemory) return false;
  return method == "Map" || (method.starts_with("get") && !attempt.hasResult);
}

// Calls with a fault at `number`; false if it came through without one.
bool failAt(const MapCall& call, const Arrays& inputs, const OwnedArray& map, const Fault& fault,
            int entries = kEntries) {
  const Arrays before = contentOf(map, entries);
  const std::size_t arrays = vormel::liveArrayCount();
  const std::size_t objects = vormel::liveObjectCount();
  const auto& method = mapMethod(call.method);
  const vrArray* handle = method.isConstructor() ? nullptr : map.get();
  const Attempt attempt = attemptCall(method, handle, inputs, fault);
  EXPECT_EQ(vormel::liveObjectCount(), objects);
  if (attempt.injected == 0) {
    EXPECT_EQ(attempt.failure, call.untouched);
    return false;
  }
  EXPECT_TRUE(isExpected(attempt, fault.site, call.method)) << attempt.failure;
  EXPECT_EQ(vormel::liveArrayCount(), arrays) << "live arrays";
  EXPECT_TRUE(areEqual(contentOf(map, entries), before)) << "the map has changed";
  return true;
}

// Calls with one fault after the other until there is none. Tallies them.
void sweep(const MapCall& call, const Pair& pair, Site site, FaultRepeat repeat, int entries) {
  SCOPED_TRACE(std::string(call.method) + ", " + pair.key.name + " to " + pair.value.name + ", " +
               std::to_string(entries) + " entries");
  const OwnedArray map = aMapOf(pair, entries);
  const Arrays inputs = call.inputs(pair);
  std::uint64_t number = 1;
  while (failAt(call, inputs, map, {site, number, repeat}, entries)) ++number;
  Tally::instance().add(site == Site::Heap ? "faults on the heap" : "faults in host memory",
                        number - 1);
}

class MapFaults : public LiveArraysTest, public ::testing::WithParamInterface<Site> {
 protected:
  // Calls the function with each pair of types and each repeat.
  template <class Visit>
  static void forEachPair(const Visit& visit) {
    kvrClass("Map").methods();
    for (const SampleType& key : kKeys)
      for (const SampleType& value : kValues)
        for (const FaultRepeat repeat : {FaultRepeat::Once, FaultRepeat::Always})
          visit(Pair{key, value}, repeat);
  }
};

TEST_P(MapFaults, every_call_that_fails_leaves_the_map_as_it_was) {
  forEachPair([](const Pair& pair, FaultRepeat repeat) {
    for (const MapCall& call : kMapCalls) sweep(call, pair, GetParam(), repeat, kEntries);
  });
}

// Tables and lists grow at different sizes.
TEST_P(MapFaults, an_insert_that_fails_leaves_a_map_of_any_size_as_it_was) {
  constexpr MapCall insert{"insert", [](const Pair& pair) { return pairOf(pair, 20, 20); }};
  forEachPair([&](const Pair& pair, FaultRepeat repeat) {
    for (int entries = 0; entries < 15; ++entries) sweep(insert, pair, GetParam(), repeat, entries);
  });
}

INSTANTIATE_TEST_SUITE_P(Memory, MapFaults, ::testing::Values(Site::HostMemory, Site::Heap),
                         [](const auto& info) {
                           return info.param == Site::Heap ? "heap" : "host_memory";
                         });

TEST(MapCalls, reach_every_method_but_clear) {
  std::set<std::string> reached{"Clear"};
  for (const MapCall& call : kMapCalls) reached.insert(call.method);
  EXPECT_EQ(reached, distinctNames(kMapRows));
}

// Clear is left out above: it asks for no memory.
TEST(MapFaultsOfClear, clear_comes_through_without_any_memory) {
  const Pair pair{kKeys[0], kValues[1]};
  for (const Site site : {Site::HostMemory, Site::Heap}) {
    const OwnedArray map = aFilledMap(pair);
    const Attempt attempt =
        attemptCall(mapMethod("Clear"), map.get(), Arrays(), {site, 1, FaultRepeat::Always});
    EXPECT_EQ(attempt.failure, "");
    EXPECT_EQ(attempt.seen, 0U);
  }
}

}  // namespace
}  // namespace kvr::test
