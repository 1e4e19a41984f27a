#include "embedded_host/messages/dispatcher.h"

#include <deque>
#include <mutex>
#include <unordered_map>

namespace vormel {
namespace {

// Handles count from 0 in the order of first use. Never destroyed: names live as long as the
// process.
struct NameTable {
  std::mutex mutex;
  std::deque<std::string> names;  // an element never moves
  std::unordered_map<std::string, int> handles;
};

NameTable& nameTable() {
  static auto* const table = new NameTable;
  return *table;
}

constinit thread_local const Vfh_Vormel_fn* innermost = nullptr;

Vdispatcher mainDispatcher;

}  // namespace

int functionHandle(const std::string& name) {
  NameTable& table = nameTable();
  const std::lock_guard lock(table.mutex);
  const auto found = table.handles.find(name);
  if (found != table.handles.end()) return found->second;
  const auto handle = static_cast<int>(table.names.size());
  table.names.push_back(name);
  table.handles.emplace(name, handle);
  return handle;
}

RunningFunction::RunningFunction(int handle) noexcept
    : scope_(mainDispatcher, handle), outer_(innermost) {
  innermost = &scope_;
}

RunningFunction::~RunningFunction() { innermost = outer_; }

}  // namespace vormel

Vdispatcher* Vdispatcher::pDMain = &vormel::mainDispatcher;

const Vfh_Vormel_fn* Vdispatcher::GetCurrentlyExecutingFunctionScope() const {
  return vormel::innermost;
}

const char* Vdispatcher::get_hfuncname(int handle) const {
  vormel::NameTable& table = vormel::nameTable();
  const std::lock_guard lock(table.mutex);
  const auto index = static_cast<std::size_t>(handle);
  return handle >= 0 && index < table.names.size() ? table.names[index].c_str() : nullptr;
}
