// Steps taken by the system and by its models, as fuzz targets take them: whatever differs ends the
// program with the steps that led to it.
#pragma once

#include <optional>
#include <vector>

#include "tests/models/episode.h"

namespace kvr::fuzz {

class Trial {
 public:
  Trial();

  void take(const models::Step& step);

  // Compares everything that can be seen, ends all objects, and accounts for arrays, objects and
  // files. Nothing comes after it.
  void finish();

  const models::World& world() const { return episode_->world(); }

 private:
  void check(const models::Difference& difference) const;

  std::size_t objectsAtStart_;
  std::optional<models::Episode> episode_;
  std::vector<models::Step> steps_;
  models::Counts counts_;
};

}  // namespace kvr::fuzz
