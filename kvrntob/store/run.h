// The record of a run, a named group of signals.
#pragma once

#include <string>

namespace kvr {

struct Run {
  std::string runName;       // not unique, may be empty
  std::string version;       // text of the host's version
  double dateCreated = 0.0;  // the host's "now", never interpreted here
};

// A record of this name with the host's present version and date, fetched by calling the host
// functions "version" and "now". Their failures pass.
Run makeRunRecord(const std::string& name);

}  // namespace kvr
