// Files that somebody made to harm: refused with a FormatError before anything large is made.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>

#include "recording/layout.h"
#include "recording/rows.h"
#include "tests/recording/sample.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
using Kind = FormatError::Kind;
using ::testing::HasSubstr;

class ForgeryTest : public ::testing::Test {
 protected:
  ForgeryTest() { writeSample(path()); }
  std::string path() const { return directory_.file("drive.kvr"); }

  void run(const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open(path().c_str(), &database);
    char* error = nullptr;
    ASSERT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << sql << ": " << error;
    sqlite3_close(database);
  }

  // Gives a row of the table the sum that it should have.
  void sign(const std::string& table, const std::string& key) {
    sqlite3* database = nullptr;
    sqlite3_open(path().c_str(), &database);
    sqlite3_stmt* row = nullptr;
    sqlite3_prepare_v2(database, ("SELECT * FROM " + table + " WHERE " + key).c_str(), -1, &row,
                       nullptr);
    ASSERT_EQ(sqlite3_step(row), SQLITE_ROW);
    RowBytes bytes;
    for (int i = 0; i + 1 < sqlite3_column_count(row); ++i) {
      switch (sqlite3_column_type(row, i)) {
        case SQLITE_INTEGER:
          bytes.integer(sqlite3_column_int64(row, i));
          break;
        case SQLITE_FLOAT:
          bytes.real(sqlite3_column_double(row, i));
          break;
        case SQLITE_NULL:
          bytes.null();
          break;
        default:
          bytes.text({static_cast<const char*>(sqlite3_column_blob(row, i)),
                      static_cast<std::size_t>(sqlite3_column_bytes(row, i))});
      }
    }
    sqlite3_finalize(row);
    sqlite3_close(database);
    run("UPDATE " + table + " SET sum=" + std::to_string(bytes.sum()) + " WHERE " + key);
  }

  Kind kindOf() {
    try {
      contentOf(path());
    } catch (const FormatError& error) {
      what_ = error.what();
      return error.kind();
    }
    ADD_FAILURE() << "the file is read";
    return Kind::kForeign;
  }

  ScratchDirectory directory_;
  std::string what_;
};

TEST_F(ForgeryTest, SignedRowsAreRead) {  // the tests below rely on it
  run("UPDATE run SET name='forged' WHERE id=1");
  sign("run", "id=1");
  EXPECT_THAT(contentOf(path()), HasSubstr("'forged'"));
}

TEST_F(ForgeryTest, NewerFormatIsNamed) {
  run("PRAGMA user_version=2");
  EXPECT_EQ(kindOf(), Kind::kNewer);
  EXPECT_EQ(what_, "has format 2 of recording files; this program reads up to 1");
  EXPECT_THROW(Writer::append(path()), FormatError);
  EXPECT_THROW(verify(path()), FormatError);
}

TEST_F(ForgeryTest, OtherDatabasesAreForeign) {
  for (const char* sql :
       {"PRAGMA application_id=1", "PRAGMA application_id=1263948370; PRAGMA user_version=0"}) {
    run(sql);
    EXPECT_EQ(kindOf(), Kind::kForeign);
  }
}

class SchemaTest : public ForgeryTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(SchemaTest, IsForeign) {
  run(GetParam());
  EXPECT_EQ(kindOf(), Kind::kForeign);
  EXPECT_EQ(what_, "has other tables than a recording file");
  EXPECT_THROW(Writer::append(path()), FormatError);
}

INSTANTIATE_TEST_SUITE_P(
    Sql, SchemaTest,
    ::testing::Values("CREATE TABLE more(x)", "CREATE INDEX i ON run(name)",
                      "CREATE TRIGGER t AFTER INSERT ON run BEGIN DELETE FROM piece; END",
                      "DROP TABLE run; CREATE VIEW run AS SELECT 1 AS id",
                      "ALTER TABLE run ADD COLUMN more", "DROP TABLE sync",
                      "CREATE VIEW v AS SELECT * FROM run"));

