// Files that somebody made by hand: sound to SQLite, but not what a variable file holds. Each is
// refused for its own reason, which shows in the error's text.
#include <sqlite3.h>
#include <xxhash.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/support/array_builders.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FilesCrafted : public VariableFileTest {
 protected:
  void SetUp() override {
    VariableFileTest::SetUp();
    ASSERT_TRUE(put(path, "x", aNumber(1)));
    ASSERT_TRUE(put(path, "y", aNumber(2)));
  }

  void execute(const std::string& sql) const {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK)
        << message;
    sqlite3_close(database);
  }

  // Makes the bytes the only piece of "x", with a sum that fits.
  void forge(const std::string& bytes) const {
    const std::uint64_t sum = XXH3_64bits_withSeed(bytes.data(), bytes.size(), XXH3_64bits("x", 1));
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    sqlite3_stmt* update = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(database, "UPDATE piece SET sum=?1,bytes=?2 WHERE id=1", -1,
                                 &update, nullptr),
              SQLITE_OK);
    sqlite3_bind_int64(update, 1, static_cast<sqlite3_int64>(sum));
    sqlite3_bind_blob64(update, 2, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
    EXPECT_EQ(sqlite3_step(update), SQLITE_DONE);
    sqlite3_finalize(update);
    sqlite3_close(database);
  }

  void overwrite(std::size_t place, const std::string& bytes) const {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(place)) << bytes;
  }

  void expectNotOpened(const std::string& reason) const {
    for (const char* mode : {"r", "u"}) {
      EXPECT_EQ(openFile(path, mode), nullptr);
      EXPECT_EQ(vormel::lastFileError(), path + ": " + reason);
    }
  }

  void expectRefused(const std::string& reason) const {
    EXPECT_FALSE(get(path, "x"));
    EXPECT_EQ(vormel::lastFileError(), reason);
  }
};

// ---- Other schemas. SQLite never sees one. ----

TEST_F(FilesCrafted, views_triggers_indexes_and_tables_more_are_refused) {
  for (const char* sql :
       {"CREATE VIEW v AS SELECT 1", "CREATE TABLE other(a)", "CREATE INDEX i ON piece(sum)",
        "CREATE TRIGGER t AFTER INSERT ON piece BEGIN DELETE FROM piece; END"}) {
    SetUp();
    execute(sql);
    expectNotOpened("its tables are not those of a variable file");
  }
}

TEST_F(FilesCrafted, tables_under_other_definitions_are_refused) {
  for (const char* sql :
       {"DROP TABLE piece; CREATE TABLE piece(id INTEGER PRIMARY KEY, sum, bytes)",
        "ALTER TABLE piece RENAME COLUMN sum TO total", "DROP TABLE variable"}) {
    SetUp();
    execute(sql);
    expectNotOpened("its tables are not those of a variable file");
  }
}

TEST_F(FilesCrafted, databases_of_others_and_of_other_versions_are_refused) {
  execute("PRAGMA application_id=5");
  expectNotOpened("it is not a variable file");
  SetUp();
  execute("PRAGMA user_version=3");
  expectNotOpened("it is a variable file of another version");
}

TEST_F(FilesCrafted, file_in_another_mode_of_writing_is_refused) {
  execute("PRAGMA journal_mode=WAL");
  expectNotOpened("its tables are not those of a variable file");
}

TEST_F(FilesCrafted, page_counts_beyond_the_file_are_refused) {
  overwrite(28, std::string("\x7F\xFF\xFF\xFF", 4));
  expectNotOpened("it is truncated");
}

TEST_F(FilesCrafted, change_counters_that_differ_are_refused) {
  overwrite(92, std::string("\0\0\x10\0", 4));
  expectNotOpened("another program has changed it");
}

// ---- Rows ----

TEST_F(FilesCrafted, variable_that_leads_to_the_pieces_of_another_is_refused) {
  execute("UPDATE variable SET first=2 WHERE name=x'78'");
  expectRefused("its data has changed since it was written");
  EXPECT_TRUE(get(path, "y"));
}

TEST_F(FilesCrafted, more_or_fewer_pieces_than_there_are_are_refused) {
  execute("UPDATE variable SET pieces=9000000000000000000 WHERE name=x'78'");
  expectRefused("its data has changed since it was written");  // that of y
  execute("DELETE FROM piece WHERE id=2");
  expectRefused("a piece is missing");
  execute("UPDATE variable SET pieces=-1");
  expectRefused("there is no variable \"x\"");
}

