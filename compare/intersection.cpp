#include <algorithm>
#include <cmath>

#include "compare/block_writer.h"
#include "compare/instants.h"

namespace kvr::compare {
namespace {

class Intersection : public InstantSource {
 public:
  explicit Intersection(const TwoSides& sides)
      : sides_(sides), baseline_(sides.baseline, 0), other_(sides.other, 0) {}

  bool next(InstantBlock& block) override {
    BlockWriter writer(block, sides_);
    std::size_t unpolled = 0;
    while (writer.hasRoom() && !baseline_.atEnd() && !other_.atEnd()) {
      if (++unpolled % kBlock == 0) pollStop(sides_.options);
      step(writer);
    }
    return block.count > 0;
  }

 private:
  // Pairs the two times at hand, or passes the earlier one.
  void step(BlockWriter& writer) {
    const double f = baseline_.time();
    const double g = other_.time();
    if (std::abs(f - g) <= sides_.options.timeTolerance) {
      const Location baseline = baseline_.passTo(f);
      writer.add(f, baseline, other_.passTo(g));
    } else if (f < g) {
      baseline_.passTo(f);
    } else {
      other_.passTo(g);
    }
  }

  TwoSides sides_;
  Walker baseline_;
  Walker other_;
};

}  // namespace

std::unique_ptr<InstantSource> intersectionOf(const TwoSides& sides) {
  return std::make_unique<Intersection>(sides);
}

}  // namespace kvr::compare
