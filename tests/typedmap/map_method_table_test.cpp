// The registrations of Dravik.kvr.Map, typed by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "embedded_host/objects/records.h"
#include "kvrntob/typedmap/map_class.h"
#include "tests/typedmap/map_fixture.h"

namespace kvr::test {
namespace {

struct Row {
  const char* name;
  std::vector<std::string> inputs;
  std::vector<std::string> outputs;
};

const std::vector<Row>& table() {
  static const std::vector<Row> rows = {
      {"Map", {"any", "any"}, {"Dravik.kvr.Map"}},
      {"insert", {"Dravik.kvr.Map", "any", "any"}, {}},
      {"getDataByKey", {"Dravik.kvr.Map", "any"}, {"any"}},
      {"getDataByIndex", {"Dravik.kvr.Map", "int32 scalar"}, {"any"}},
      {"deleteDataByKey", {"Dravik.kvr.Map", "any"}, {}},
      {"deleteDataByIndex", {"Dravik.kvr.Map", "int32 scalar"}, {}},
      {"getCount", {"Dravik.kvr.Map"}, {"int32 scalar"}},
      {"isKey", {"Dravik.kvr.Map", "any"}, {"logical scalar"}},
      {"getKeyByIndex", {"Dravik.kvr.Map", "int32 scalar"}, {"any"}},
      {"getIndexByKey", {"Dravik.kvr.Map", "any"}, {"int32 scalar"}},
      {"getKeyType", {"Dravik.kvr.Map"}, {"any"}},
      {"getValueType", {"Dravik.kvr.Map"}, {"any"}},
      {"Clear", {"Dravik.kvr.Map"}, {}},
  };
  return rows;
}

std::vector<std::string> namesOf(const std::vector<vormel::SignatureType>& types) {
  std::vector<std::string> names;
  for (const auto& type : types) names.emplace_back(type.name.characters());
  return names;
}

TEST(MapMethodTable, there_are_13_registrations) { EXPECT_EQ(mapClass().methods().size(), 13); }

TEST(MapMethodTable, names_inputs_and_outputs_stand_in_order) {
  ASSERT_EQ(mapClass().methods().size(), table().size());
  for (std::size_t i = 0; i < table().size(); ++i) {
    const auto& method = *mapClass().methods()[i];
    EXPECT_STREQ(method.descriptor().getName(), table()[i].name);
    EXPECT_EQ(namesOf(method.inputs()), table()[i].inputs) << table()[i].name;
    EXPECT_EQ(namesOf(method.outputs()), table()[i].outputs) << table()[i].name;
  }
}

TEST(MapMethodTable, map_is_the_constructor) {
  ASSERT_NE(mapClass().constructor(), nullptr);
  EXPECT_EQ(mapClass().constructor()->name(), "Map");
}

TEST(MapMethodTable, the_class_reports_name_and_descriptions) {
  const ntob::TOBClassInfo& cls = mapClass().descriptor();
  EXPECT_STREQ(cls.getName(), "Map");
  EXPECT_STREQ(cls.getDescription(), "Dravik KVR Map Container");
  EXPECT_STREQ(cls.getDetailedDescription(), "Dravik KVR Map Container");
}

TEST(MapMethodTable, the_class_answers_its_flags_with_fixed_values) {
  const ntob::TOBClassInfo& cls = mapClass().descriptor();
  EXPECT_TRUE(cls.firstFlag());
  EXPECT_TRUE(cls.secondFlag());
  EXPECT_FALSE(cls.thirdFlag());
  EXPECT_FALSE(cls.fourthFlag());
  EXPECT_FALSE(cls.firstNameQuery(ntob::TOBNameID("Map")));
  EXPECT_FALSE(cls.secondNameQuery(ntob::TOBNameID("Map")));
}

TEST(MapMethodTable, the_class_follows_the_repository_in_its_package) {
  mapClass();
  const auto& classes = vormel::findPackage("Dravik.kvr")->classes();
  ASSERT_EQ(classes.size(), 2);
  EXPECT_EQ(classes[1]->name(), "Map");
}

}  // namespace
}  // namespace kvr::test
