// The array list of a call, and what else ends with it.
#include "embedded_host/arrays/call_scope.h"

#include <stdexcept>

#include "kvrntob/host/ntob.h"
#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

using vormel::CallScope;

class CallScopeTest : public LiveArraysTest {};

TEST_F(CallScopeTest, arrays_made_in_a_call_end_with_it) {
  {
    const CallScope call;
    vrCreateDoubleScalar(1);
    vrCreateString("a longer text");
    vrDuplicateArray(vormel::makeCell(2, std::vector<std::size_t>{2, 2}.data()));
    EXPECT_EQ(liveArrays.made(), 4U);
  }
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(CallScopeTest, arrays_end_when_an_exception_ends_the_call) {
  try {
    const CallScope call;
    vrCreateDoubleScalar(1);
    throw std::runtime_error("the body fails");
  } catch (const std::runtime_error&) {
    EXPECT_EQ(liveArrays.made(), 0U);
  }
}

TEST_F(CallScopeTest, array_with_scope_0_outlives_the_call) {
  OwnedArray kept;
  {
    const CallScope call;
    kept.reset(vrCreateDoubleScalar(1));
    vrSetArrayScope(kept.get(), 1);  // changes nothing
    vrSetArrayScope(kept.get(), 0);
  }
  EXPECT_EQ(vrGetScalar(kept.get()), 1);
}

TEST_F(CallScopeTest, other_scopes_leave_the_array_on_the_list) {
  {
    const CallScope call;
    vrSetArrayScope(vrCreateDoubleScalar(1), 1);
  }
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(CallScopeTest, destroyed_arrays_leave_the_list_wherever_they_stand) {
  const CallScope call;
  vrArray* arrays[] = {vrCreateDoubleScalar(0), vrCreateDoubleScalar(1), vrCreateDoubleScalar(2)};
  for (const int i : {1, 2, 0}) vrDestroyArray(arrays[i]);
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(CallScopeTest, array_put_into_another_ends_with_that_one) {
  OwnedArray structure;
  {
    const CallScope call;
    structure = aStruct({"a"});
    vrSetFieldByNumber_730(structure.get(), 0, 0, vrCreateDoubleScalar(5));
  }
  EXPECT_EQ(vrGetScalar(vrGetField_730(structure.get(), 0, "a")), 5);
}

TEST_F(CallScopeTest, copies_for_keeping_are_on_no_list) {
  OwnedArray shared;
  OwnedArray internal;
  OwnedArray detached;
  {
    const CallScope call;
    const vrArray* array = vrCreateDoubleScalar(5);
    shared.reset(vrCreateSharedCopyNotOnArrayList(array));
    internal.reset(ntobConvertArrayToInternal(array));
    detached.reset(vormel::detachedCopy(array));
  }
  EXPECT_EQ(liveArrays.made(), 3U);
  EXPECT_EQ(vrGetScalar(shared.get()), 5);
}

TEST_F(CallScopeTest, arrays_stand_on_the_list_of_the_innermost_call) {
  const CallScope outer;
  vrCreateDoubleScalar(1);
  {
    const CallScope inner;
    vrCreateDoubleScalar(2);
    EXPECT_EQ(CallScope::current(), &inner);
  }
  EXPECT_EQ(CallScope::current(), &outer);
  EXPECT_EQ(liveArrays.made(), 1U);
}

TEST_F(CallScopeTest, array_attached_again_ends_with_the_innermost_call) {
  vrArray* array = aNumber(1).release();
  {
    const CallScope call;
    CallScope::attach(array);
    CallScope::attach(array);  // once is enough
  }
  EXPECT_EQ(liveArrays.made(), 0U);
}

TEST_F(CallScopeTest, attach_leaves_parts_of_other_arrays_alone) {
  const OwnedArray cell = aCell();
  vrArray* part = aNumber(1).release();
  vormel::setCellElement(cell.get(), 0, part);
  {
    const CallScope call;
    CallScope::attach(part);
  }
  EXPECT_EQ(vrGetScalar(vormel::cellElement(cell.get(), 0)), 1);
}

TEST_F(CallScopeTest, attach_and_detach_outside_any_call_do_nothing) {
  EXPECT_EQ(CallScope::current(), nullptr);
  const OwnedArray array = aNumber(1);
  CallScope::attach(array.get());
  CallScope::detach(array.get());
  CallScope::attach(nullptr);
  CallScope::detach(nullptr);
}

TEST_F(CallScopeTest, arrays_made_while_others_end_are_not_left_behind) {
  struct Maker final : vormel::HandleTarget {
    void retain() noexcept override {}
    void release() noexcept override { vrCreateDoubleScalar(1); }
  } maker;
  {
    const CallScope call;
    vormel::makeHandle(&maker);
  }
  EXPECT_EQ(liveArrays.made(), 0U);
}

// Notes in `log` that it was reclaimed.
class Resource final : public vormel::CallResource {
 public:
  explicit Resource(int& log) : log_(log) {}
  void reclaim() noexcept override {
    ++log_;
    delete this;
  }

 private:
  int& log_;
};

TEST_F(CallScopeTest, resource_left_behind_is_reclaimed_at_the_end_of_the_call) {
  int reclaimed = 0;
  {
    const CallScope call;
    new Resource(reclaimed);
    new Resource(reclaimed);
    EXPECT_EQ(reclaimed, 0);
  }
  EXPECT_EQ(reclaimed, 2);
}

TEST_F(CallScopeTest, resource_that_ended_before_the_call_is_not_reclaimed) {
  int reclaimed = 0;
  {
    const CallScope call;
    delete new Resource(reclaimed);
  }
  EXPECT_EQ(reclaimed, 0);
}

TEST_F(CallScopeTest, resource_made_outside_any_call_stays) {
  int reclaimed = 0;
  auto* resource = new Resource(reclaimed);
  { const CallScope call; }
  EXPECT_EQ(reclaimed, 0);
  delete resource;
}

}  // namespace
}  // namespace kvr::test
