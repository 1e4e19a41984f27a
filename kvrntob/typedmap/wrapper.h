// One typed map: native keys and values behind host arrays. See abstract_wrapper.h for what the
// operations do, and conversion.h for everything that depends on the types. Included by the sources
// that instantiate the maps.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/typedmap/abstract_wrapper.h"
#include "kvrntob/typedmap/conversion.h"
#include "kvrntob/typedmap/data_map.h"

template <class K, class V>
class VrWrapperDataMap final : public AbstractVrWrapperDataMap {
 public:
  VrWrapperDataMap(const char* keyType, const char* valueType)
      : keyTypeName(keyType), valueTypeName(valueType) {}

  // Releases the arrays of an "any" map in the order of their indices.
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
    [[maybe_unused]] const auto removed = takeOver(container->valueOf(nativeKey));
    container->deleteDataByID(nativeKey);
  }

  void deleteDataByIndex(const std::int32_t& index) override {
    [[maybe_unused]] const auto removed = takeOver(container->valueAt(index));
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

  // Passes ownership of a stored array to the caller. Other values need no owner.
  static auto takeOver([[maybe_unused]] const V& stored) {
    if constexpr (keepsArrays) {
      return AnyValue(stored);
    } else {
      return nullptr;
    }
  }

  // The replaced array is released after the container has dropped it, so that code which its
  // release runs cannot find it there. If the container runs out of memory, which only a new key
  // can cause, the new array is released and the map is unchanged.
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

template <class K, class V>
AbstractVrWrapperDataMap* makeWrapper(const char* keyTypeName, const char* valueTypeName) {
  return new VrWrapperDataMap<K, V>(keyTypeName, valueTypeName);
}

template <class K>
AbstractVrWrapperDataMap* makeWrapperForValueClass(int valueClass, const char* keyTypeName) {
  switch (valueClass) {
#define VALUE(hostClass, typeName, Native) \
  case hostClass:                          \
    return makeWrapper<K, Native>(keyTypeName, typeName);
#include "kvrntob/typedmap/wrapper_types.def"
  }
  return makeWrapper<K, vrArray*>(keyTypeName, "any");
}
