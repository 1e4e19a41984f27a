#include "kvrntob/exchange/scratch_file.h"

#include <cxxabi.h>
#include <boost/lexical_cast.hpp>
#include <cstdio>

#include "kvrntob/binding/failure.h"
#include "kvrntob/host/libvf.h"
#include "kvrntob/store/array_makers.h"
#include "kvrntob/store/array_owners.h"
#include "kvrntob/store/host_function.h"

namespace kvr {

std::string scratchFileName = " ";

namespace {

std::string variableName(int32 id) { return "id" + boost::lexical_cast<std::string>(id); }

// The structure of a signal's variable, made of two properties of its timeseries. What a failure
// finds made stays with the host call.
vrArray* makeVariable(const vrArray* values) {
  vrArray* time = vrGetProperty_730(values, 0, "Time");
  vrArray* data = vrGetProperty_730(values, 0, "Data");
  if (time == nullptr || data == nullptr) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("timeseries"));
  const char* const names[] = {"Time", "Data"};
  vrArray* variable = makeStructure(names);
  vrSetFieldByNumber_730(variable, 0, 0, time);
  vrSetFieldByNumber_730(variable, 0, 1, data);
  return variable;
}

}  // namespace

void createScratchFile() {
  const OwnedArray answer = callHostFunction("tempdir", FunctionFailure::GivesNull);
  const std::string directory = vrArrayToStdString(answer.get());
  if (directory.empty()) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("timeseries"));
  scratchFileName = directory + "KVR.vdf";  // no separator: the directory's name ends in one
  vfClose(vfOpen(scratchFileName.c_str(), "w7.3"));
}

// What ends a thread has no address: the sanitizer of null references is not to look at its catch.
__attribute__((no_sanitize("null"))) void writeScratchVariable(const vrArray* values, int32 id) {
  try {
    vrArray* variable = makeVariable(values);
    const std::string name = variableName(id);
    vfFile* file = vfOpen(scratchFileName.c_str(), "u");
    if (file == nullptr) raiseFromMessage(KVR::kvr::FILE_NOT_LOCATED());
    if (vfPutVariable(file, name.c_str(), variable) != 0)
      raiseFromMessage(KVR::kvr::FILE_NOT_LOCATED());
    vfClose(file);
    vrDestroyArray(variable);
  } catch (const abi::__forced_unwind&) {
    throw;  // the thread is being ended: no failure of the write
  } catch (...) {
    // The module's one catch: to a caller of add a bad array and an unwritable file look alike.
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("timeseries"));
  }
}

vrArray* readScratchVariable(int32 id) {
  vfFile* file = vfOpen(scratchFileName.c_str(), "r");
  if (file == nullptr) raiseFromMessage(KVR::kvr::FILE_NOT_LOCATED());
  const OwnedArray variable(vfGetVariable(file, variableName(id).c_str()));
  if (!variable) raiseFromMessage(KVR::kvr::NON_EXISTENT("ID"));
  OwnedArray series = callHostFunction("timeseries", FunctionFailure::GivesNull);
  const vrArray* data = vrGetField_730(variable.get(), 0, "Data");
  const vrArray* time = vrGetField_730(variable.get(), 0, "Time");
  if (data == nullptr || time == nullptr) raiseFromMessage(KVR::kvr::NON_EXISTENT("ID"));
  vrSetProperty_730(series.get(), 0, "Data", data);
  vrSetProperty_730(series.get(), 0, "Time", time);
  vfClose(file);
  return series.release();
}

void removeScratchFile() { std::remove(scratchFileName.c_str()); }

}  // namespace kvr
