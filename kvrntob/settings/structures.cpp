#include "kvrntob/settings/structures.h"

#include <array>

#include "kvrntob/base/failure.h"
#include "kvrntob/base/host_arrays.h"
#include "kvrntob/base/number_reading.h"

namespace kvr {

namespace {

// Fails with INPUT_MISMATCH("struct") unless the array is a structure or value object array with at
// least one element.
void requireStructure(const vrArray* array) {
  const int classID = vrGetClassID(array);
  if ((classID != vrSTRUCT_CLASS && classID != vrOBJECT_CLASS) || vrIsEmpty(array))
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("struct"));
}

}  // namespace

// ---- Tolerances ----

namespace {

struct NumberField {
  const char* name;
  double ToleranceSettings::*member;
  const char* word;  // of its failure; the setters of single fields use other words
};

using Settings = ToleranceSettings;
constexpr std::array<NumberField, 9> numberFields{{
    {"absolute", &Settings::absolute, "Absolute tolerance"},
    {"relative", &Settings::relative, "Relative tolerance"},
    {"timeStart", &Settings::timeStart, "Start time"},
    {"timeEnd", &Settings::timeEnd, "End time"},
    {"timeStep", &Settings::timeStep, "Time step"},
    {"initAbsTolVal", &Settings::initAbsTolVal, "Initial absolute tolerance"},
    {"absStep", &Settings::absStep, "Absolute step"},
    {"initRelTolVal", &Settings::initRelTolVal, "Initial relative tolerance"},
    {"relStep", &Settings::relStep, "Relative step"},
}};

// The type, the numbers, the function call.
constexpr std::size_t toleranceFieldCount = 1 + numberFields.size() + 1;
static_assert(toleranceFieldCount == 11);

constexpr std::array<const char*, toleranceFieldCount> toleranceFieldNames = [] {
  std::array<const char*, toleranceFieldCount> names{"toleranceType"};
  for (std::size_t i = 0; i < numberFields.size(); ++i) names[1 + i] = numberFields[i].name;
  names.back() = "fcnCall";
  return names;
}();

using Fields = std::array<const vrArray*, toleranceFieldCount>;

// The fields of element 0, in the order of toleranceFieldNames. Required: the presence of
// "timeStep" is not tested here. It may be null, and then fails as a number.
Fields fetchFields(const vrArray* array) {
  Fields fields{};
  for (std::size_t i = 0; i < toleranceFieldCount; ++i)
    fields[i] = vrGetField_730(array, 0, toleranceFieldNames[i]);
  for (std::size_t i = 0; i < toleranceFieldCount; ++i)
    if (fields[i] == nullptr && std::string_view(toleranceFieldNames[i]) != "timeStep")
      raiseFromMessage(KVR::kvr::MISSING_FIELD());
  return fields;
}

bool isRealNumericScalar(const vrArray* array) {
  return array != nullptr && vrIsNumeric(array) && vrIsScalar(array) && !vrIsComplex(array);
}

int32 readType(const vrArray* field) {
  if (!isRealNumericScalar(field)) raiseFromMessage(KVR::kvr::TOL_TYPE());
  const int32 type = readTruncated(field);
  if (type < 0 || type > 2) raiseFromMessage(KVR::kvr::TOL_TYPE());
  return type;
}

double readNumber(const vrArray* field, const char* word) {
  if (!isRealNumericScalar(field)) raiseFromMessage(KVR::kvr::NOT_NUMERIC(word));
  return vrGetScalar(field);
}

std::string readFcnCall(const vrArray* field) {
  if (vrGetClassID(field) != vrCHAR_CLASS)
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("Character of strings"));
  return vrArrayToStdString(field);
}

}  // namespace

ToleranceSettings readToleranceStruct(const vrArray* array) {
  requireStructure(array);
  if (vrGetNumberOfFields(array) != static_cast<int>(toleranceFieldCount))
    raiseFromMessage(KVR::kvr::NUMBER_OF_FIELDS("11"));
  const Fields fields = fetchFields(array);
  ToleranceSettings settings;
  settings.toleranceType = readType(fields.front());
  for (std::size_t i = 0; i < numberFields.size(); ++i)
    settings.*numberFields[i].member = readNumber(fields[1 + i], numberFields[i].word);
  settings.fcnCall = readFcnCall(fields.back());
  return settings;
}

