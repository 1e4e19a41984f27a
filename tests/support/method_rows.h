// The rows of method_rows.def as data.
#pragma once

#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kvr::test {

enum class HandleTest {
  First,
  Later,
  Unneeded
};

struct MethodRow {
  std::size_t place;
  const char* name;
  std::string_view inputs;
  std::string_view outputs;
  std::string_view counts;
  HandleTest handle;

  bool accepts(std::size_t inputCount) const {
    return counts.empty() ||
           (inputCount < 10 && counts.find(static_cast<char>('0' + inputCount)) != counts.npos);
  }
};

inline constexpr MethodRow kRepositoryRows[] = {
#define REPOSITORY_ROW(place, name, Class, inputs, outputs, counts, handle) \
  {place, #name, inputs, outputs, counts, HandleTest::handle},
#define MAP_ROW(...)
#include "tests/support/method_rows.def"
};

inline constexpr MethodRow kMapRows[] = {
#define REPOSITORY_ROW(...)
#define MAP_ROW(place, name, Class, inputs, outputs, counts, handle) \
  {place, #name, inputs, outputs, counts, HandleTest::handle},
#include "tests/support/method_rows.def"
};

inline std::set<std::string> distinctNames(std::span<const MethodRow> rows) {
  std::set<std::string> names;
  for (const MethodRow& row : rows) names.insert(row.name);
  return names;
}

// The type names of a signature that the letters stand for; 'h' is the class's full name.
inline std::vector<std::string> typeNames(std::string_view letters, const char* className) {
  std::vector<std::string> names;
  for (const char letter : letters) {
    switch (letter) {
      case 'h':
        names.emplace_back(className);
        break;
      case 'i':
        names.emplace_back("int32 scalar");
        break;
      case 'd':
        names.emplace_back("double scalar");
        break;
      case 's':
        names.emplace_back("string");
        break;
      case 'l':
        names.emplace_back("logical scalar");
        break;
      default:
        names.emplace_back("any");
    }
  }
  return names;
}

}  // namespace kvr::test
