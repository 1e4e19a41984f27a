// The real thing: takes the same steps through the host's dispatch, with methods held by place.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "embedded_host/interpreter/interpreter.h"
#include "kvrntob/store/signal_repository.h"
#include "tests/models/step.h"

namespace kvr::models {

class HostSide : public Objects {
 public:
  HostSide();
  ~HostSide() override;
  HostSide(const HostSide&) = delete;
  HostSide& operator=(const HostSide&) = delete;

  Outcome take(const Step& step);

  // The palette's position, by the attributes that two new signals get. The store is dropped after
  // it. Throws if they fit no position.
  int probePalette();

  // What the host's own function "timeseries" gives.
  PlainArray timeseries() const;

  const vrArray* handle(int object) const override;
  int numberOf(const vrArray* handle) const override;

 private:
  struct Held {
    int number;
    ClassKind cls;
    vormel::Object object;
  };

  Outcome call(const Step& step);
  const vormel::MethodRecord& method(const Step& step) const;
  void setFunction(const std::string& name, Mood mood);
  void keepStore();

  std::vector<Held> objects_;
  std::vector<std::unique_ptr<SignalRepository>> stores_;  // dropped ones live on, as handles may
  double clock_ = 0;
};

}  // namespace kvr::models
