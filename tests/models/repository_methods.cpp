// The repository's methods and what the model does for each.
#include "tests/models/forms.h"

namespace kvr::models {

const std::vector<Signature>& repositoryMethods() {
  static const std::vector<Signature> rows = {
#define REPOSITORY_ROW(place, name, Class, inputs, outputs, ...) \
  {#name, inputs, outputs, bodies::name},
#define MAP_ROW(...)
#include "tests/support/method_rows.def"
  };
  return rows;
}

}  // namespace kvr::models