TEST_F(ForgeryTest, WriteAheadModeIsRefusedAndLeavesNoFiles) {
  std::string image = readFile(path());
  image[18] = image[19] = 2;
  writeFile(path(), image);
  writeFile(path() + "-wal", std::string(5000, 'x'));
  EXPECT_EQ(kindOf(), Kind::kForeign);
  EXPECT_FALSE(std::filesystem::exists(path() + "-shm"));
}

struct Lie {
  const char* sql;
  const char* table;
  const char* key;
};

class LieTest : public ForgeryTest, public ::testing::WithParamInterface<Lie> {};

// With a right sum: what a row says is tested all the same.
TEST_P(LieTest, IsRefused) {
  run(GetParam().sql);
  sign(GetParam().table, GetParam().key);
  EXPECT_EQ(kindOf(), Kind::kDamaged);
  EXPECT_FALSE(verify(path()).empty());
}

// MiB at the peak of this process.
long peakMemory() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return used.ru_maxrss / 1024;
}

// Nobody takes the memory that a row promises before it is known to be there.
TEST_P(LieTest, TakesNoMemory) {
  run(GetParam().sql);
  sign(GetParam().table, GetParam().key);
  const std::string grown = inProcess([&] {
    const long before = peakMemory();
    for (void (*const read)(const std::string&) :
         {+[](const std::string& at) { contentOf(at); }, +[](const std::string& at) { verify(at); },
          +[](const std::string& at) {
            Writer writer = Writer::append(at);
            addRun(writer, "more", 0, 3);
          }}) {
      try {
        read(path());
      } catch (const FormatError&) {
      }
    }
    return std::to_string(peakMemory() - before);
  });
  EXPECT_LT(std::stol(grown), 32) << "MiB";
}

INSTANTIATE_TEST_SUITE_P(
    Sql, LieTest,
    ::testing::Values(
        Lie{"UPDATE signal SET bytes=9223372036854775807 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET samples=9223372036854775807 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET bytes=9223372036854775808 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET samples=9223372036854775808 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET shape='9223372036854775808' WHERE id=2", "signal", "id=2"},
        Lie{"UPDATE signal SET samples=-1 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET shape='9223372036854775807 2' WHERE id=2", "signal", "id=2"},
        Lie{"UPDATE signal SET shape='18446744073709551616' WHERE id=2", "signal", "id=2"},
        Lie{"UPDATE signal SET shape='3  2' WHERE id=2", "signal", "id=2"},
        Lie{"UPDATE signal SET channel='1 x' WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET class='double double' WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET class='single' WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET first_piece=9223372036854775807 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET first_piece=0 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET time_base=3 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET run=3 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET port=2147483648 WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET bytes=1073741824, class='text', samples=4 WHERE id=1", "signal",
            "id=1"},
        Lie{"UPDATE signal SET label=x'00' WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET label=CAST(x'ff' AS TEXT) WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE signal SET label=CAST(zeroblob(1500000) AS TEXT) WHERE id=1", "signal", "id=1"},
        Lie{"UPDATE time_base SET samples=1152921504606846976 WHERE id=1", "time_base", "id=1"},
        Lie{"UPDATE time_base SET class='text' WHERE id=1", "time_base", "id=1"},
        Lie{"UPDATE run SET first_signal=3 WHERE id=1", "run", "id=1"},
        Lie{"UPDATE run SET signals=9223372036854775807 WHERE id=1", "run", "id=1"},
        Lie{"UPDATE run SET tolerance=99 WHERE id=1", "run", "id=1"},
        Lie{"UPDATE hierarchy SET parent=5 WHERE signal=2", "hierarchy", "signal=2"},
        Lie{"UPDATE hierarchy SET parent=2 WHERE signal=2", "hierarchy", "signal=2"},
        Lie{"UPDATE contents SET pieces=4611686018427387904", "contents", "1"},
        Lie{"UPDATE contents SET runs=-1", "contents", "1"},
        Lie{"UPDATE contents SET runs=9223372036854775807", "contents", "1"}));

