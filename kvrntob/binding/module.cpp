#include "kvrntob/binding/module.h"

#include <string>

#include "build_info.h"
#include "kvrntob/binding/packages.h"

namespace {

// Zero-filled and never written.
const void* functionList[1] = {};

const ModuleFunctionTable functionTable{functionList, kBuildTag, kBuildTime, 0};

// Made at load like every value of the process; nothing reads them.
[[maybe_unused]] const std::string workingDirectories[] = {"CWD", "CWD", "CWD"};

}  // namespace

const char* kvrntob_version = kModuleVersion;
const char* kvrntob_build_date = kBuildDate;

void VMInitialize_kvrntob() {
  ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);  // null when memory is exhausted
}

void VMTerminate_kvrntob() {}

const ModuleFunctionTable* QueryVMFcnTable_kvrntob() { return &functionTable; }

const void* QueryVMFcns_kvrntob() { return functionList; }
