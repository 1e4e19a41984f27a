#include "embedded_host/files/value_bytes.h"

#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>

#include "embedded_host/files/file_status.h"
#include "embedded_host/files/value_reader.h"
#include "embedded_host/files/value_writer.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"

namespace vormel {
namespace {

// 55799(["vormel value", 1, value, sum])
constexpr std::array<unsigned char, 17> prefix = {0xD9, 0xD9, 0xF7, 0x84, 0x6C, 'v', 'o', 'r', 'm',
                                                  'e',  'l',  ' ',  'v',  'a',  'l', 'u', 'e'};
constexpr unsigned char version = 1;
constexpr std::size_t valueOffset = prefix.size() + 1;

// The checksum of all bytes before it: a byte string of 8 bytes, the most significant first.
constexpr unsigned char sumHead = 0x48;
constexpr std::size_t sumSize = 9;

std::array<unsigned char, sumSize> sumItem(const void* bytes, std::size_t size) {
  std::array<unsigned char, sumSize> item{sumHead};
  std::uint64_t sum = XXH3_64bits(bytes, size);
  for (std::size_t i = sumSize - 1; i > 0; --i, sum >>= 8) {
    item[i] = static_cast<unsigned char>(sum);
  }
  return item;
}

class MemorySink final : public ByteSink {
 public:
  explicit MemorySink(std::byte* to) : next_(to) {}
  void write(const void* bytes, std::size_t size) override {
    if (size > 0) std::memcpy(next_, bytes, size);
    next_ += size;
  }
  std::byte* end() const noexcept { return next_; }

 private:
  std::byte* next_;
};

class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::span<const std::byte> bytes) : ByteSource(bytes, 0) {}

 private:
  std::span<const std::byte> nextWindow() override { return {}; }
};

bool begins(std::span<const std::byte> bytes, const void* with, std::size_t size) {
  return bytes.size() >= size && std::memcmp(bytes.data(), with, size) == 0;
}

OwnedArray load(std::span<const std::byte> bytes) {
  if (!begins(bytes, prefix.data(), prefix.size()) || bytes.size() < valueOffset + sumSize) {
    throw FileFault("the bytes are not those of a value");
  }
  if (std::to_integer<unsigned char>(bytes[prefix.size()]) != version) {
    throw FileFault("the bytes are of another version");
  }
  const std::size_t size = bytes.size() - sumSize;
  const auto sum = sumItem(bytes.data(), size);
  if (!begins(bytes.subspan(size), sum.data(), sum.size())) {
    throw FileFault("the bytes have changed since they were made");
  }
  MemorySource source(bytes.subspan(valueOffset, size - valueOffset));
  return readValue(source);
}

}  // namespace

std::size_t dumpedSize(const vrArray* array) {
  try {
    return valueOffset + measureValue(array) + sumSize;
  } catch (const FileFault& fault) {
    throw HostError("NotStorable", fault.what());
  } catch (const std::bad_alloc&) {
    throw ntob::TOBOutOfMemoryException();
  }
}

void dumpValue(const vrArray* array, std::byte* to) {
  MemorySink sink(to);
  sink.write(prefix.data(), prefix.size());
  sink.write(&version, sizeof version);
  writeValue(array, sink);
  const auto sum = sumItem(to, static_cast<std::size_t>(sink.end() - to));
  sink.write(sum.data(), sum.size());
}

OwnedArray loadValue(std::span<const std::byte> bytes) {
  try {
    return load(bytes);
  } catch (const FileFault& fault) {
    throw HostError("ValueBytes", fault.what());
  } catch (const std::bad_alloc&) {
    throw ntob::TOBOutOfMemoryException();
  }
}

}  // namespace vormel
