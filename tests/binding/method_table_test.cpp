// The registered methods against those of tests/support/method_rows.def.
#include <typeinfo>

#include "kvrntob/binding/methods.h"
#include "tests/binding/repository_test.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

constexpr const char* kRepository = "Dravik.kvr.SignalRepository";

const MethodRecord& registeredAt(std::size_t place) {
  return *repositoryClass().methods().at(place - 1);
}

std::vector<std::string> namesOf(const std::vector<vormel::SignatureType>& types) {
  std::vector<std::string> names;
  for (const vormel::SignatureType& type : types) names.emplace_back(type.name.characters());
  return names;
}

class MethodTable : public LiveArraysTest {};

// A method that the module registers and method_rows.def does not know is reported here.
TEST_F(MethodTable, every_registered_method_has_its_row_and_every_row_its_method) {
  std::vector<std::string> registered;
  for (const auto& method : repositoryClass().methods()) registered.push_back(method->name());
  std::vector<std::string> rows;
  for (const MethodRow& row : kRepositoryRows) rows.emplace_back(row.name);
  EXPECT_EQ(registered, rows) << "tests/support/method_rows.def lists what has to be registered";
}

TEST_F(MethodTable, one_name_alone_is_registered_twice) {
  EXPECT_EQ(distinctNames(kRepositoryRows).size() + 1, std::size(kRepositoryRows));
}

TEST_F(MethodTable, rows_stand_in_the_order_of_their_places) {
  for (std::size_t i = 0; i < std::size(kRepositoryRows); ++i)
    EXPECT_EQ(kRepositoryRows[i].place, i + 1) << kRepositoryRows[i].name;
}

TEST_F(MethodTable, each_place_holds_a_descriptor_of_the_methods_own_class) {
  const std::type_info* const classes[] = {
#define REPOSITORY_ROW(place, name, Class, ...) &typeid(Class),
#define MAP_ROW(...)
#include "tests/support/method_rows.def"
  };
  for (const MethodRow& row : kRepositoryRows) {
    const ntob::TOBMethodInfo& descriptor = registeredAt(row.place).descriptor();
    EXPECT_STREQ(descriptor.getName(), row.name);
    EXPECT_EQ(typeid(descriptor), *classes[row.place - 1]) << row.name;
  }
}

TEST_F(MethodTable, each_method_declares_its_inputs_in_order) {
  for (const MethodRow& row : kRepositoryRows)
    EXPECT_EQ(namesOf(registeredAt(row.place).inputs()), typeNames(row.inputs, kRepository))
        << row.name;
}

TEST_F(MethodTable, each_method_declares_its_outputs_in_order) {
  for (const MethodRow& row : kRepositoryRows)
    EXPECT_EQ(namesOf(registeredAt(row.place).outputs()), typeNames(row.outputs, kRepository))
        << row.name;
}

TEST_F(MethodTable, all_names_but_the_constructors_begin_with_a_small_letter) {
  for (const MethodRow& row : kRepositoryRows)
    EXPECT_EQ(row.name[0] >= 'a' && row.name[0] <= 'z', row.place != 1) << row.name;
}

// Registered twice, and required.
TEST_F(MethodTable, get_sync_options_stands_at_places_20_and_21_as_two_descriptors) {
  EXPECT_NE(&registeredAt(20).descriptor(), &registeredAt(21).descriptor());
  EXPECT_STREQ(registeredAt(20).descriptor().getName(), "getSyncOptions");
  EXPECT_STREQ(registeredAt(21).descriptor().getName(), "getSyncOptions");
}

TEST_F(MethodTable, look_up_of_get_sync_options_finds_the_first_registration) {
  EXPECT_EQ(repositoryClass().findMethod("getSyncOptions"), &registeredAt(20));
}

class DoubledMethod : public RepositoryTest {
 protected:
  Value callAt(std::size_t place, std::int32_t signal) {
    return vormel::Method(registeredAt(place))(repository, {signal});
  }
};

TEST_F(DoubledMethod, both_registrations_of_get_sync_options_behave_alike) {
  const std::int32_t signal = addTo(addRun());
  call("setCustomSyncMethod", {signal, "mine"});
  const Value first = callAt(20, signal);
  const Value second = callAt(21, signal);
  EXPECT_EQ(first.field("customSyncMethod").toString(), "mine");
  EXPECT_TRUE(vormel::equal(first.array(), second.array()));
  for (const std::size_t place : {20, 21})
    expectFailure("NON_EXISTENT", "ID", [&] { callAt(place, signal + 1); });
}

// A descriptor with neither name nor signature.
class Nameless final : public KVRTOBMethodInfo {
 public:
  Nameless() : KVRTOBMethodInfo(nullptr) {}
  void execute(void*, int32*, ArgumentCell*, int32, ArgumentCell*) override {}
};

TEST_F(MethodTable, descriptor_reports_null_for_a_name_and_a_signature_that_it_has_not) {
  const Nameless descriptor;
  EXPECT_EQ(descriptor.getName(), nullptr);
  EXPECT_EQ(descriptor.getSignature(), nullptr);
}

TEST_F(MethodTable, name_that_is_none_finds_nothing) {
  EXPECT_EQ(repositoryClass().findMethod("GetSignal"), nullptr);
  EXPECT_EQ(repositoryClass().findMethod(""), nullptr);
}

}  // namespace
}  // namespace kvr::test
