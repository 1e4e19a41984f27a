// The live-array count, and the end of arrays, handles among them.
#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

class ArraysLifetime : public LiveArraysTest {
 protected:
  static constexpr int depth = 1'000'000;

  // Cells within cells, a number at the bottom.
  static OwnedArray aDeepCell() {
    OwnedArray array = aNumber(1);
    for (int i = 0; i < depth; ++i) {
      OwnedArray outer = aCell();
      vormel::setCellElement(outer.get(), 0, array.release());
      array = std::move(outer);
    }
    return array;
  }
};

// Counts the references to itself and runs an action when the last one goes.
struct Target final : vormel::HandleTarget {
  void retain() noexcept override { ++references; }
  void release() noexcept override {
    if (--references == 0) kept.reset();
  }
  int references = 0;
  OwnedArray kept;
};

TEST_F(ArraysLifetime, every_array_counts_while_it_is_alive) {
  OwnedArray array = aNumber(1);
  const OwnedArray copy = owned(vrCreateSharedDataCopy(array.get()));
  EXPECT_EQ(liveArrays.made(), 2U);
  array.reset();
  EXPECT_EQ(liveArrays.made(), 1U);
}

TEST_F(ArraysLifetime, parts_count_and_end_with_their_structure) {
  OwnedArray structure = aStruct({"a", "b"});
  vrSetFieldByNumber_730(structure.get(), 0, 0, aNumber(1).release());
  vrSetFieldByNumber_730(structure.get(), 0, 1, aCell({1, 2}).release());
  EXPECT_EQ(liveArrays.made(), 3U);
  structure.reset();
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(ArraysLifetime, shared_parts_end_with_the_last_copy) {
  OwnedArray cell = aCell();
  vormel::setCellElement(cell.get(), 0, aNumber(1).release());
  OwnedArray copy = owned(vrCreateSharedDataCopy(cell.get()));
  cell.reset();
  EXPECT_EQ(vrGetScalar(vormel::cellElement(copy.get(), 0)), 1);
  copy.reset();
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(ArraysLifetime, destroy_of_null_is_ignored) { vrDestroyArray(nullptr); }

TEST_F(ArraysLifetime, deeply_nested_array_ends_without_recursion) {
  OwnedArray array = aDeepCell();
  EXPECT_EQ(liveArrays.made(), depth + 1U);
  array.reset();
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(ArraysLifetime, deeply_nested_array_is_duplicated_and_compared_without_recursion) {
  const OwnedArray array = aDeepCell();
  const OwnedArray copy = owned(vrDuplicateArray(array.get()));
  EXPECT_EQ(liveArrays.made(), 2 * (depth + 1U));
  EXPECT_TRUE(vormel::equal(array.get(), copy.get()));
}

TEST_F(ArraysLifetime, handle_refers_to_its_target_until_its_last_copy_ends) {
  Target target;
  OwnedArray handle = owned(vormel::makeHandle(&target));
  OwnedArray copy = owned(vrDuplicateArray(handle.get()));
  EXPECT_EQ(vormel::handleTarget(copy.get(), 0), &target);
  EXPECT_EQ(target.references, 2);
  handle.reset();
  copy.reset();
  EXPECT_EQ(target.references, 0);
}

TEST_F(ArraysLifetime, handle_has_subclass_handle_and_one_element) {
  Target target;
  const OwnedArray handle = owned(vormel::makeHandle(&target));
  EXPECT_EQ(vrGetClassID(handle.get()), vrOPAQUE_CLASS);
  EXPECT_STREQ(vrGetSubclass(handle.get()), "handle");
  EXPECT_EQ(vormel::handleTarget(handle.get(), 1), nullptr);
}

TEST_F(ArraysLifetime, arrays_that_are_no_handles_have_no_target) {
  EXPECT_EQ(vormel::handleTarget(nullptr, 0), nullptr);
  EXPECT_EQ(vormel::handleTarget(aNumber(1).get(), 0), nullptr);
  EXPECT_EQ(vormel::handleTarget(owned(vormel::makeOpaque(nullptr)).get(), 0), nullptr);
  Target target;
  const OwnedArray handle = owned(vormel::makeHandle(&target));
  EXPECT_EQ(vormel::handleTarget(owned(vrCreateEmptyCopy(handle.get())).get(), 0), nullptr);
}

TEST_F(ArraysLifetime, chain_of_objects_that_keep_each_other_ends_without_recursion) {
  std::vector<Target> targets(300'000);
  for (std::size_t i = 1; i < targets.size(); ++i) {
    targets[i - 1].kept = owned(vormel::makeHandle(&targets[i]));
  }
  owned(vormel::makeHandle(&targets[0]));
  EXPECT_EQ(liveArrays.made(), 0U);
  EXPECT_EQ(targets.back().references, 0);
}

}  // namespace
}  // namespace kvr::test
