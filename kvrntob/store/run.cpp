#include "kvrntob/store/run.h"

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/host_function.h"

namespace kvr {

Run makeRunRecord(const std::string& name) {
  Run run;
  run.runName = name;
  run.version = vrArrayToStdString(callHostFunction("version", FunctionFailure::Passes).get());
  run.dateCreated = vrGetScalar(callHostFunction("now", FunctionFailure::Passes).get());
  return run;
}

}  // namespace kvr
