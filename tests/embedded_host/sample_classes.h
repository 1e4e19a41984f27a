// A small set of packages and classes that shows the host every kind of descriptor.
//
//   Sample                 package
//   Sample.tools           package
//   Sample.tools.Box       keeps arrays; its methods try every kind of cell
//   Sample.tools.Other     a second class, without constructor
//   Sample.tools.Exhausted has no native instance to give
//   Sample.tools.Partial   loadMethods throws TOBOutOfMemoryException after one method
//
// Null packages, classes and methods are registered in between.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kvrntob/host/ntob.h"

namespace sample {

inline constexpr const char* kBox = "Sample.tools.Box";

// What happened to the classes since the program started.
struct Log {
  int packageLoads = 0;
  int methodLoads = 0;  // of Box
  int partialLoads = 0;
  int created = 0;    // native instances of Box
  int destroyed = 0;  // the same
  int bodies = 0;     // bodies of Box that were run

  // What the body of "record" was handed.
  std::int32_t inputCount = 0;
  std::vector<std::int64_t> words;
  std::string text;
};
Log& log();

// Registers the package Sample.
void registerPackages();

}  // namespace sample
