// Writes the module's manual, kvrntob.json, from the method tables: `kvr_manual FILE`. A build runs
// it; the module does not contain it.
//
//   {"classes": [{"name": "Dravik.kvr.Map", "methods": [{
//     "name", "family", "meaning",
//     "inputs":  [{"name", "type", "kind"}...],       as declared, the handle first
//     "results": [{"name", "type", "kind"}...],
//     "counted": whether the method refuses other numbers of inputs with INVALID_SIGNATURE,
//     "forms":   [{"inputs": [...] without the handle,
//                  "failures": [{"class", "word" or null}...] in the order of the
//                  tests}...]}...]}]}
//
// Every call may also end in what the host throws for exhausted memory or from a host function.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvrntob/base/method_rows.h"

namespace kvr::rows {
namespace {

// ---- What forms are made of ----

struct Failure {
  const char* cls;
  const char* word;  // null: the class carries none
};

// Failures by the names of their classes: one that does not exist does not compile.
#define MESSAGE(name, text) \
  constexpr Failure name() { return {#name, nullptr}; }
#define MESSAGE_WITH_WORD(name, text) \
  constexpr Failure name(const char* word) { return {#name, word}; }
#include "kvrntob/host/kvr_messages.def"

struct Form {
  std::optional<std::vector<Argument>> inputs;  // none: as declared
  std::vector<Failure> failures;
};

#define WITH(...) \
  { __VA_ARGS__ }
#define FORM(inputs, form) withInputs(inputs, form)
#define FAILS(...)                                   \
  Form {                                             \
    {}, { INVALID_OBJ() __VA_OPT__(, ) __VA_ARGS__ } \
  }
#define FAILS_IN_ORDER(...) \
  Form {                    \
    {}, { __VA_ARGS__ }     \
  }

#define RUN_AND_INDEX_FAIL NON_EXISTENT("Run ID"), NON_EXISTENT("Index")
#define UNKNOWN_RUN_OR_INDEX NOT_INTEGER_SCALAR("Index"), RUN_AND_INDEX_FAIL
#define BY_SIGNAL_OR_RUN(...)                             \
  FORM(WITH(INT32("signal")), FAILS(NON_EXISTENT("ID"))), \
      FORM(WITH(INT32("run"), INT32("index")),            \
           FAILS(RUN_AND_INDEX_FAIL __VA_OPT__(, ) __VA_ARGS__))
#define SETS(value, ...)                                                                    \
  FORM(WITH(INT32("signal"), value), FAILS(__VA_ARGS__ __VA_OPT__(, ) NON_EXISTENT("ID"))), \
      FORM(WITH(INT32("run"), ANY_INTEGER("index"), value),                                 \
           FAILS(__VA_ARGS__ __VA_OPT__(, ) UNKNOWN_RUN_OR_INDEX))
#define SETS_INDEX_FIRST(value, ...)                                                             \
  FORM(WITH(ANY_NUMBER("signal"), value), FAILS(__VA_ARGS__ __VA_OPT__(, ) NON_EXISTENT("ID"))), \
      FORM(WITH(ANY_NUMBER("run"), ANY_INTEGER("index"), value),                                 \
           FAILS(NOT_INTEGER_SCALAR("Index") __VA_OPT__(, ) __VA_ARGS__, RUN_AND_INDEX_FAIL))

#define BAD_TOLERANCE_STRUCTURE                                                              \
  NUMBER_OF_FIELDS("11"), MISSING_FIELD(), TOL_TYPE(), NOT_NUMERIC("Absolute tolerance"),    \
      NOT_NUMERIC("Relative tolerance"), NOT_NUMERIC("Start time"), NOT_NUMERIC("End time"), \
      NOT_NUMERIC("Time step"), NOT_NUMERIC("Initial absolute tolerance"),                   \
      NOT_NUMERIC("Absolute step"), NOT_NUMERIC("Initial relative tolerance"),               \
      NOT_NUMERIC("Relative step"), INPUT_MISMATCH("Character of strings")
#define BAD_SYNC_STRUCTURE \
  NUMBER_OF_FIELDS("5"), MISSING_FIELD(), SYNC_TYPE(), INVALID_SYNC(), INVALID_INTERP()

Form withInputs(std::vector<Argument> inputs, Form form) {
  form.inputs = std::move(inputs);
  return form;
}

// ---- The tables ----

struct Method {
  const char* family;
  const char* name;
  std::vector<Argument> inputs;
  std::vector<Argument> results;
  const char* meaning;
  std::vector<Form> forms;
  const char* descriptor;
};

void repeat(std::vector<Method>& methods, std::string_view descriptor) {
  const auto found = std::find_if(methods.begin(), methods.end(), [&](const Method& method) {
    return method.descriptor == descriptor;
  });
  methods.push_back(Method(*found));
}

#define METHOD(family, Class, name, inputs, outputs, meaning, ...) \
  methods.push_back(Method{#family, name, inputs, outputs, meaning, {__VA_ARGS__}, #Class});

std::vector<Method> repositoryMethods() {
  std::vector<Method> methods;
#define REPEAT(Class) repeat(methods, #Class);
#include "kvrntob/binding/methods.def"
  return methods;
}

#define METHOD(family, Class, name, inputs, outputs, meaning, ...) \
  methods.push_back(Method{#family, name, inputs, outputs, meaning, {__VA_ARGS__}, #Class});

std::vector<Method> mapMethods() {
  std::vector<Method> methods;
#include "kvrntob/typedmap/map_methods.def"
  return methods;
}

// ---- JSON ----

// Names and sentences of the tables: printable ASCII.
std::string quoted(const char* text) {
  if (text == nullptr) return "null";
  std::string json = "\"";
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c == '"' || *c == '\\') json += '\\';
    json += *c;
  }
  return json + '"';
}

template <class Items, class Write>
std::string listed(const Items& items, const char* separator, const Write& write) {
  std::string json = "[";
  for (const auto& item : items) json.append(json.size() > 1 ? separator : "").append(write(item));
  return json + ']';
}

std::string argument(const Argument& argument) {
  return "{\"name\": " + quoted(argument.name) + ", \"type\": " + quoted(argument.type) +
         ", \"kind\": " + quoted(argument.kind) + '}';
}

std::string failure(const Failure& failure) {
  return "{\"class\": " + quoted(failure.cls) + ", \"word\": " + quoted(failure.word) + '}';
}

// The declared inputs without the handle.
std::vector<Argument> withoutHandle(const std::vector<Argument>& inputs) {
  std::vector<Argument> rest;
  for (const Argument& input : inputs)
    if (std::string_view(input.kind) != "handle") rest.push_back(input);
  return rest;
}

std::string method(const Method& method) {
  const auto form = [&](const Form& form) {
    return "{\"inputs\": " +
           listed(form.inputs ? *form.inputs : withoutHandle(method.inputs), ", ", argument) +
           ",\n     \"failures\": " + listed(form.failures, ", ", failure) + '}';
  };
  return "{\"name\": " + quoted(method.name) + ", \"family\": " + quoted(method.family) +
         ",\n   \"meaning\": " + quoted(method.meaning) +
         ",\n   \"inputs\": " + listed(method.inputs, ", ", argument) +
         ",\n   \"results\": " + listed(method.results, ", ", argument) +
         ",\n   \"counted\": " + (method.forms.size() > 1 ? "true" : "false") +
         ",\n   \"forms\": " + listed(method.forms, ",\n    ", form) + '}';
}

std::string hostClass(const char* name, const std::vector<Method>& methods) {
  return "{\"name\": " + quoted(name) + ", \"methods\": " + listed(methods, ",\n  ", method) + '}';
}

}  // namespace
}  // namespace kvr::rows

int main(int argc, char** argv) {
  using namespace kvr::rows;
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " FILE\n";
    return 2;
  }
  std::ofstream file(argv[1]);
  file << "{\"classes\": [" << hostClass(REPOSITORY.type, repositoryMethods()) << ",\n"
       << hostClass(MAP.type, mapMethods()) << "]}\n";
  file.close();
  if (file) return 0;
  std::cerr << argv[1] << ": cannot be written\n";
  return 1;
}
