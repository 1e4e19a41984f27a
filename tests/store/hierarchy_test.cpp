// Parents and children, root data source and instance of a signal.
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;

using HierarchyTest = StoreTest;

TEST_F(HierarchyTest, signal_without_links_is_at_the_top) {
  const int32 id = addTo(addRun());
  EXPECT_FALSE(store().hasParent(id));
  EXPECT_FALSE(store().hasChildren(id));
  EXPECT_EQ(store().childIDs(id), IDs());
  EXPECT_EQ(store().parentID(id), 0);
}

TEST_F(HierarchyTest, children_come_in_order_of_linking) {
  const int32 run = addRun();
  const int32 parent = addTo(run);
  IDs children;
  for (int i = 0; i < 3; ++i) children.push_back(add(aSignal().inRun(run).under(parent)));
  EXPECT_TRUE(store().hasChildren(parent));
  EXPECT_EQ(store().childIDs(parent), children);
}

TEST_F(HierarchyTest, hierarchy_of_an_unknown_signal_reports_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().hasParent(1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().hasChildren(1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().childIDs(1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().parentID(1); });
}

TEST_F(HierarchyTest, root_data_source_is_what_was_added) {
  const int32 id = add(aSignal().inRun(addRun()).withRootDataSource("root"));
  EXPECT_EQ(store().rootDataSource(id), "root");
}

TEST_F(HierarchyTest, root_data_source_is_not_passed_on_to_children) {
  const int32 run = addRun();
  const int32 parent = add(aSignal().inRun(run).withRootDataSource("root"));
  const int32 child = add(aSignal().inRun(run).under(parent).withRootDataSource(""));
  EXPECT_EQ(store().rootDataSource(child), "");
}

TEST_F(HierarchyTest, root_data_source_of_an_unknown_signal_reports_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().rootDataSource(0); });
}

TEST_F(HierarchyTest, instance_id_is_that_of_the_run) {
  EXPECT_EQ(store().instanceID(addTo(addRun("run", 12))), 12);
}

TEST_F(HierarchyTest, set_parent_of_unknown_signals_reports_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().setParent(1, 2); });
  EXPECT_EQ(store().signalCount(), 0);
}

}  // namespace
}  // namespace kvr::test
