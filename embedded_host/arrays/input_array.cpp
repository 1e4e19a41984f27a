#include "embedded_host/arrays/input_array.h"

#include "embedded_host/arrays/storage.h"

namespace vormel {

vrArray* InputArray::make(int classID, std::size_t rows, std::size_t columns) {
  static_assert(sizeof(vrArray) == sizeof head_ && alignof(vrArray) == alignof(InputArray));
  auto* array = new (head_) vrArray{};
  array->pair[0] = rows;
  array->pair[1] = columns;
  array->dimensionCount = 2;
  array->classID = static_cast<std::uint8_t>(classID);
  array->isSmall = true;
  array->isPart = true;  // of the frame: neither an array list nor another array can take it
  const std::size_t size = elementSize(classID);
  const std::size_t bytes = padded(size * checkedCount(2, array->pair, size));
  if (bytes > sizeof(array->small)) {
    array->block = newUnfilledBlock(bytes);
    array->isSmall = false;
  }
  countArrays(1);
  return array;
}

void InputArray::end() noexcept {
  auto* array = std::launder(reinterpret_cast<vrArray*>(head_));
  if (!array->isSmall) releaseBlock(array->block);
  countArrays(-1);
}

}  // namespace vormel
