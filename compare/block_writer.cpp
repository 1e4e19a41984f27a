#include "compare/block_writer.h"

namespace kvr::compare {

BlockWriter::BlockWriter(InstantBlock& block, const TwoSides& sides)
    : block_(block), sides_(sides) {
  block_.count = 0;
  block_.times = block_.ownTimes.data();
  for (Places* places : {&block_.baseline, &block_.other}) {
    places->form = Places::Form::kListed;
    places->isHeld = !sides_.isLinear;
  }
}

void BlockWriter::add(double t, const Location& baseline, const Location& other) {
  if (sides_.isLinear && (baseline.isEvent() || other.isEvent())) {
    put(t, baseline, other, Edge::kLeft);
  }
  put(t, baseline, other, Edge::kRight);
}

void BlockWriter::put(double t, const Location& baseline, const Location& other, Edge edge) {
  block_.ownTimes[block_.count] = t;
  put(block_.baseline, sides_.baseline, t, baseline, edge);
  put(block_.other, sides_.other, t, other, edge);
  ++block_.count;
}

void BlockWriter::put(Places& places, const Times& times, double t, const Location& location,
                      Edge edge) {
  const std::size_t k = block_.count;
  if (!sides_.isLinear) {
    places.left[k] = location.isSample ? location.last : location.first;
  } else if (location.isSample) {
    places.left[k] = places.right[k] = edge == Edge::kLeft ? location.first : location.last;
    places.weight[k] = 0.0;
  } else {
    places.left[k] = location.first;
    places.right[k] = location.last;
    const double before = times.at(location.first);
    places.weight[k] = (t - before) / (times.at(location.last) - before);
  }
}

}  // namespace kvr::compare
