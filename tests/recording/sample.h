// A small recording with something of everything, and the whole content of a recording as a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "recording/recording.h"

namespace kvr::test {

template <class Number>
std::span<const std::byte> bytesOf(const std::vector<Number>& numbers) {
  return std::as_bytes(std::span(numbers));
}

inline std::span<const std::byte> bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

// A run of this name with a signal of `count` doubles that begin with `first`; the times are 0, 1,
// ...
void addRun(recording::Writer& writer, const std::string& name, double first, std::size_t count);

// Two runs: texts, numbers of several classes and shapes, empty ones, settings, a hierarchy.
void addSample(recording::Writer& writer);
void writeSample(const std::string& path);

// Everything that a reader gives, as lines of text. Throws as the reader does.
std::string contentOf(const std::string& path);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, std::string_view bytes);

}  // namespace kvr::test
