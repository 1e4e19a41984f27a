// Expecting failures: class and word are compared exactly.
//
//   expectFailure("NON_EXISTENT", "Run ID", [&] { store.runName(7); });
//   expectFailure("INVALID_OBJ", [&] { resolveHandle(dead); });
//   expectHostError("ArraySize", [&] { ... });
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>

#include "embedded_host/messages/host_exception.h"

namespace kvr::test {

// Where an expectation stands. Not std::source_location, which clang 14 cannot compile.
struct Place {
  const char* file;
  int line;
  static Place ofCaller(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }
};

inline void reportAt(const Place& place, const std::string& text) {
  ADD_FAILURE_AT(place.file, place.line) << text;
}

// Expects a failure of exactly this identifier and word (none if nullopt).
template <class Action>
void expectIdentifier(const std::string& identifier, const std::optional<std::string>& word,
                      Action&& action, const Place& place) {
  const auto describe = [](const std::string& id, const std::optional<std::string>& given) {
    return id + (given ? " with \"" + *given + "\"" : " without a word");
  };
  const std::string expected = describe(identifier, word);
  try {
    std::forward<Action>(action)();
    reportAt(place, "no failure; expected " + expected);
  } catch (const vormel::HostException& failure) {
    if (failure.identifier() != identifier || failure.word() != word) {
      reportAt(place,
               "got " + describe(failure.identifier(), failure.word()) + "; expected " + expected);
    }
  } catch (const std::exception& other) {
    reportAt(place, "got " + std::string(typeid(other).name()) + ": " + other.what() +
                        "; expected " + expected);
  }
}

// A failure of the module that carries a word.
template <class Action>
void expectFailure(const std::string& failureClass, const std::string& word, Action&& action,
                   const Place& place = Place::ofCaller()) {
  expectIdentifier("KVR:kvr:" + failureClass, word, std::forward<Action>(action), place);
}

// A failure of the module that carries none.
template <class Action>
void expectFailure(const std::string& failureClass, Action&& action,
                   const Place& place = Place::ofCaller()) {
  expectIdentifier("KVR:kvr:" + failureClass, std::nullopt, std::forward<Action>(action), place);
}

// A failure of the host itself, refusals among them; `key` is what follows "Vormel:".
template <class Action>
void expectHostError(const std::string& key, Action&& action,
                     const Place& place = Place::ofCaller()) {
  expectIdentifier("Vormel:" + key, std::nullopt, std::forward<Action>(action), place);
}

}  // namespace kvr::test
