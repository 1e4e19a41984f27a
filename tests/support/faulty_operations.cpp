// The host operations that a program with faults has in place of the host's own: each fails if its
// turn has come, and calls the host's otherwise.
//
// The dynamic linker looks for a symbol in the program first, also where the host's library or a
// module asks for it.
#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/messages/dispatcher.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/libhu.h"
#include "kvrntob/host/libvf.h"
#include "kvrntob/host/v_interpreter.h"
#include "tests/support/faults.h"

namespace {

using kvr::test::FaultSite;
using kvr::test::isFaultDue;

// The host's own operation of the symbol.
template <class Operation>
Operation* hostsOwn(const char* symbol) {
  void* operation = dlsym(RTLD_NEXT, symbol);
  if (operation == nullptr) {
    std::fprintf(stderr, "the host has no symbol %s\n", symbol);
    std::abort();
  }
  return reinterpret_cast<Operation*>(operation);
}

bool isFileFaultDue(const char* operation) {
  if (std::exchange(kvr::test::endsThreadAtFileOperation, false)) pthread_exit(nullptr);
  return isFaultDue(FaultSite::FileOperation, operation);
}

[[noreturn]] void failAsFunction(const char* name) {
  const vormel::HostEntry entry;
  const vormel::RunningFunction running(vormel::functionHandle(name));
  throw vormel::HostError("InjectedFault",
                          std::string("The host function \"") + name + "\" fails on purpose.");
}

}  // namespace

// ---- libhu ----

void* huMalloc(std::size_t size) noexcept {
  static auto* const own = hostsOwn<void*(std::size_t)>("_Z8huMallocm");
  return isFaultDue(FaultSite::Memory, "huMalloc") ? nullptr : own(size);
}

void* huCalloc(std::size_t size, std::size_t count) noexcept {
  static auto* const own = hostsOwn<void*(std::size_t, std::size_t)>("_Z8huCallocmm");
  return isFaultDue(FaultSite::Memory, "huCalloc") ? nullptr : own(size, count);
}

// ---- libvf ----

vfFile* vfOpen(const char* path, const char* mode) {
  static auto* const own = hostsOwn<vfFile*(const char*, const char*)>("_Z6vfOpenPKcS0_");
  return isFileFaultDue("vfOpen") ? nullptr : own(path, mode);
}

int vfClose(vfFile* file) {
  static auto* const own = hostsOwn<int(vfFile*)>("_Z7vfCloseP6vfFile");
  if (file == nullptr) return own(file);
  const bool isDue = isFileFaultDue("vfClose");
  const int outcome = own(file);
  return isDue ? 1 : outcome;
}

int vfPutVariable(vfFile* file, const char* name, const vrArray* array) {
  static auto* const own =
      hostsOwn<int(vfFile*, const char*, const vrArray*)>("_Z13vfPutVariableP6vfFilePKcPK7vrArray");
  return isFileFaultDue("vfPutVariable") ? 1 : own(file, name, array);
}

vrArray* vfGetVariable(vfFile* file, const char* name) {
  static auto* const own = hostsOwn<vrArray*(vfFile*, const char*)>("_Z13vfGetVariableP6vfFilePKc");
  return isFileFaultDue("vfGetVariable") ? nullptr : own(file, name);
}

// ---- Host functions ----

int ipCallFcnWithTrap(int outputCount, vrArray** outputs, int inputCount, vrArray** inputs,
                      const char* name, int trap) {
  static auto* const own = hostsOwn<int(int, vrArray**, int, vrArray**, const char*, int)>(
      "_Z17ipCallFcnWithTrapiPP7vrArrayiS1_PKci");
  if (!isFaultDue(FaultSite::HostFunction, name)) {
    return own(outputCount, outputs, inputCount, inputs, name, trap);
  }
  std::fill_n(outputs, outputCount, nullptr);
  vormel::clearTrappedFailure();
  try {
    failAsFunction(name);
  } catch (const vormel::HostError&) {
    if (trap == 0) throw;
    vormel::setTrappedFailure(std::current_exception());
    return 1;
  }
}
