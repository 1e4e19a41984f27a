// The sum that shows damage: XXH3-64. It is no protection against a forger.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vormel {

std::uint64_t sumOf(const void* bytes, std::size_t size, std::uint64_t seed = 0) noexcept;

}  // namespace vormel
