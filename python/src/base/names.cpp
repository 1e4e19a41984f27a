#include "python/src/base/names.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <unordered_map>
#include <utility>

namespace vormel::python {
namespace {

constexpr std::size_t keptNames = 4096;
constexpr std::size_t mostSuggested = 3;
constexpr std::size_t longestCompared = 64;

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// The number of letters to insert, delete or replace; upper and lower case count alike.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

// The near ones with their distances, the nearest first.
std::vector<std::pair<std::size_t, std::string>> nearNames(std::string_view name,
                                                           const std::vector<std::string>& names) {
  std::vector<std::pair<std::size_t, std::string>> near;
  for (const std::string& candidate : names) {
    const std::size_t letters = distance(name, candidate);
    const bool isNear = letters <= 1 + std::max(name.size(), candidate.size()) / 5;
    const bool isNew =
        std::find(near.begin(), near.end(), std::pair(letters, candidate)) == near.end();
    if (isNear && isNew) near.emplace_back(letters, candidate);
  }
  std::stable_sort(near.begin(), near.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  near.resize(std::min(near.size(), mostSuggested));
  return near;
}

}  // namespace

Ref newText(std::string_view utf8) {
  return checked(
      PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace"));
}

Ref nameFor(const std::string& name) {
  // Never freed: it would be too late when the interpreter has ended.
  static auto& known = *new std::unordered_map<std::string, PyObject*>();
  const auto found = known.find(name);
  if (found != known.end()) return borrow(found->second);
  Ref text = newText(name);
  if (known.size() < keptNames && known.emplace(name, text.ptr()).second) text.inc_ref();
  return text;
}

std::vector<std::string> typeNames(const std::vector<SignatureType>& types) {
  std::vector<std::string> names;
  names.reserve(types.size());
  for (const SignatureType& type : types) {
    const char* name = type.name.characters();
    names.emplace_back(name == nullptr ? "" : name);
  }
  return names;
}

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text.append(text.empty() ? "" : ", ").append(name);
  return text;
}

std::string suggestion(std::string_view name, const std::vector<std::string>& names) {
  if (name.size() > longestCompared) return "";
  const auto near = nearNames(name, names);
  std::string text;
  for (std::size_t i = 0; i < near.size(); ++i) {
    text.append(i == 0 ? "; did you mean " : i + 1 == near.size() ? " or " : ", ");
    text.append(near[i].second);
  }
  return text.empty() ? text : text + '?';
}

}  // namespace vormel::python