TEST_F(ForgeryTest, CircleOfSeveralIsRefused) {
  run("INSERT INTO hierarchy VALUES(1,4,0); UPDATE contents SET hierarchy=3");
  sign("hierarchy", "signal=1");
  sign("contents", "1");
  EXPECT_EQ(kindOf(), Kind::kDamaged);
  EXPECT_EQ(what_, "is part of itself");
  EXPECT_FALSE(verify(path()).empty());
}

// In the root page of a table, which is a leaf, gives the last row the id of the first.
void repeatId(std::string& image, std::size_t page, std::size_t pageSize) {
  const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(image.at(place)); };
  const auto number = [&](std::size_t place) {
    return static_cast<std::size_t>(byte(place) << 8 | byte(place + 1));
  };
  const std::size_t start = (page - 1) * pageSize;
  ASSERT_EQ(byte(start), 0x0D);
  const std::size_t rows = number(start + 3);
  ASSERT_GE(rows, 2U);
  const auto placeOfId = [&](std::size_t row) {
    std::size_t place = start + number(start + 8 + 2 * row);
    while ((byte(place) & 0x80) != 0) ++place;  // the length of the row
    return place + 1;
  };
  image[placeOfId(rows - 1)] = image[placeOfId(0)];
}

TEST_F(ForgeryTest, IdThatStandsTwiceIsRefused) {
  const std::string image = readFile(path());
  const auto pageSize = static_cast<std::size_t>(static_cast<unsigned char>(image[16])) << 8;
  for (const char* table :
       {"run", "signal", "tolerance", "sync", "hierarchy", "time_base", "piece"}) {
    const auto place = std::ranges::find(schema, table, &SchemaEntry::name) - schema.begin();
    std::string forged = image;
    repeatId(forged, static_cast<std::size_t>(place) + 2, pageSize);
    writeFile(path(), forged);
    EXPECT_EQ(kindOf(), Kind::kDamaged) << table;
    EXPECT_FALSE(verify(path()).empty()) << table;
  }
}

TEST_F(ForgeryTest, TextOfAGigabyteIsRefused) {
  run("UPDATE run SET name=CAST(zeroblob(999999000) AS TEXT) WHERE id=1");
  EXPECT_EQ(kindOf(), Kind::kDamaged);
}

// SQLite deletes the file that the end of a journal names. It takes the journal beside the file
// that a symbolic link leads to.
TEST_F(ForgeryTest, JournalThatNamesAFileIsNotPlayed) {
  const std::string victim = directory_.file("victim");
  const std::string link = directory_.file("link.kvr");
  std::filesystem::create_symlink("drive.kvr", link);
  writeFile(victim, "precious");
  std::string journal("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8);
  journal.resize(1024, '\1');
  journal += std::string("\0\0\0\1", 4) + victim;
  const int sum = std::accumulate(victim.begin(), victim.end(), 0);
  journal += std::string("\0\0\0", 3) + static_cast<char>(victim.size());
  journal += std::string("\0\0", 2) + static_cast<char>(sum >> 8) + static_cast<char>(sum);
  journal += std::string("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8);
  writeFile(path() + "-journal", journal);
  const std::string before = readFile(path());
  EXPECT_EQ(kindOf(), Kind::kForeign);
  EXPECT_THROW(Writer::append(path()), FormatError);
  EXPECT_THROW(contentOf(link), FormatError);
  EXPECT_THROW(Writer::append(link), FormatError);
  EXPECT_EQ(readFile(path()), before);
  EXPECT_TRUE(std::filesystem::exists(victim));
}

TEST_F(ForgeryTest, WhatIsNoRegularFileIsRefused) {
  const std::string pipe = directory_.file("pipe.kvr");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THROW(Reader{pipe}, FormatError);
  EXPECT_THROW(Reader{"/dev/null"}, FormatError);
  EXPECT_THROW(Reader{directory_.path()}, SystemError);
  EXPECT_THROW(Reader{directory_.file("none.kvr")}, SystemError);
}

}  // namespace
}  // namespace kvr::test
