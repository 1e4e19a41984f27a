#include "embedded_host/files/value_format.h"

namespace vormel {
namespace {

struct Sequence {
  std::size_t length;  // 0 for a byte that begins none
  unsigned char lowestSecond;
  unsigned char highestSecond;
};

// By first byte, as the table of well-formed sequences in the Unicode standard has them.
Sequence sequenceAfter(unsigned char first) noexcept {
  if (first < 0x80) return {1, 0, 0};
  if (first < 0xC2) return {0, 0, 0};
  if (first < 0xE0) return {2, 0x80, 0xBF};
  if (first == 0xE0) return {3, 0xA0, 0xBF};
  if (first == 0xED) return {3, 0x80, 0x9F};  // no surrogates
  if (first < 0xF0) return {3, 0x80, 0xBF};
  if (first == 0xF0) return {4, 0x90, 0xBF};
  if (first < 0xF4) return {4, 0x80, 0xBF};
  if (first == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace

bool holdsTruths(const vrArray* array) noexcept {
  const auto* bytes = static_cast<const unsigned char*>(vrGetData(array));
  unsigned all = 0;
  for (std::size_t i = vrGetNumberOfElements(array); i > 0; --i) all |= bytes[i - 1];
  return all <= 1;
}

bool isUtf8(std::string_view text) noexcept {
  const auto byteAt = [&](std::size_t place) { return static_cast<unsigned char>(text[place]); };
  for (std::size_t i = 0; i < text.size();) {
    const Sequence sequence = sequenceAfter(byteAt(i));
    if (sequence.length == 0 || sequence.length > text.size() - i) return false;
    for (std::size_t k = 1; k < sequence.length; ++k) {
      const unsigned char lowest = k == 1 ? sequence.lowestSecond : 0x80;
      const unsigned char highest = k == 1 ? sequence.highestSecond : 0xBF;
      if (byteAt(i + k) < lowest || byteAt(i + k) > highest) return false;
    }
    i += sequence.length;
  }
  return true;
}

}  // namespace vormel
