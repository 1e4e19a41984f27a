// Judges the values at the instants, chunk by chunk.
#pragma once

#include <cstddef>
#include <cstdint>

#include "compare/buffer.h"
#include "compare/second_look.h"
#include "compare/summary.h"
#include "compare/tolerance_rule.h"
#include "compare/values.h"

namespace kvr::compare {

class Judge {
 public:
  // `aligned` gets the values too, unless it is null.
  Judge(const ToleranceRule& rule, bool isComplex, SecondLook& secondLook, Summary& summary,
        Aligned* aligned);

  // Chunks come in order. `given`: the tolerance function's result, one number a value, or null.
  void judge(const Chunk& chunk, const double* given);

  // Whether the steps of group 1 led to an invalid tolerance. Nothing is judged from there on.
  bool hasBadTolerance() const { return hasBadTolerance_; }

 private:
  // Instants of a chunk, from `begin` up to but not including `end`.
  struct Range {
    std::size_t begin, end;
  };

  bool isPlain(const Chunk& chunk, const double* given);
  Range judgedInstants(const Chunk& chunk) const;
  void findDifferences(const Chunk& chunk, std::size_t first, std::size_t end);
  void findComplexDifferences(const Chunk& chunk, std::size_t first, std::size_t end);
  void findTolerances(const Chunk& chunk, Range range);
  bool decide(const Chunk& chunk, std::size_t value);
  void align(const Chunk& chunk, std::size_t first, std::size_t end);

  const ToleranceRule& rule_;
  bool isComplex_;
  SecondLook& secondLook_;
  Summary& summary_;
  Aligned* aligned_;
  bool hasBadTolerance_ = false;
  // Of each value of the chunk at hand.
  Buffer<double> difference_, size_, tolerance_;
  Buffer<std::uint8_t> isOut_;
};

}  // namespace kvr::compare
