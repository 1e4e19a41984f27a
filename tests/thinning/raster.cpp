#include "tests/thinning/raster.h"

#include <algorithm>
#include <cmath>

#include "tests/thinning/plain_window.h"

namespace kvr::thinning::test {
namespace {

struct Point {
  double time = 0.0, value = 0.0;
  std::ptrdiff_t column = 0;
};

class Canvas {
 public:
  explicit Canvas(const Viewed& window) : window_(window), raster_(window.columns) {}

  Point pointAt(const Samples& samples, std::size_t index) const {
    const double time = samples.times[index];
    return {time, samples.values[index], columnOf(window_, time)};
  }

  void dot(const Point& at) { cover(at.column, at.value, at.value); }

  void straight(const Point& from, const Point& to) {
    forColumns(from, to, [&](std::ptrdiff_t column) {
      const double left = column == from.column ? from.value : heightAt(from, to, column);
      const double right = column == to.column ? to.value : heightAt(from, to, column + 1);
      // A line to an infinite value has no heights between: it covers all of them.
      const bool isWhole = std::isnan(left) || std::isnan(right);
      cover(column, isWhole ? from.value : left, isWhole ? to.value : right);
    });
  }

  void step(const Point& from, const Point& to) {
    forColumns(from, to, [&](std::ptrdiff_t column) { cover(column, from.value, from.value); });
    if (!std::isnan(to.value)) cover(to.column, from.value, to.value);
  }

  Raster take() {
    for (auto& stretches : raster_) join(stretches);
    return std::move(raster_);
  }

 private:
  template <class Function>
  void forColumns(const Point& from, const Point& to, Function function) const {
    const auto last = std::min(to.column, static_cast<std::ptrdiff_t>(window_.columns) - 1);
    for (auto column = std::max<std::ptrdiff_t>(from.column, 0); column <= last; ++column)
      function(column);
  }

  double heightAt(const Point& from, const Point& to, std::ptrdiff_t column) const {
    const double time = edgeOf(window_, static_cast<std::size_t>(column));
    return std::lerp(from.value, to.value, (time - from.time) / (to.time - from.time));
  }

  void cover(std::ptrdiff_t column, double one, double other) {
    if (column < 0 || column >= static_cast<std::ptrdiff_t>(window_.columns)) return;
    raster_[static_cast<std::size_t>(column)].emplace_back(std::min(one, other),
                                                           std::max(one, other));
  }

  static void join(std::vector<Stretch>& stretches) {
    std::sort(stretches.begin(), stretches.end());
    std::vector<Stretch> joined;
    for (const Stretch& stretch : stretches) {
      if (joined.empty() || stretch.first > joined.back().second) {
        joined.push_back(stretch);
      } else {
        joined.back().second = std::max(joined.back().second, stretch.second);
      }
    }
    stretches = std::move(joined);
  }

  const Viewed window_;
  Raster raster_;
};

}  // namespace

Raster drawn(const Samples& samples, const std::vector<std::size_t>& indices, const Viewed& window,
             Join join) {
  Canvas canvas(window);
  for (std::size_t i = 0; i < indices.size(); ++i) {
    const Point from = canvas.pointAt(samples, indices[i]);
    if (std::isnan(from.value)) continue;
    canvas.dot(from);
    if (i + 1 == indices.size()) break;
    const Point to = canvas.pointAt(samples, indices[i + 1]);
    if (join == Join::kStep) {
      canvas.step(from, to);
    } else if (!std::isnan(to.value)) {
      canvas.straight(from, to);
    }
  }
  return canvas.take();
}

}  // namespace kvr::thinning::test
