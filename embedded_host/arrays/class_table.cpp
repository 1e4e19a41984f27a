#include "embedded_host/arrays/class_table.h"

#include <array>

#include "embedded_host/arrays/arrays.h"

namespace vormel {
namespace {

struct ClassRow {
  const char* name;
  std::size_t elementSize;
};

// By class number.
constexpr std::array<ClassRow, 19> classes{{{"", 8},
                                            {"cell", 8},
                                            {"struct", 8},
                                            {"logical", 1},
                                            {"char", 2},
                                            {"", 8},
                                            {"double", 8},
                                            {"single", 4},
                                            {"int8", 1},
                                            {"uint8", 1},
                                            {"int16", 2},
                                            {"uint16", 2},
                                            {"int32", 4},
                                            {"uint32", 4},
                                            {"int64", 8},
                                            {"uint64", 8},
                                            {"function_handle", 8},
                                            {"", 8},
                                            {"", 8}}};

}  // namespace

std::size_t elementSize(int classID) noexcept {
  return classes[static_cast<std::size_t>(classID)].elementSize;
}

std::string_view nameOfClass(int classID) noexcept {
  return classes[static_cast<std::size_t>(classID)].name;
}

}  // namespace vormel

int vrClassIDFromClassName(const char* name) {
  if (name == nullptr || *name == '\0') return vrUNKNOWN_CLASS;
  for (std::size_t id = 0; id < vormel::classes.size(); ++id) {
    if (std::string_view(name) == vormel::classes[id].name) return static_cast<int>(id);
  }
  return vrUNKNOWN_CLASS;
}