TEST_F(FilesCrafted, pieces_with_a_gap_are_refused) {
  execute("UPDATE variable SET first=0,pieces=2 WHERE name=x'78'");
  expectRefused("a piece is in the wrong place");
}

TEST_F(FilesCrafted, numbers_of_other_types_are_refused) {
  for (const char* sql :
       {"UPDATE variable SET first='a',pieces='b'", "UPDATE variable SET first=1e300,pieces=1e300",
        "UPDATE variable SET first=9223372036854775807,pieces=5"}) {
    SetUp();
    execute(sql);
    EXPECT_FALSE(get(path, "x"));
  }
}

TEST_F(FilesCrafted, piece_that_is_no_blob_is_refused) {
  for (const char* bytes : {"5", "'text'", "1.5"}) {
    execute(std::string("UPDATE piece SET bytes=") + bytes);
    expectRefused("a piece is not a blob");
  }
  execute("UPDATE piece SET bytes=x''");
  expectRefused("its data has changed since it was written");
}

TEST_F(FilesCrafted, piece_that_is_too_long_is_refused) {
  execute("UPDATE piece SET bytes=zeroblob(1000000)");
  expectRefused("string or blob too big");
}

TEST_F(FilesCrafted, put_over_forged_ranges_keeps_what_it_puts) {
  execute("UPDATE variable SET first=-9223372036854775807,pieces=9223372036854775807");
  EXPECT_TRUE(put(path, "x", aNumber(5)));
  const OwnedArray back = get(path, "x");
  ASSERT_TRUE(back);
  EXPECT_EQ(vrGetScalar(back.get()), 5);
}

