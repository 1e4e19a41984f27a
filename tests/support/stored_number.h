// Numbers in variable files, put and read as a call of their own.
#pragma once

#include <string>

#include "embedded_host/arrays/call_scope.h"
#include "kvrntob/host/libvf.h"
#include "tests/support/array_builders.h"

namespace kvr::test {

inline bool makeFile(const std::string& path) {
  const vormel::CallScope scope;
  vfFile* file = vfOpen(path.c_str(), "w7.3");
  return file != nullptr && vfClose(file) == 0;
}

inline bool putNumber(const std::string& path, const char* name, double value) {
  const vormel::CallScope scope;
  vfFile* file = vfOpen(path.c_str(), "u");
  if (file == nullptr) return false;
  const bool isPut = vfPutVariable(file, name, aNumber(value).get()) == 0;
  return vfClose(file) == 0 && isPut;
}

// "none" if the file or the variable is not there.
inline std::string numberAt(const std::string& path, const char* name) {
  const vormel::CallScope scope;
  vfFile* file = vfOpen(path.c_str(), "r");
  if (file == nullptr) return "none";
  const vormel::OwnedArray value(vfGetVariable(file, name));
  vfClose(file);
  return value ? std::to_string(static_cast<int>(vrGetScalar(value.get()))) : "none";
}

}  // namespace kvr::test
