// The registrations of Dravik.kvr.Map against those of tests/support/method_rows.def.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "embedded_host/objects/records.h"
#include "kvrntob/typedmap/map_class.h"
#include "tests/support/method_rows.h"
#include "tests/typedmap/map_fixture.h"

namespace kvr::test {
namespace {

std::vector<std::string> namesOf(const std::vector<vormel::SignatureType>& types) {
  std::vector<std::string> names;
  for (const auto& type : types) names.emplace_back(type.name.characters());
  return names;
}

TEST(MapMethodTable, every_registered_method_has_its_row_and_every_row_its_method) {
  std::vector<std::string> registered;
  for (const auto& method : mapClass().methods()) registered.push_back(method->name());
  std::vector<std::string> rows;
  for (const MethodRow& row : kMapRows) rows.emplace_back(row.name);
  EXPECT_EQ(registered, rows) << "tests/support/method_rows.def lists what has to be registered";
}

TEST(MapMethodTable, names_inputs_and_outputs_stand_in_order) {
  for (const MethodRow& row : kMapRows) {
    const auto& method = *mapClass().methods().at(row.place - 1);
    EXPECT_STREQ(method.descriptor().getName(), row.name);
    EXPECT_EQ(namesOf(method.inputs()), typeNames(row.inputs, "Dravik.kvr.Map")) << row.name;
    EXPECT_EQ(namesOf(method.outputs()), typeNames(row.outputs, "Dravik.kvr.Map")) << row.name;
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