TEST_F(FilesCrafted, put_behind_the_last_possible_number_works_or_fails) {
  execute("UPDATE piece SET id=9223372036854775807 WHERE id=2");
  if (put(path, "z", aColumn(std::vector<double>(100'000, 1.0)))) {
    EXPECT_TRUE(get(path, "z"));
  }
  EXPECT_TRUE(get(path, "x"));
}

// ---- Values ----

struct Forgery {
  std::string bytes;
  const char* reason;
};

std::string number(std::uint64_t value) {
  std::string bytes(1, '\x1b');
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

// The head of an item of a major type with an argument of 8 bytes.
std::string head(int major, std::uint64_t argument) {
  std::string bytes = number(argument);
  bytes[0] = static_cast<char>(major << 5 | 27);
  return bytes;
}

const std::string kDouble =
    "\x83\x66"
    "double";
const std::string kOneByOne = "\x82\x01\x01";
const std::string kStruct = "\x84\x66struct";
const std::string kCell =
    "\x83\x64"
    "cell";
const std::string kEmpty = kDouble + std::string("\x82\0\0\xD8\x56\x40", 6);

TEST_F(FilesCrafted, values_that_no_writer_gives_are_refused) {
  constexpr std::uint64_t huge = std::uint64_t{1} << 63;
  const std::string wide = "\x82" + number(1'000'000'000) + "\x01";
  const std::vector<Forgery> forgeries = {
      {"", "its data has changed since it was written"},
      {"\x01", "damaged value: item of the wrong type"},
      {"\x9F", "damaged value: indefinite length"},
      {"\x98\x03", "damaged value: length that is not in its shortest form"},
      {head(4, 3), "damaged value: length that is not in its shortest form"},
      {"\x83\x66", "damaged value: unexpected end"},
      {"\x83" + head(3, huge), "damaged value: name that is too long"},
      {"\x83\x66squash" + kOneByOne, "damaged value: unknown class name"},
      {std::string("\x83\x67") + std::string("double\0", 7) + kOneByOne,
       "damaged value: unknown class name"},
      {"\x83\x66opaque" + kOneByOne, "damaged value: unknown class name"},
      {kDouble + "\x81\x01", "damaged value: impossible number of dimensions"},
      {kDouble + head(4, huge), "damaged value: impossible number of dimensions"},
      {kDouble + "\x82" + number(huge) + "\x01", "damaged value: impossible array size"},
      {kDouble + "\x82" + number(std::uint64_t{1} << 32) + number(std::uint64_t{1} << 32),
       "damaged value: impossible array size"},
      {kDouble + std::string("\x82\x00", 2) + number(~std::uint64_t{0}),
       "damaged value: impossible array size"},
      {kDouble + "\x82\x01" + number(1), "damaged value: length that is not in its shortest form"},
      {kDouble + kOneByOne + "\xD8\x55\x48" + std::string(8, 'x'),
       "damaged value: elements of the wrong type"},
      {kDouble + kOneByOne + "\xD8\x56\x44" + std::string(8, 'x'),
       "damaged value: wrong number of elements"},
      {kDouble + kOneByOne + "\xD8\x56\x48" + std::string(7, 'x'), "damaged value: unexpected end"},
      {kDouble + kOneByOne + "\xD8\x56\x48" + std::string(9, 'x'),
       "damaged value: bytes after the end of the value"},
      {"\x82\x66" + kDouble.substr(2) + kOneByOne, "damaged value: wrong number of items"},
      {"\x84\x67logical" + kOneByOne, "damaged value: wrong number of items"},
      {"\x83\x67logical" + kOneByOne + "\xD8\x40\x41\x02",
       "damaged value: logical element other than 0 and 1"},
      {kCell + "\x82\x01\x02\x81" + kEmpty, "damaged value: wrong number of parts"},
      {kStruct + kOneByOne + "\x82\x61" + "a\x61" + "a", "damaged value: name that occurs twice"},
      {kStruct + kOneByOne + "\x81\x41" + "a", "damaged value: name in the wrong type of string"},
      {kStruct + kOneByOne + "\x81\x61\xFF", "damaged value: name in the wrong type of string"},
      {kStruct + kOneByOne + "\x81\x05", "damaged value: item that is not a name"},
      {kStruct + kOneByOne + std::string("\x81\x61\0", 3), "damaged value: name with a NUL"},
      {kStruct + kOneByOne + "\x80\x81\x81" + kEmpty, "damaged value: wrong number of fields"},
      {"\x83\x6F"
       "function_handle"
       "\x82\x02\x02\x63sin",
       "damaged value: function handle of an impossible shape"},
  };
  for (const Forgery& forgery : forgeries) {
    forge(forgery.bytes);
    EXPECT_FALSE(get(path, "x")) << forgery.reason;
    EXPECT_EQ(vormel::lastFileError(), forgery.reason);
  }
}

// A claimed billion of anything is held against the bytes that there are, before it is made.
TEST_F(FilesCrafted, counts_beyond_the_bytes_are_refused_before_anything_is_made) {
  const std::string billion = std::string("\x1A\x3B\x9A\xCA\x00", 5);
  const std::string wide = "\x82\x01" + billion;
  const std::string bytesHead = std::string("\x5B\0\0\0\1\xDC\xD6\x50\0", 9);
  const std::string list = std::string("\x9A\x3B\x9A\xCA\x00", 5);
  for (const std::string& bytes :
       {kDouble + wide + "\xD8\x56" + bytesHead, kCell + wide + list,
        kStruct + wide + "\x80" + list, kStruct + wide + "\x81\x61" + "a" + list,
        kStruct + kOneByOne + list}) {
    forge(bytes);
    expectRefused("damaged value: more content than the bytes can hold");
  }
}

TEST_F(FilesCrafted, values_nested_too_deep_are_refused) {
  std::string bytes;
  for (int level = 0; level < 400; ++level) bytes += kCell + kOneByOne + "\x81";
  forge(bytes + kEmpty);
  expectRefused("damaged value: arrays nested too deeply");
  forge(bytes.substr(bytes.size() / 400) + kEmpty);
  EXPECT_TRUE(get(path, "x"));
}

// The file and its rows claim a gigabyte, the disk holds a few pages of it.
TEST_F(FilesCrafted, sparse_file_is_refused_before_what_it_claims_is_made) {
  std::filesystem::resize_file(path, std::uintmax_t{1} << 30);
  overwrite(28, std::string("\0\2\0\0", 4));  // as many pages as that
  forge(kDouble + std::string("\x82\x01\x1A\x07\0\0\0", 7) + "\xD8\x56" +
        std::string("\x5A\x38\0\0\0", 5));
  execute("DELETE FROM piece WHERE id>1; UPDATE variable SET pieces=4096");
  expectRefused("a piece is missing");
  execute("UPDATE variable SET pieces=1");
  expectRefused("damaged value: more content than the bytes can hold");
}

// ---- Records of commits ----

TEST_F(FilesCrafted, forged_record_of_a_commit_is_refused_or_ignored) {
  const std::uintmax_t size = std::filesystem::file_size(path);
  for (const std::uint64_t count : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 40}) {
    std::string footer("VDFcommt");
    const std::uint64_t numbers[] = {size, count, 0};
    footer.append(reinterpret_cast<const char*>(numbers), sizeof numbers).append(1, '\0');
    overwrite(size, footer);
    EXPECT_TRUE(get(path, "x"));
    EXPECT_TRUE(put(path, "z", aNumber(3)));
    std::filesystem::resize_file(path, size);
  }
}

}  // namespace
}  // namespace kvr::test
