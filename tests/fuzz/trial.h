// Steps taken by the system and by its models, as fuzz targets take them: whatever differs ends the
// program with the steps that led to it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/models/episode.h"

namespace kvr::fuzz {

// A call of a method of the store by object 1.
models::Step callOf(const std::string& method, std::vector<models::PlainArray> inputs);

class Trial {
 public:
  Trial();

  // Object 1, a repository, with run 1 and signal 1 in it, all of whose names are "alpha".
  void prepareStore();

  void take(const models::Step& step);

  enum class Look : bool {
    AtLeftovers,
    Everywhere
  };

  // Ends all objects and accounts for arrays, objects and files; looking everywhere, compares
  // before that everything that can be seen, which costs as much as a hundred steps. Nothing comes
  // after it.
  void finish(Look look);

  const models::World& world() const { return episode_->world(); }

 private:
  void check(const models::Difference& difference) const;

  std::size_t objectsAtStart_;
  std::optional<models::Episode> episode_;
  std::vector<models::Step> steps_;
  models::Counts counts_;
};

}  // namespace kvr::fuzz
