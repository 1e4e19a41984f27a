// What maps do when memory is exhausted, at every single allocation. A program of its own: it takes
// the place of the ordinary heap's operator new and of host memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "kvrntob/host/libhu.h"
#include "kvrntob/typedmap/abstract_wrapper.h"
#include "kvrntob/typedmap/data_map.h"
#include "kvrntob/typedmap/map_class.h"
#include "kvrntob/typedmap/map_object.h"
#include "tests/typedmap/data_map_inspector.h"
#include "tests/typedmap/map_fixture.h"

namespace {

// How many allocations succeed until one fails; those after it succeed again.
struct Budget {
  long left = -1;
  bool spend() { return left < 0 || left-- > 0; }
};
Budget heap;
Budget hostMemory;
long hostBlocks = 0;  // alive

// Makes the allocation after `allowed` ones fail, if it comes as long as this lives.
class Limit {
 public:
  Limit(Budget& budget, long allowed) : budget_(budget) { budget_.left = allowed; }
  ~Limit() { budget_.left = -1; }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;

 private:
  Budget& budget_;
};

}  // namespace

// Not inlined: g++ would see free() take what new has given.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* block = heap.spend() ? std::malloc(size) : nullptr;
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

void* huMalloc(std::size_t size) noexcept {
  void* block = hostMemory.spend() ? std::malloc(size) : nullptr;
  hostBlocks += block != nullptr ? 1 : 0;
  return block;
}
void* huCalloc(std::size_t size, std::size_t count) noexcept {
  void* block = hostMemory.spend() ? std::calloc(count, size) : nullptr;
  hostBlocks += block != nullptr ? 1 : 0;
  return block;
}
void huFree(void* block) noexcept {
  hostBlocks -= block != nullptr ? 1 : 0;
  std::free(block);
}

namespace kvr::test {
namespace {

using Texts = DataMap<std::string, std::string>;
using Inspector = DataMapInspector<std::string, std::string>;

std::string longText(int number) { return std::string(50, 'x') + std::to_string(number); }

void fill(Texts& map, int entries) {
  for (int i = 0; i < entries; ++i) map.put(longText(i), longText(-i));
}

void expectFilled(const Texts& map, int entries) {
  EXPECT_EQ(map.getCount(), entries);
  EXPECT_EQ(Inspector::brokenInvariant(map), "");
  for (int i = 0; i < entries; ++i) {
    EXPECT_EQ(map.getIDByIndex(i), longText(i));
    EXPECT_EQ(map.getDataByIndex(i), longText(-i));
  }
}

// Runs the action with the first, the second, the third ... allocation of the heap failing, until
// it comes through; `check` runs after each failure. Returns the number of failures.
int failEachAllocation(const std::function<void()>& action, const std::function<void()>& check) {
  for (int allowed = 0;; ++allowed) {
    try {
      const Limit limit(heap, allowed);
      action();
      return allowed;
    } catch (const std::bad_alloc&) {
      check();
    } catch (const ntob::TOBOutOfMemoryException&) {
      check();
    }
  }
}

TEST(ExhaustedHeap, a_put_of_a_new_key_that_fails_leaves_the_map_as_it_was) {
  for (int entries = 0; entries < 70; ++entries) {  // tables and arrays grow on the way
    Texts map;
    fill(map, entries);
    const std::string key = longText(entries);
    const std::string value = longText(-entries);
    const int failures =
        failEachAllocation([&] { map.put(key, value); }, [&] { expectFilled(map, entries); });
    EXPECT_GE(failures, 7);  // five strings and two nodes
    expectFilled(map, entries + 1);
  }
}

TEST(ExhaustedHeap, a_put_of_a_present_key_that_fails_leaves_the_old_value) {
  Texts map;
  fill(map, 3);
  map.put(longText(1), "short");
  const int failures = failEachAllocation([&] { map.put(longText(1), longText(-1)); },
                                          [&] {
                                            EXPECT_EQ(map.getDataByIndex(1), "short");
                                            EXPECT_EQ(Inspector::brokenInvariant(map), "");
                                          });
  EXPECT_GE(failures, 1);
  expectFilled(map, 3);
}

TEST(ExhaustedHeap, deleting_and_clearing_need_no_memory) {
  Texts map;
  fill(map, 20);
  const std::string key = longText(5);
  {
    const Limit limit(heap, 0);
    map.deleteDataByID(key);
    map.deleteDataByIndex(0);
    map.deleteDataByIndex(map.getCount() - 1);
    map.deleteDataByIndex(map.getCount() - 2);
  }
  EXPECT_EQ(map.getCount(), 16);
  EXPECT_EQ(Inspector::brokenInvariant(map), "");
  const Limit limit(heap, 0);
  map.clear();
}

class ExhaustedMemory : public LiveArraysTest {
 protected:
  void SetUp() override {
    mapClass().methods();
    blocksAtStart = hostBlocks;
  }
  void TearDown() override { EXPECT_EQ(hostBlocks, blocksAtStart) << "blocks of host memory"; }

