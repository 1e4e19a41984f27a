// The plain numbers of a CSV file, read in one pass. What is more than that, such as quotes, words
// and dates, is left to the caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

namespace kvr::python {

// A column and what its cells have been so far. The cells are the caller's, at least as many as the
// text has lines, each either an integer or the bits of a double, as `kind` says.
struct NumberColumn {
  enum class Kind {
    kIntegers,
    kReals,
    kOther
  };

  std::int64_t* cells = nullptr;
  Kind kind = Kind::kIntegers;
};

// Reads all rows of `text` and returns their number; empty lines are skipped. Nothing if a row has
// not as many cells as there are columns, or once `isStopped`, which is asked every megabyte, says
// so.
//
// A column is of integers if all its cells are, within 64 bits; of reals if all are numbers or
// empty, which is NaN, each the double nearest to the text; else of other things, its cells
// undefined: also one that begins with integers and has one of more than 64 bits. The decimal sign
// is "." or ",". Linear in the text.
std::optional<std::size_t> readNumbers(std::string_view text, char delimiter, char decimal,
                                       std::span<NumberColumn> columns,
                                       const std::function<bool()>& isStopped);

}  // namespace kvr::python
