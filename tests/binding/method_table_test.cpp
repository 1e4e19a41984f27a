// The registered methods against a table of them typed by hand, not made from the module's own.
#include <set>
#include <typeinfo>

#include "kvrntob/binding/methods.h"
#include "tests/binding/repository_test.h"

namespace kvr::test {
namespace {

constexpr const char* HANDLE = "Dravik.kvr.SignalRepository";
constexpr const char* ANY = "any";
constexpr const char* INT32 = "int32 scalar";
constexpr const char* DOUBLE = "double scalar";
constexpr const char* STRING = "string";

struct Row {
  std::size_t place;
  const char* name;
  const std::type_info& descriptor;
  std::vector<std::string> inputs;
  std::vector<std::string> outputs;
};

const std::vector<Row>& table() {
  // clang-format off
  static const std::vector<Row> rows{
    {1, "SignalRepository", typeid(SignalRepositoryConstructor), {}, {HANDLE}},
    {2, "add", typeid(SignalRepositoryPutData), {HANDLE, ANY, INT32, STRING, STRING, STRING, ANY, STRING, STRING, STRING, ANY, ANY, ANY, ANY, ANY, ANY, ANY, STRING}, {INT32}},
    {3, "remove", typeid(SignalRepositoryRemove), {HANDLE, INT32}, {}},
    {4, "removeRun", typeid(SignalRepositoryRemoveRun), {HANDLE, INT32}, {}},
    {5, "getSignal", typeid(SignalRepositoryGetData), {ANY}, {ANY}},
    {6, "setAbsoluteTolerance", typeid(SignalRepositorySetAbsoluteTolerance), {HANDLE, ANY}, {}},
    {7, "setRelativeTolerance", typeid(SignalRepositorySetRelativeTolerance), {HANDLE, ANY}, {}},
    {8, "setAbsoluteToleranceByRun", typeid(SignalRepositorySetAbsoluteToleranceByRun), {HANDLE, INT32, DOUBLE}, {}},
    {9, "setRelativeToleranceByRun", typeid(SignalRepositorySetRelativeToleranceByRun), {HANDLE, INT32, DOUBLE}, {}},
    {10, "setTolerance", typeid(SignalRepositorySetTolerance), {HANDLE, ANY}, {}},
    {11, "setToleranceByRun", typeid(SignalRepositorySetToleranceByRun), {HANDLE, INT32, ANY}, {}},
    {12, "setFcnCallTol", typeid(SignalRepositorySetFcnCallTol), {HANDLE, INT32, ANY}, {}},
    {13, "setFcnCallTolByRun", typeid(SignalRepositorySetFcnCallTolByRun), {HANDLE, INT32, ANY}, {}},
    {14, "setSyncMethod", typeid(SignalRepositorySetSyncMethod), {HANDLE, INT32, ANY}, {}},
    {15, "setInterpMethod", typeid(SignalRepositorySetInterpMethod), {HANDLE, INT32, ANY}, {}},
    {16, "setSyncMethodByRun", typeid(SignalRepositorySetSyncMethodByRun), {HANDLE, INT32, STRING}, {}},
    {17, "setInterpMethodByRun", typeid(SignalRepositorySetInterpMethodByRun), {HANDLE, INT32, STRING}, {}},
    {18, "setSyncOptions", typeid(SignalRepositorySetSyncOptions), {HANDLE, INT32, ANY}, {}},
    {19, "setSyncOptionsByRun", typeid(SignalRepositorySetSyncOptionsByRun), {HANDLE, INT32, ANY}, {}},
    {20, "getSyncOptions", typeid(SignalRepositoryGetSyncOptions), {HANDLE, INT32}, {ANY}},
    {21, "getSyncOptions", typeid(SignalRepositoryGetSyncOptions), {HANDLE, INT32}, {ANY}},
    {22, "getSyncOptionsByRun", typeid(SignalRepositoryGetSyncOptionsByRun), {HANDLE, INT32}, {ANY}},
    {23, "getTolerance", typeid(SignalRepositoryGetTolerances), {HANDLE, INT32}, {ANY}},
    {24, "getToleranceByRun", typeid(SignalRepositoryGetTolerancesByRun), {HANDLE, INT32}, {ANY}},
    {25, "resetTolerance", typeid(SignalRepositoryResetTolerances), {HANDLE, INT32}, {}},
    {26, "resetSyncOptions", typeid(SignalRepositoryResetSyncOptions), {HANDLE, INT32}, {}},
    {27, "setRelStep", typeid(SignalRepositorySetRelStep), {HANDLE, INT32, ANY}, {}},
    {28, "setRelStepByRun", typeid(SignalRepositorySetRelStepByRun), {HANDLE, INT32, DOUBLE}, {}},
    {29, "setAbsStep", typeid(SignalRepositorySetAbsStep), {HANDLE, INT32, ANY}, {}},
    {30, "setAbsStepByRun", typeid(SignalRepositorySetAbsStepByRun), {HANDLE, INT32, DOUBLE}, {}},
    {31, "setTimeStart", typeid(SignalRepositorySetTimeStart), {HANDLE, INT32, ANY}, {}},
    {32, "setTimeStartByRun", typeid(SignalRepositorySetTimeStartByRun), {HANDLE, INT32, DOUBLE}, {}},
    {33, "setTimeEnd", typeid(SignalRepositorySetTimeEnd), {HANDLE, INT32, ANY}, {}},
    {34, "setTimeEndByRun", typeid(SignalRepositorySetTimeEndByRun), {HANDLE, INT32, DOUBLE}, {}},
    {35, "setTimeStep", typeid(SignalRepositorySetTimeStep), {HANDLE, INT32, ANY}, {}},
    {36, "setTimeStepByRun", typeid(SignalRepositorySetTimeStepByRun), {HANDLE, INT32, DOUBLE}, {}},
    {37, "setInitAbsTolVal", typeid(SignalRepositorySetInitAbsTolVal), {HANDLE, INT32, ANY}, {}},
    {38, "setInitAbsTolValByRun", typeid(SignalRepositorySetInitAbsTolValByRun), {HANDLE, INT32, DOUBLE}, {}},
    {39, "setInitRelTolVal", typeid(SignalRepositorySetInitRelTolVal), {HANDLE, INT32, ANY}, {}},
    {40, "setInitRelTolValByRun", typeid(SignalRepositorySetInitRelTolValByRun), {HANDLE, INT32, DOUBLE}, {}},
    {41, "clean", typeid(SignalRepositoryDestructor), {HANDLE}, {}},
    {42, "setCustomSyncMethodByRun", typeid(SignalRepositorySetCustomSyncMethodByRun), {HANDLE, INT32, STRING}, {}},
    {43, "setCustomSyncMethod", typeid(SignalRepositorySetCustomSyncMethod), {HANDLE, INT32, ANY}, {}},
    {44, "setUniformTimeIntervalByRun", typeid(SignalRepositorySetUniformTimeIntervalByRun), {HANDLE, INT32, DOUBLE}, {}},
    {45, "setUniformTimeInterval", typeid(SignalRepositorySetUniformTimeInterval), {HANDLE, INT32, ANY}, {}},
    {46, "getRunID", typeid(SignalRepositoryGetRunID), {HANDLE, ANY}, {ANY}},
    {47, "getRunName", typeid(SignalRepositoryGetRunName), {HANDLE, INT32}, {ANY}},
    {48, "setRunName", typeid(SignalRepositorySetRunName), {HANDLE, INT32, STRING}, {}},
    {49, "getRunCount", typeid(SignalRepositoryGetRunCount), {HANDLE}, {ANY}},
    {50, "getSignalCount", typeid(SignalRepositoryGetSignalCount), {ANY}, {ANY}},
    {51, "getID", typeid(SignalRepositoryGetIDByRunAndIndex), {HANDLE, INT32, INT32}, {ANY}},
    {52, "isValidRunID", typeid(SignalRepositoryIsValidRunID), {HANDLE, INT32}, {ANY}},
    {53, "isValidSignalID", typeid(SignalRepositoryIsValidSignalID), {HANDLE, INT32, INT32}, {ANY}},
    {54, "getDateCreated", typeid(SignalRepositoryGetDateCreated), {HANDLE, INT32}, {ANY}},
    {55, "getVersion", typeid(SignalRepositoryGetVersion), {HANDLE, INT32}, {ANY}},
    {56, "setVisibility", typeid(SignalRepositorySetVisible), {HANDLE, ANY}, {}},
    {57, "getVisibility", typeid(SignalRepositoryGetVisible), {HANDLE, INT32}, {ANY}},
    {58, "getSignalByRunIndex", typeid(SignalRepositoryGetDataByRunIndex), {HANDLE, INT32, INT32}, {ANY}},
    {59, "isSyncOptionsInherited", typeid(SignalRepositoryIsSyncOptionsInherited), {HANDLE, INT32}, {ANY}},
    {60, "isToleranceInherited", typeid(SignalRepositoryIsToleranceInherited), {HANDLE, INT32}, {ANY}},
    {61, "getSignalSource", typeid(SignalRepositoryGetBlkSrcByIndex), {HANDLE, INT32}, {ANY}},
    {62, "getIDFromGroup", typeid(SignalRepositoryGetSignalIdFromColumn), {HANDLE, INT32, STRING, STRING}, {INT32}},
    {63, "getGroup", typeid(SignalRepositoryGetGroup), {HANDLE, INT32, STRING, STRING}, {ANY}},
    {64, "getGroupCount", typeid(SignalRepositoryGetGroupCount), {HANDLE, STRING}, {INT32}},
    {65, "getIDCount", typeid(SignalRepositoryGetSignalIdCountFromColumn), {HANDLE, STRING, STRING}, {INT32}},
    {66, "setLineColor", typeid(SignalRepositorySetLineColor), {HANDLE, INT32, DOUBLE, DOUBLE, DOUBLE}, {}},
    {67, "setLineStyle", typeid(SignalRepositorySetLineStyle), {HANDLE, INT32, STRING}, {}},
    {68, "getNextRunID", typeid(SignalRepositoryGetNextRunID), {HANDLE}, {INT32}},
    {69, "createEmptyRun", typeid(SignalRepositoryCreateEmptyRun), {HANDLE, STRING, INT32}, {INT32}},
    {70, "updateDateCreated", typeid(SignalRepositoryUpdateDateCreated), {HANDLE, INT32}, {}},
    {71, "getAllRunIDs", typeid(SignalRepositoryGetAllRunIDs), {HANDLE, INT32}, {ANY}},
    {72, "deleteInstanceID", typeid(SignalRepositoryDeleteInstanceID), {HANDLE, INT32}, {}},
    {73, "copyRun", typeid(SignalRepositoryDeepCopyRun), {HANDLE, INT32, INT32}, {INT32}},
    {74, "writeToFile", typeid(SignalRepositoryWriteToFile), {HANDLE}, {}},
    {75, "stopWritingToFile", typeid(SignalRepositoryStopWritingToFile), {HANDLE}, {}},
    {76, "setMetaData", typeid(SignalRepositorySetMetaData), {HANDLE, ANY}, {}},
    {77, "setDateCreated", typeid(SignalRepositorySetDateCreated), {HANDLE, INT32, DOUBLE}, {}},
    {78, "getChildrenAndParent", typeid(SignalRepositoryGetChildren), {HANDLE, ANY}, {ANY, ANY, INT32}},
    {79, "getRootDataSource", typeid(SignalRepositoryGetRootDataSource), {HANDLE, INT32}, {ANY}},
    {80, "getInstanceID", typeid(SignalRepositoryGetInstanceID), {HANDLE, INT32}, {INT32}},
    {81, "setParent", typeid(SignalRepositorySetParent), {HANDLE, INT32, INT32}, {}},
    {82, "removeEmptyRun", typeid(SignalRepositoryRemoveEmptyRun), {HANDLE, INT32}, {}},
  };
  // clang-format on
  return rows;
}

const MethodRecord& registeredAt(std::size_t place) {
  return *repositoryClass().methods()[place - 1];
}

std::vector<std::string> namesOf(const std::vector<vormel::SignatureType>& types) {
  std::vector<std::string> names;
  for (const vormel::SignatureType& type : types) names.emplace_back(type.name.characters());
  return names;
}

class MethodTable : public LiveArraysTest {};

TEST_F(MethodTable, holds_82_registrations_of_81_distinct_names) {
  ASSERT_EQ(table().size(), 82U);
  ASSERT_EQ(repositoryClass().methods().size(), 82U);
  std::set<std::string> names;
  for (const auto& method : repositoryClass().methods()) names.insert(method->name());
  EXPECT_EQ(names.size(), 81U);
}

TEST_F(MethodTable, each_place_holds_the_method_of_that_name) {
  for (const Row& row : table())
    EXPECT_STREQ(registeredAt(row.place).descriptor().getName(), row.name) << row.place;
}

TEST_F(MethodTable, each_place_holds_a_descriptor_of_the_methods_own_class) {
  for (const Row& row : table()) {
    const ntob::TOBMethodInfo& descriptor = registeredAt(row.place).descriptor();
    EXPECT_EQ(typeid(descriptor), row.descriptor) << row.name;
  }
}

TEST_F(MethodTable, each_method_declares_its_inputs_in_order) {
  for (const Row& row : table())
    EXPECT_EQ(namesOf(registeredAt(row.place).inputs()), row.inputs) << row.name;
}

TEST_F(MethodTable, each_method_declares_its_outputs_in_order) {
  for (const Row& row : table())
    EXPECT_EQ(namesOf(registeredAt(row.place).outputs()), row.outputs) << row.name;
}

TEST_F(MethodTable, all_names_but_the_constructors_begin_with_a_small_letter) {
  for (const Row& row : table())
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
