// Bytes to the bytes of a value: the sum, which would stop every change, is put right for each
// input. What is read gives the very same bytes when it is written. The bytes after an odd first
// byte stand for an array instead, which comes back equal.
#include <xxhash.h>

#include <cstring>
#include <vector>

#include "embedded_host/files/value_bytes.h"
#include "embedded_host/messages/host_exception.h"
#include "tests/fuzz/any_array.h"
#include "tests/fuzz/files.h"

namespace kvr::fuzz {
namespace {

using vormel::OwnedArray;
using ByteList = std::vector<std::byte>;

constexpr char kPrefix[] = "\xD9\xD9\xF7\x84\x6Cvormel value\x01";
constexpr std::size_t kPrefixSize = sizeof kPrefix - 1;
constexpr std::size_t kSumSize = 9;

ByteList dumped(const vrArray* array) {
  ByteList bytes(vormel::dumpedSize(array));
  vormel::dumpValue(array, bytes.data());
  return bytes;
}

// The value's bytes between a prefix and a sum that fits.
ByteList complete(const std::uint8_t* data, std::size_t size) {
  ByteList bytes(kPrefixSize + size + kSumSize);
  std::memcpy(bytes.data(), kPrefix, kPrefixSize);
  if (size > 0) std::memcpy(&bytes[kPrefixSize], data, size);
  bytes[kPrefixSize + size] = std::byte{0x48};
  const XXH64_hash_t sum = XXH3_64bits(bytes.data(), kPrefixSize + size);
  XXH64_canonicalFromHash(reinterpret_cast<XXH64_canonical_t*>(&bytes[kPrefixSize + size + 1]),
                          sum);
  return bytes;
}

void readAnyBytes(const std::uint8_t* data, std::size_t size) {
  const ByteList bytes = complete(data, size);
  const std::size_t before = vormel::liveArrayCount();
  try {
    const OwnedArray array = vormel::loadValue(bytes);
    require(vormel::liveArrayCount() - before <= size, "more arrays than bytes");
    require(dumped(array.get()) == bytes, "a value has two forms");
  } catch (const vormel::HostError& refusal) {
    require(refusal.identifier() == "Vormel:ValueBytes", refusal.what());
  }
}

void bringBack(Bytes& bytes) {
  const OwnedArray array = build(anyArray(bytes, 0), NoObjects());
  ByteList form;
  try {
    form = dumped(array.get());
  } catch (const vormel::HostError& refusal) {
    return require(refusal.identifier() == "Vormel:NotStorable", refusal.what());
  }
  const OwnedArray back = vormel::loadValue(form);
  require(vormel::equal(array.get(), back.get()), "an array comes back changed");
  form[bytes.number<std::uint16_t>() % form.size()] ^= std::byte{1};
  try {
    vormel::loadValue(form);
    complain("a changed byte is not noticed");
  } catch (const vormel::HostError&) {
    return;
  }
}

}  // namespace
}  // namespace kvr::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr::fuzz;
  const NothingLeft nothingLeft;
  Bytes bytes(data, size);
  if (bytes.number<std::uint8_t>() < 255) {
    readAnyBytes(data + std::min<std::size_t>(size, 1), bytes.left());
  } else {
    bringBack(bytes);
  }
  return 0;
}
