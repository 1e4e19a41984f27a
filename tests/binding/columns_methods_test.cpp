// Methods that count, list and order signals by column.
#include "tests/binding/repository_test.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

constexpr const char* kColumns[] = {"GBLOCKPATH", "GDATASOURCE", "GSIGNALNAME", "GMODEL"};

// Three signals whose strings in every column are small b, small a and capital C.
class ColumnMethods : public RepositoryTest {
 protected:
  ColumnMethods() {
    for (const char* name : {"b", "a", "C"}) addNamed(name);
  }

  int32 addNamed(const char* name) const {
    return add(aSignal().inRun(run).inBlock(name).withSource(name).withLabel(name).inModel(name));
  }
  int32 groupCount(const char* column) const { return call("getGroupCount", {column}).toInt32(); }
  int32 idCount(const char* group, const char* column) const {
    return call("getIDCount", {group, column}).toInt32();
  }
  int32 idAt(int32 index, const char* group, const char* column) const {
    return call("getIDFromGroup", {index, group, column}).toInt32();
  }
  std::string groupAt(int32 index, const char* column, const char* order) const {
    return call("getGroup", {index, column, order}).toString();
  }

  const int32 run = addRun("last");
};

// ---- getGroupCount ----

TEST_F(ColumnMethods, group_count_is_an_int32_cell) {
  for (const char* column : kColumns) EXPECT_EQ(groupCount(column), 3) << column;
  EXPECT_EQ(call("getGroupCount", {"GMODEL"}).array(), nullptr);
}

TEST_F(ColumnMethods, group_count_of_the_run_column_is_the_number_of_runs) {
  addRun();
  EXPECT_EQ(groupCount("GRUNNAME"), 2);
}

TEST_F(ColumnMethods, column_keyword_in_any_case_is_accepted) {
  for (const char* column : {"gblockpath", "GDataSource", "gSIGNALNAME", "gmodel"}) {
    EXPECT_EQ(groupCount(column), 3);
    EXPECT_EQ(idCount("a", column), 1);
    EXPECT_EQ(idAt(1, "a", column), 2);
    EXPECT_EQ(groupAt(1, column, "ASC"), "C");
  }
  EXPECT_EQ(groupCount("gRunName"), 1);
}

TEST_F(ColumnMethods, other_text_reports_column_name) {
  const UnchangedStore unchanged;
  for (const char* text : {"", "GBLOCKPATH ", " GBLOCKPATH", "BLOCKPATH", "GBLOCK", "GMODELS"}) {
    expectFailure("NON_EXISTENT", "Column name", [&] { groupCount(text); });
    expectFailure("NON_EXISTENT", "Column name", [&] { idCount("none", text); });
    expectFailure("NON_EXISTENT", "Column name", [&] { idAt(99, "none", text); });
    expectFailure("NON_EXISTENT", "Column name", [&] { groupAt(99, text, "ASC"); });
  }
}

TEST_F(ColumnMethods, columns_are_told_apart) {
  add(aSignal()
          .inRun(run)
          .inBlock("block 2")
          .withSource("source 2")
          .withLabel("label 2")
          .inModel("model 2"));
  const std::pair<const char*, const char*> groups[] = {{"GBLOCKPATH", "block 2"},
                                                        {"GDATASOURCE", "source 2"},
                                                        {"GSIGNALNAME", "label 2"},
                                                        {"GMODEL", "model 2"}};
  for (const auto& [column, group] : groups) {
    EXPECT_EQ(groupAt(4, column, "ASC"), group);
    EXPECT_EQ(idAt(1, group, column), 4);
  }
}

// ---- getIDCount, getIDFromGroup ----

TEST_F(ColumnMethods, ids_of_a_group_are_counted_and_listed_in_order_of_adding) {
  const int32 later = addNamed("a");
  for (const char* column : kColumns) {
    EXPECT_EQ(idCount("a", column), 2);
    EXPECT_EQ(idAt(1, "a", column), 2);
    EXPECT_EQ(idAt(2, "a", column), later);
  }
}

TEST_F(ColumnMethods, run_column_has_no_ids_by_group) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "Column name", [&] { idCount("last", "GRUNNAME"); });
  expectFailure("NON_EXISTENT", "Column name", [&] { idAt(1, "last", "GRUNNAME"); });
}

// The two words differ in one letter.
TEST_F(ColumnMethods, unknown_group_is_reported_in_two_spellings) {
  const UnchangedStore unchanged;
  for (const char* column : kColumns)
    for (const char* group : {"A", "a ", "", "none"}) {
      expectFailure("NON_EXISTENT", "group name", [&] { idCount(group, column); });
      expectFailure("NON_EXISTENT", "Group name", [&] { idAt(99, group, column); });
    }
}

TEST_F(ColumnMethods, index_outside_a_group_reports_index_out_of_bounds) {
  const UnchangedStore unchanged;
  for (const int32 index : {0, -1, 2, INT32_MAX, INT32_MIN})
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { idAt(index, "a", "GMODEL"); });
}

TEST_F(ColumnMethods, emptied_group_stays_and_has_no_ids) {
  call("remove", {2});
  EXPECT_EQ(groupCount("GMODEL"), 3);
  EXPECT_EQ(idCount("a", "GMODEL"), 0);
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { idAt(1, "a", "GMODEL"); });
  EXPECT_EQ(groupAt(2, "GMODEL", "ASC"), "a");
}

