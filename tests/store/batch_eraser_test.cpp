// The two erasers on plain lists. removal_model_test.cpp shows what the store makes of them.
#include "kvrntob/store/batch_eraser.h"

#include <gtest/gtest.h>

#include <vector>

namespace kvr::test {
namespace {

using List = std::vector<int32>;

TEST(BatchEraser, erases_each_element_at_its_first_occurrence) {
  List list{4, 7, 4, 9, 7};
  BatchEraser<int32> eraser;
  eraser.add(list, 7);
  eraser.add(list, 4);
  eraser.apply();
  EXPECT_EQ(list, (List{4, 9, 7}));
}

TEST(BatchEraser, absent_element_is_ignored) {
  List list{2, 5};
  BatchEraser<int32> eraser;
  for (const int32 absent : {1, 3, 6}) eraser.add(list, absent);
  eraser.apply();
  EXPECT_EQ(list, (List{2, 5}));
}

TEST(BatchEraser, one_absent_element_is_ignored) {
  List list{2, 5};
  BatchEraser<int32> eraser;
  eraser.add(list, 3);
  eraser.apply();
  EXPECT_EQ(list, (List{2, 5}));
}

TEST(BatchEraser, one_absent_record_is_ignored) {
  std::vector<DataPtr> list;
  BatchEraser<DataPtr> eraser;
  eraser.add(list, nullptr);
  eraser.apply();
  EXPECT_TRUE(list.empty());
}

TEST(BatchEraser, repeated_request_has_no_effect) {
  List list{1, 2, 1, 3};
  BatchEraser<int32> eraser;
  eraser.add(list, 1);
  eraser.add(list, 1);
  eraser.apply();
  EXPECT_EQ(list, (List{2, 1, 3}));
}

TEST(BatchEraser, request_counts_again_after_apply) {
  List list{1, 2, 1, 3};
  BatchEraser<int32> eraser;
  for (int i = 0; i < 2; ++i) {
    eraser.add(list, 1);
    eraser.apply();
  }
  EXPECT_EQ(list, (List{2, 3}));
}

TEST(BatchEraser, nothing_is_erased_before_apply) {
  List list{1, 2};
  BatchEraser<int32> eraser;
  eraser.add(list, 1);
  EXPECT_EQ(list, (List{1, 2}));
}

TEST(BatchEraser, lists_keep_their_requests_apart) {
  List first{1, 2, 3}, second{3, 1, 2};
  BatchEraser<int32> eraser;
  eraser.add(first, 1);
  eraser.add(second, 2);
  eraser.add(first, 3);
  eraser.apply();
  EXPECT_EQ(first, List{2});
  EXPECT_EQ(second, (List{3, 1}));
}

// What is left of a list that loses the ids one by one.
List leftOneByOne(List list, const List& ids) {
  for (const int32 id : ids) eraseFirstOrLast(list, id);
  return list;
}

TEST(FirstOrLastEraser, list_is_rewritten_when_the_eraser_ends) {
  List list{1, 2, 3};
  {
    FirstOrLastEraser eraser(list);
    eraser.erase(2);
    EXPECT_EQ(list, (List{1, 2, 3}));
  }
  EXPECT_EQ(list, (List{1, 3}));
}

TEST(FirstOrLastEraser, leaves_what_erasing_one_by_one_leaves) {
  const std::vector<List> lists{{}, {1}, {1, 2, 3, 4}, {4, 2, 3, 1}, {2, 2, 1, 2}, {5, 6, 7, 5}};
  const std::vector<List> requests{{1},       {2, 1},       {9, 1, 2},
                                   {9, 8, 1}, {4, 3, 2, 1}, {9, 8, 7, 6, 5}};
  for (const List& list : lists) {
    for (const List& ids : requests) {
      List batched = list;
      {
        FirstOrLastEraser eraser(batched);
        for (const int32 id : ids) eraser.erase(id);
      }
      EXPECT_EQ(batched, leftOneByOne(list, ids))
          << ::testing::PrintToString(list) << " less " << ::testing::PrintToString(ids);
    }
  }
}

TEST(EraseFirstOrLast, absent_id_costs_the_last_entry) {
  EXPECT_EQ(leftOneByOne({1, 2, 3}, {9}), (List{1, 2}));
}

TEST(EraseFirstOrLast, empty_list_stays_empty) { EXPECT_EQ(leftOneByOne({}, {9}), List()); }

}  // namespace
}  // namespace kvr::test
