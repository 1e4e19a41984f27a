// One typed map: native keys and values behind host arrays. See abstract_wrapper.h for what the
// operations do, and conversion.h for all that tells one pair of types from another.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/typedmap/abstract_wrapper.h"
#include "kvrntob/typedmap/any_value.h"
#include "kvrntob/typedmap/conversion.h"
#include "kvrntob/typedmap/data_map.h"

template <class K, class V>
class VrWrapperDataMap final : public AbstractVrWrapperDataMap {
 public:
  VrWrapperDataMap(const char* keyType, const char* valueType)
      : keyTypeName(keyType), valueTypeName(valueType) {}

  // Releases the arrays that an "any" map keeps, in the order of their indices.
  ~VrWrapperDataMap() override {
    if constexpr (keepsArrays) {
      for (std::int32_t i = 0; i < container->getCount(); ++i) AnyValue{container->valueAt(i)};
    }
  }

  bool isKey(const vrArray* key) const override { return container->isKey(readKey(key)); }

  void put(const vrArray* key, const vrArray* value) override {
    const auto nativeKey = readKey(key);
    auto nativeValue = typedmap::readValue<V>(value, valueLabel);
    if constexpr (keepsArrays) {
      putArray(nativeKey, std::move(nativeValue));
    } else {
      container->put(nativeKey, std::move(nativeValue));
    }
  }

  std::int32_t getCount() const override { return container->getCount(); }

  vrArray* getDataByIndex(const std::int32_t& index) const override {
    return typedmap::makeArray<V>(container->valueAt(index));
  }

  vrArray* getIDByIndex(const std::int32_t& index) const override {
    return typedmap::makeArray<K>(container->keyAt(index));
  }

  vrArray* getDataByID(const vrArray* key) const override {
    return typedmap::makeArray<V>(container->valueOf(readKey(key)));
  }

  std::int32_t getIndexByID(const vrArray* key) const override {
    return container->getIndexByID(readKey(key));
  }

  void deleteDataByID(const vrArray* key) override {
    const auto nativeKey = readKey(key);
    [[maybe_unused]] const auto gone = takeOver(container->valueOf(nativeKey));
    container->deleteDataByID(nativeKey);
  }

  void deleteDataByIndex(const std::int32_t& index) override {
    [[maybe_unused]] const auto gone = takeOver(container->valueAt(index));
    container->deleteDataByIndex(index);
  }

  const char* getKeyType() const override { return keyTypeName.c_str(); }
  const char* getValueType() const override { return valueTypeName.c_str(); }

  void clear() override { container->clear(); }

 private:
  using Container = DataMap<K, V>;
  static constexpr bool keepsArrays = std::is_same_v<V, vrArray*>;

  typename Container::KeyView readKey(const vrArray* key) const {
    return typedmap::readKey<K>(key, keyLabel);
  }

  // Makes the caller the owner of a stored array. The other types of values have none.
  static auto takeOver([[maybe_unused]] const V& stored) {
    if constexpr (keepsArrays) {
      return AnyValue(stored);
    } else {
      return nullptr;
    }
  }

  // A stored array that leaves is released after the container has let go of it, so that nothing
  // that its release sets off can find it there. If the container runs out of memory, which it can
  // for a new key alone, the new array is released and the map as it was.
  void putArray(typename Container::KeyView key, AnyValue&& value) {
    vrArray* const* present = container->findValue(key);
    const AnyValue replaced(present != nullptr ? *present : nullptr);
    container->put(key, value.get());
    value.release();
  }

  const std::unique_ptr<Container> container = std::make_unique<Container>();
  const char* keyLabel = "key";
  const char* valueLabel = "value";
  std::string keyTypeName;
  std::string valueTypeName;
};
