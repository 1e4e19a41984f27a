// What the rows of the method tables are made of: binding/methods.def and typedmap/map_methods.def.
//
// A row declares a method once, for the descriptor that the module registers and for the manual:
//
//   METHOD(family, Class, "hostName", IN(...), OUT(...), "What it does.", form...)
//
// IN and OUT list the declared inputs and results, each a type of this file with a name. A form is
// one way to call the method, with its failures in the order in which they are tested. The module
// uses Class, name, IN and OUT alone; manual.cpp defines what the forms are made of.
#pragma once

#include <initializer_list>
#include <memory>

#include "kvrntob/host/ntob.h"

namespace kvr::rows {

// An input or result of a method.
struct Argument {
  const char* type;  // of the signature, such as "int32 scalar"
  const char* name;
  const char* kind;  // what the module takes or gives under that type, such as "text"
};

struct ArgumentType {
  const char* type;
  const char* kind;
  constexpr Argument operator()(const char* name) const { return {type, name, kind}; }
};

inline constexpr ArgumentType INT32{"int32 scalar", "int32"};
inline constexpr ArgumentType DOUBLE{"double scalar", "double"};
inline constexpr ArgumentType TRUTH{"logical scalar", "truth"};
inline constexpr ArgumentType STRING{"string", "text"};

// Declared "any". As an input: the kind that passes the method's own test.
inline constexpr ArgumentType ANY{"any", "anything"};
inline constexpr ArgumentType ANY_INTEGER{"any", "integer"};    // an integer class, one element
inline constexpr ArgumentType ANY_INTEGERS{"any", "integers"};  // an integer class, a vector
inline constexpr ArgumentType ANY_NUMBER{"any", "number"};      // a numeric class, one element
inline constexpr ArgumentType ANY_DOUBLE{"any", "double"};      // class double, one element
inline constexpr ArgumentType ANY_TRUTH{"any", "truth"};        // logical, one element
inline constexpr ArgumentType ANY_TEXT{"any", "text"};          // characters
inline constexpr ArgumentType ANY_STRUCT{"any", "structure"};   // a structure array
inline constexpr ArgumentType ANY_OBJECT{"any", "object"};      // a timeseries, or another object
// The same, or an empty array of any class, which stands for none.
inline constexpr ArgumentType OPTIONAL_NUMBER{"any", "optional number"};
inline constexpr ArgumentType OPTIONAL_INTEGER{"any", "optional integer"};
inline constexpr ArgumentType OPTIONAL_INTEGERS{"any", "optional integers"};
inline constexpr ArgumentType OPTIONAL_TEXT{"any", "optional text"};

// The handle that a method is called on, and that a constructor gives.
inline constexpr Argument REPOSITORY{"Dravik.kvr.SignalRepository", "repository", "handle"};
inline constexpr Argument MAP{"Dravik.kvr.Map", "map", "handle"};
// The handle where a class declares it "any".
inline constexpr Argument ANY_REPOSITORY{"any", "repository", "handle"};

using Arguments = std::initializer_list<Argument>;

// A new signature of these types, inputs first. What the host throws passes.
inline std::unique_ptr<ntob::TOBMethodSignature> makeSignature(Arguments inputs,
                                                               Arguments outputs) {
  std::unique_ptr<ntob::TOBMethodSignature> made(ntob::TOBMethodSignature::createMethodSignature());
  for (const Argument& input : inputs) made->addInput(ntob::TOBNameID(input.type));
  for (const Argument& output : outputs) made->addOutput(ntob::TOBNameID(output.type));
  return made;
}

}  // namespace kvr::rows

// The lists of a row.
#define IN(...) \
  { __VA_ARGS__ }
#define OUT(...) \
  { __VA_ARGS__ }
