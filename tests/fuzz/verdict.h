// What a fuzz target does when something does not hold: it says so and aborts, which the fuzzer and
// the replay alike take for a failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace kvr::fuzz {

[[noreturn]] inline void complain(std::string_view text) {
  std::cerr << text << std::endl;
  std::abort();
}

inline void require(bool holds, std::string_view text) {
  if (!holds) complain(text);
}

}  // namespace kvr::fuzz

// What the fuzzer calls with every input; each target defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