  long blocksAtStart = 0;
};

TEST_F(ExhaustedMemory, an_insert_into_an_any_map_that_fails_keeps_nothing_new) {
  const OwnedArray map = anAnyMap();
  const OwnedArray row = aRow({1, 2, 3});
  insert(map, aNumber(0), row);
  const std::size_t alive = liveArrays.made();
  for (const double key : {0.0, 1.0}) {
    const OwnedArray keyArray = aNumber(key);
    failEachAllocation([&] { insert(map, keyArray, row); },
                       [&] {
                         EXPECT_EQ(liveArrays.made(), alive + 1);
                         EXPECT_EQ(countOf(map), 1);
                       });
  }
  EXPECT_EQ(countOf(map), 2);
  EXPECT_EQ(liveArrays.made(), alive + 1);
}

TEST_F(ExhaustedMemory, a_constructor_that_fails_leaves_the_map_that_was_there) {
  const OwnedArray map = aNumberMap();
  insert(map, aNumber(1), aNumber(2));
  const OwnedArray sample = aTruth(true);
  const int failures = failEachAllocation([&] { construct(map, sample, sample); },
                                          [&] { EXPECT_EQ(countOf(map), 1); });
  EXPECT_GE(failures, 1);
  EXPECT_EQ(typesOf(map), "double/logical");
}

TEST_F(ExhaustedMemory, an_instance_without_native_object_does_not_come_into_being) {
  const Limit limit(hostMemory, 0);
  EXPECT_THROW(anInstance(), ntob::TOBOutOfMemoryException);
}

TEST_F(ExhaustedMemory, a_native_object_whose_heap_is_exhausted_gives_its_memory_back) {
  const int failures = failEachAllocation(
      [] { delete static_cast<DataMapWrapper*>(mapClass().descriptor().createNativeInstance()); },
      [&] { EXPECT_EQ(hostBlocks, blocksAtStart); });
  EXPECT_GE(failures, 1);
}

OwnedArray anInstanceWithoutMap() {
  const Limit limit(hostMemory, 1);  // the native object, but not its map
  return anInstance();
}

TEST_F(ExhaustedMemory, an_instance_without_map_reports_exhausted_memory_from_every_method) {
  const OwnedArray map = anInstanceWithoutMap();
  const OwnedArray key = aText("k");
  for (const auto& method : mapClass().methods()) {
    if (method->isConstructor()) continue;
    const auto call = [&] { execute(method->name(), 1, {cell(map), cell(key), cell(key)}); };
    EXPECT_THROW(call(), ntob::TOBOutOfMemoryException) << method->name();
  }
}

TEST_F(ExhaustedMemory, an_instance_without_map_can_still_be_constructed) {
  const OwnedArray map = anInstanceWithoutMap();
  construct(map, aNumber(1), aNumber(1));
  EXPECT_EQ(typesOf(map), "double/double");
}

TEST_F(ExhaustedMemory, a_constructor_without_host_memory_leaves_an_instance_without_map) {
  const OwnedArray map = anAnyMap();
  insert(map, aNumber(1), aRow({1, 2}));
  {
    const OwnedArray sample = aNumber(1);
    const Limit limit(hostMemory, 0);
    construct(map, sample, sample);
  }
  EXPECT_EQ(liveArrays.made(), 1);  // the old map has gone, its values with it
  EXPECT_THROW(countOf(map), ntob::TOBOutOfMemoryException);
}

TEST_F(ExhaustedMemory, a_class_whose_methods_find_no_heap_keeps_those_before) {
  std::unique_ptr<vormel::ClassRecord> cls;
  const auto load = [&] {
    cls = std::make_unique<vormel::ClassRecord>("Test", std::make_unique<DataMapTOBClassInfo>());
    cls->methods();
  };
  std::size_t most = 0;
  failEachAllocation(load, [&] {
    if (cls == nullptr) return;
    ASSERT_LT(cls->methods().size(), 13U);
    for (std::size_t i = 0; i < cls->methods().size(); ++i)
      EXPECT_EQ(cls->methods()[i]->name(), mapClass().methods()[i]->name());
    most = std::max(most, cls->methods().size());
  });
  EXPECT_EQ(cls->methods().size(), 13U);
  EXPECT_EQ(most, 12U);
}

TEST_F(ExhaustedMemory, a_method_whose_descriptor_has_no_memory_is_left_out) {
  vormel::ClassRecord cls("Test", std::make_unique<DataMapTOBClassInfo>());
  const Limit limit(hostMemory, 4);
  EXPECT_EQ(cls.methods().size(), 12);
  EXPECT_EQ(cls.findMethod("deleteDataByKey"), nullptr);
}

}  // namespace
}  // namespace kvr::test
