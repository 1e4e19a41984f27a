#include "kvrntob/settings/sync_struct.h"

#include <array>

#include "kvrntob/base/number_reading.h"
#include "kvrntob/binding/failure.h"
#include "kvrntob/settings/structures.h"
#include "kvrntob/store/array_makers.h"
#include "kvrntob/store/keyword.h"

namespace kvr {

namespace {

using std::literals::operator""sv;

// In the order of their codes, as they are written.
constexpr std::array kSyncMethods{"union"sv, "intersection"sv, "uniform"sv};
constexpr std::array kInterpMethods{"zoh"sv, "linear"sv};

template <std::size_t N>
std::string keywordOf(int32 code, const std::array<std::string_view, N>& keywords) {
  if (code < 0 || static_cast<std::size_t>(code) >= N) return std::string();
  return std::string(keywords[static_cast<std::size_t>(code)]);
}

constexpr std::array<const char*, 5> kFieldNames{
    "SyncMethod", "InterpMethod", "UniformTimeInterval", "customSyncMethod", "syncType"};

bool hasClass(const vrArray* field, int classID) {
  return field != nullptr && vrGetClassID(field) == classID;
}

}  // namespace

int32 parseSyncMethod(std::string_view text) {
  const auto code = keywordCode(text, kSyncMethods);
  if (!code) raiseFromMessage(KVR::kvr::INVALID_SYNC());
  return *code;
}

int32 parseInterpMethod(std::string_view text) {
  const auto code = keywordCode(text, kInterpMethods);
  if (!code) raiseFromMessage(KVR::kvr::INVALID_INTERP());
  return *code;
}

SyncOptions readSyncOptionsStruct(const vrArray* array) {
  requireStructure(array);
  if (vrGetNumberOfFields(array) != static_cast<int>(kFieldNames.size()))
    raiseFromMessage(KVR::kvr::NUMBER_OF_FIELDS("5"));
  const vrArray* syncMethod = vrGetField_730(array, 0, "SyncMethod");
  const vrArray* interpMethod = vrGetField_730(array, 0, "InterpMethod");
  const vrArray* interval = vrGetField_730(array, 0, "UniformTimeInterval");
  const vrArray* customSyncMethod = vrGetField_730(array, 0, "customSyncMethod");
  const vrArray* syncType = vrGetField_730(array, 0, "syncType");
  // A field of another class counts as missing: it has no failure of its own, deliberately.
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
  vrArray* structure = makeStructure(kFieldNames);
  int field = 0;
  const auto set = [&](vrArray* value) { vrSetFieldByNumber_730(structure, 0, field++, value); };

  set(makeString(keywordOf(options.SyncMethod, kSyncMethods)));
  set(makeString(keywordOf(options.InterpMethod, kInterpMethods)));
  set(makeDouble(options.UniformTimeInterval));
  set(makeString(options.customSyncMethod));
  set(makeInt32(options.syncType));
  return structure;
}

}  // namespace kvr
