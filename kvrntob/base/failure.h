// The one way in which the module reports a failure, and the look-ups that report one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kvrntob/host/libqnKVR_res.h"

namespace kvr {

// Raises the failure as a host exception that names the running host function, if any. Never
// returns. Call sites spell class and word out: raiseFromMessage(KVR::kvr::NON_EXISTENT("ID")).
// Defined in binding/, which knows how the host turns a message into an exception.
[[noreturn]] void raiseFromMessage(const hf::i18n::BaseMsgID& message);

// The value of a table's entry under `key`. Fails with the message class, made of `word` if it
// takes one, when there is no such entry:
//   requireEntry<KVR::kvr::NON_EXISTENT>(signals, id, "ID")
template <class Failure, class Table, class Key, class... Word>
auto& requireEntry(Table& table, const Key& key, const Word&... word) {
  const auto entry = table.find(key);
  if (entry == table.end()) raiseFromMessage(Failure(word...));
  return entry->second;
}

// The element of a list at `index`, which counts from 1. Fails likewise when there is none.
template <class Failure, class List, class... Word>
auto& requireElement(List& list, std::int32_t index, const Word&... word) {
  if (index < 1 || static_cast<std::size_t>(index) > list.size())
    raiseFromMessage(Failure(word...));
  return list[static_cast<std::size_t>(index) - 1];
}

}  // namespace kvr
