// SQLite's memory, failing where a system fault of the kind SqliteMemory is due. A test program
// that includes this, in one source, has it for its whole life.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/embedded_host/system_faults.h"

namespace kvr::test {

inline sqlite3_mem_methods sqlitesOwnMemory;

inline bool isSqliteMemoryShort() { return isSystemFaultDue(SystemCall::SqliteMemory); }

// To be put in place before SQLite is first used.
class FailingSqliteMemory : public ::testing::Environment {
 public:
  void SetUp() override {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqlitesOwnMemory);
    sqlite3_mem_methods methods = sqlitesOwnMemory;
    methods.xMalloc = [](int size) -> void* {
      return isSqliteMemoryShort() ? nullptr : sqlitesOwnMemory.xMalloc(size);
    };
    methods.xRealloc = [](void* block, int size) -> void* {
      return isSqliteMemoryShort() ? nullptr : sqlitesOwnMemory.xRealloc(block, size);
    };
    ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_MALLOC, &methods), SQLITE_OK);
    ASSERT_EQ(sqlite3_initialize(), SQLITE_OK);
  }
};

[[maybe_unused]] inline const auto* const failingSqliteMemory =
    ::testing::AddGlobalTestEnvironment(new FailingSqliteMemory);

}  // namespace kvr::test
