// Structures for tests, field by field: toleranceFields().with("absolute", aNumber(1)).build().
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/array_builders.h"

namespace kvr::test {

class StructBuilder {
 public:
  // Sets the field, at the end if it is new.
  StructBuilder& with(const std::string& name, OwnedArray value) {
    const auto field = find(name);
    if (field != fields_.end()) {
      field->second = std::move(value);
    } else {
      fields_.emplace_back(name, std::move(value));
    }
    return *this;
  }
  StructBuilder& without(const std::string& name) {
    fields_.erase(find(name));
    return *this;
  }
  StructBuilder& renamed(const std::string& name, const std::string& newName) {
    find(name)->first = newName;
    return *this;
  }
  StructBuilder& reversed() {
    std::reverse(fields_.begin(), fields_.end());
    return *this;
  }

  // A structure of these fields in its first element, as often as asked for.
  OwnedArray build(const std::vector<std::size_t>& dimensions = {1, 1}) const {
    std::vector<const char*> names;
    for (const auto& [name, value] : fields_) names.push_back(name.c_str());
    OwnedArray structure = aStruct(names, dimensions);
    if (vrIsEmpty(structure.get())) return structure;
    int number = 0;
    for (const auto& [name, value] : fields_)
      vrSetFieldByNumber_730(structure.get(), 0, number++, vrDuplicateArray(value.get()));
    return structure;
  }

  // A value object with these properties.
  OwnedArray buildObject() const {
    OwnedArray object = anObject("settings");
    for (const auto& [name, value] : fields_)
      vrSetProperty_730(object.get(), 0, name.c_str(), value.get());
    return object;
  }

 private:
  using Field = std::pair<std::string, OwnedArray>;

  std::vector<Field>::iterator find(const std::string& name) {
    return std::find_if(fields_.begin(), fields_.end(),
                        [&](const Field& field) { return field.first == name; });
  }

  std::vector<Field> fields_;
};

// A tolerance structure with another number in each field: type 1, then 1, 2 ... 9, then "f".
inline StructBuilder toleranceFields() {
  StructBuilder fields;
  fields.with("toleranceType", anInt32(1));
  double value = 0;
  for (const char* name : {"absolute", "relative", "timeStart", "timeEnd", "timeStep",
                           "initAbsTolVal", "absStep", "initRelTolVal", "relStep"})
    fields.with(name, aNumber(++value));
  fields.with("fcnCall", aText("f"));
  return fields;
}

// A sync options structure: "uniform", "linear", 0.5, "custom", 1.
inline StructBuilder syncFields() {
  StructBuilder fields;
  fields.with("SyncMethod", aText("uniform"))
      .with("InterpMethod", aText("linear"))
      .with("UniformTimeInterval", aNumber(0.5))
      .with("customSyncMethod", aText("custom"))
      .with("syncType", anInt32(1));
  return fields;
}

}  // namespace kvr::test