vrArray* writeToleranceStruct(const ToleranceSettings& settings) {
  vrArray* structure = makeStructure(toleranceFieldNames);
  int field = 0;
  const auto set = [&](vrArray* value) { vrSetFieldByNumber_730(structure, 0, field++, value); };

  set(makeInt32(settings.toleranceType));
  for (const NumberField& number : numberFields) set(makeDouble(settings.*number.member));
  set(makeString(settings.fcnCall));
  return structure;
}

// ---- Synchronisation options ----

namespace {

using namespace std::string_view_literals;

// In the order of their codes, as writing spells them.
constexpr std::array syncMethods{"union"sv, "intersection"sv, "uniform"sv};
constexpr std::array interpMethods{"zoh"sv, "linear"sv};

constexpr std::array<const char*, 5> syncFieldNames{
    "SyncMethod", "InterpMethod", "UniformTimeInterval", "customSyncMethod", "syncType"};

bool hasClass(const vrArray* field, int classID) {
  return field != nullptr && vrGetClassID(field) == classID;
}

}  // namespace

int32 parseSyncMethod(std::string_view text) {
  const auto code = keywordCode(text, syncMethods);
  if (!code) raiseFromMessage(KVR::kvr::INVALID_SYNC());
  return *code;
}

int32 parseInterpMethod(std::string_view text) {
  const auto code = keywordCode(text, interpMethods);
  if (!code) raiseFromMessage(KVR::kvr::INVALID_INTERP());
  return *code;
}

SyncOptions readSyncOptionsStruct(const vrArray* array) {
  requireStructure(array);
  if (vrGetNumberOfFields(array) != static_cast<int>(syncFieldNames.size()))
    raiseFromMessage(KVR::kvr::NUMBER_OF_FIELDS("5"));
  const vrArray* syncMethod = vrGetField_730(array, 0, "SyncMethod");
  const vrArray* interpMethod = vrGetField_730(array, 0, "InterpMethod");
  const vrArray* interval = vrGetField_730(array, 0, "UniformTimeInterval");
  const vrArray* customSyncMethod = vrGetField_730(array, 0, "customSyncMethod");
  const vrArray* syncType = vrGetField_730(array, 0, "syncType");
  // Required: a field of another class counts as missing. It has no failure of its own.
  if (!hasClass(syncMethod, vrCHAR_CLASS) || !hasClass(interpMethod, vrCHAR_CLASS) ||
      !hasClass(interval, vrDOUBLE_CLASS) || !hasClass(customSyncMethod, vrCHAR_CLASS) ||
      syncType == nullptr || !vrIsNumeric(syncType))
    raiseFromMessage(KVR::kvr::MISSING_FIELD());

  SyncOptions options;
  options.UniformTimeInterval = vrGetScalar(interval);
  options.customSyncMethod = vrArrayToStdString(customSyncMethod);
  options.syncType = readTruncated(syncType);
  if (options.syncType != 0 && options.syncType != 1) raiseFromMessage(KVR::kvr::SYNC_TYPE());
  options.SyncMethod = parseSyncMethod(vrArrayToStdString(syncMethod));
  options.InterpMethod = parseInterpMethod(vrArrayToStdString(interpMethod));
  return options;
}

vrArray* writeSyncOptionsStruct(const SyncOptions& options) {
  vrArray* structure = makeStructure(syncFieldNames);
  int field = 0;
  const auto set = [&](vrArray* value) { vrSetFieldByNumber_730(structure, 0, field++, value); };

  set(makeString(keywordOf(options.SyncMethod, syncMethods)));
  set(makeString(keywordOf(options.InterpMethod, interpMethods)));
  set(makeDouble(options.UniformTimeInterval));
  set(makeString(options.customSyncMethod));
  set(makeInt32(options.syncType));
  return structure;
}

}  // namespace kvr
