// The model of one typed map: a list of pairs, searched from its front. Keys and values are held as
// the arrays that come out again.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/models/plain_array.h"

namespace kvr::models {

class MapModel {
 public:
  // Types are chosen by the samples. Fails as the constructor does.
  MapModel(const PlainArray& keySample, const PlainArray& valueSample);

  const std::string& keyType() const { return keyType_; }
  const std::string& valueType() const { return valueType_; }
  int32 count() const { return static_cast<int32>(pairs_.size()); }

  void put(const PlainArray& key, const PlainArray& value);
  bool isKey(const PlainArray& key) const;
  int32 indexOf(const PlainArray& key) const;  // from 1
  const PlainArray& keyAt(int32 index) const;
  const PlainArray& valueAt(int32 index) const;
  void remove(int32 index);
  // Returns the number of arrays that are left behind.
  std::size_t clear();

 private:
  PlainArray convertKey(const PlainArray& key) const;
  PlainArray convertValue(const PlainArray& value) const;
  int32 find(const PlainArray& nativeKey) const;  // from 1; 0 if there is none
  std::size_t place(int32 index) const;

  std::string keyType_;
  std::string valueType_;
  std::vector<std::pair<PlainArray, PlainArray>> pairs_;
};

}  // namespace kvr::models