// Removal takes the id out under another string than adding put it in.
TEST_F(ColumnMethods, removed_signal_stays_in_its_data_source_group_if_its_root_source_differs) {
  const int32 id = add(aSignal().inRun(run).withSource("source").withRootDataSource("root"));
  expectFailure("NON_EXISTENT", "group name", [&] { idCount("root", "GDATASOURCE"); });
  call("remove", {id});
  EXPECT_EQ(idCount("source", "GDATASOURCE"), 1);
  EXPECT_EQ(idAt(1, "source", "GDATASOURCE"), id);
  EXPECT_EQ(idCount("root", "GDATASOURCE"), 0);
  EXPECT_EQ(groupCount("GDATASOURCE"), 4);
}

TEST_F(ColumnMethods, empty_store_has_no_groups) {
  clean(repository);
  repository = construct();
  for (const char* column : kColumns) {
    EXPECT_EQ(groupCount(column), 0);
    expectFailure("NON_EXISTENT", "group name", [&] { idCount("a", column); });
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { groupAt(1, column, "ASC"); });
  }
  EXPECT_EQ(groupCount("GRUNNAME"), 0);
}

// ---- getGroup ----

TEST_F(ColumnMethods, group_names_come_in_byte_order_or_its_reverse) {
  for (const char* column : kColumns) {
    const char* const ascending[] = {"C", "a", "b"};
    for (int32 i = 1; i <= 3; ++i) {
      EXPECT_EQ(groupAt(i, column, "ASC"), ascending[i - 1]);
      EXPECT_EQ(groupAt(i, column, "DESC"), ascending[3 - i]);
    }
  }
}

TEST_F(ColumnMethods, group_name_is_a_character_row_and_the_empty_one_0_by_0) {
  expectArray(call("getGroup", {1, "GMODEL", "ASC"}), vrCHAR_CLASS, {1, 1});
  addNamed("");
  expectArray(call("getGroup", {1, "GMODEL", "ASC"}), vrCHAR_CLASS, {0, 0});
  EXPECT_EQ(groupAt(4, "GMODEL", "DESC"), "");
}

TEST_F(ColumnMethods, order_keyword_in_any_case_is_accepted) {
  for (const char* order : {"asc", "Asc", "ASC"}) EXPECT_EQ(groupAt(1, "GMODEL", order), "C");
  for (const char* order : {"desc", "dESC", "DESC"}) EXPECT_EQ(groupAt(1, "GMODEL", order), "b");
}

TEST_F(ColumnMethods, bad_order_is_reported_ahead_of_column_and_index) {
  const UnchangedStore unchanged;
  for (const char* order : {"", "ASC ", "ascending", "A", "UP"}) {
    expectFailure("INVALID_ORDER", [&] { groupAt(99, "none", order); });
    expectFailure("INVALID_ORDER", [&] { groupAt(1, "GRUNNAME", order); });
    expectFailure("INVALID_ORDER", [&] { groupAt(1, "GMODEL", order); });
  }
}

TEST_F(ColumnMethods, index_outside_the_groups_reports_index_out_of_bounds_and_sorts_nothing) {
  const UnchangedStore unchanged;
  for (const char* column : kColumns)
    for (const int32 index : {0, -1, 4, INT32_MAX, INT32_MIN})
      expectFailure("INDEX_OUT_OF_BOUNDS", [&] { groupAt(index, column, "ASC"); });
  EXPECT_EQ(call("getSignalSource", {1}).toString(), "b");
}

TEST_F(ColumnMethods, sorting_of_block_paths_outlives_the_call) {
  groupAt(2, "GBLOCKPATH", "DESC");
  EXPECT_EQ(call("getSignalSource", {1}).toString(), "b");
  EXPECT_EQ(call("getSignalSource", {3}).toString(), "C");
  addNamed("B");
  EXPECT_EQ(call("getSignalSource", {4}).toString(), "B");
  EXPECT_EQ(groupAt(1, "GBLOCKPATH", "ASC"), "B");
  EXPECT_EQ(call("getSignalSource", {1}).toString(), "B");
}

TEST_F(ColumnMethods, run_names_come_in_order_of_creation_whatever_the_order) {
  addRun("first");
  for (const char* order : {"ASC", "DESC"}) {
    EXPECT_EQ(groupAt(1, "GRUNNAME", order), "last");
    EXPECT_EQ(groupAt(2, "GRUNNAME", order), "first");
    for (const int32 index : {0, -1, 3})
      expectFailure("INDEX_OUT_OF_BOUNDS", [&] { groupAt(index, "GRUNNAME", order); });
  }
}

TEST_F(ColumnMethods, output_count_is_left_alone_and_surplus_inputs_are_not_looked_at) {
  for (const int count : {0, 1, 3}) {
    EXPECT_EQ(invoke("getGroupCount", count, {"GMODEL", "more"}).count, count);
    EXPECT_EQ(invoke("getIDCount", count, {"a", "GMODEL", "more"}).count, count);
    EXPECT_EQ(invoke("getIDFromGroup", count, {1, "a", "GMODEL", "more"}).count, count);
    EXPECT_EQ(invoke("getGroup", count, {1, "GMODEL", "ASC", "more"}).count, count);
    EXPECT_EQ(invoke("getGroupCount", count, {"GMODEL"}).cells.at(0).toInt32(), 3);
  }
}

}  // namespace
}  // namespace kvr::test
