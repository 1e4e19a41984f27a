#include "kvrntob/store/scratch_file.h"

#include <cxxabi.h>
#include <boost/lexical_cast.hpp>
#include <cstdio>

#include "kvrntob/base/failure.h"
#include "kvrntob/base/host_arrays.h"
#include "kvrntob/host/libvf.h"

namespace kvr {

std::string scratchFileName = " ";

namespace {

std::string variableName(int32 id) { return "id" + boost::lexical_cast<std::string>(id); }

// The structure of a signal's variable, made of two properties of its timeseries. On failure the
// host frees the arrays made so far when its call ends.
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
  const OwnedArray answer = callHostFunction("tempdir", OnFailure::ReturnNull);
  const std::string directory = vrArrayToStdString(answer.get());
  if (directory.empty()) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("timeseries"));
  scratchFileName = directory + "KVR.vdf";  // the directory's name ends in a separator
  vfClose(vfOpen(scratchFileName.c_str(), "w7.3"));
}

// The exception that ends a thread has no object, so that its catch by reference would trip the
// sanitizer's null check.
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
    throw;  // the thread is being ended; the write has not failed
  } catch (...) {
    // The module's only catch: callers of add cannot tell a bad array from an unwritable file.
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("timeseries"));
  }
}

vrArray* readScratchVariable(int32 id) {
  vfFile* file = vfOpen(scratchFileName.c_str(), "r");
  if (file == nullptr) raiseFromMessage(KVR::kvr::FILE_NOT_LOCATED());
  const OwnedArray variable(vfGetVariable(file, variableName(id).c_str()));
  if (!variable) raiseFromMessage(KVR::kvr::NON_EXISTENT("ID"));
  OwnedArray series = callHostFunction("timeseries", OnFailure::ReturnNull);
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
