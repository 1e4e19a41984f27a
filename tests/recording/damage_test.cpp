// Damage of every kind: a file that is not as it was written gives an error or what was written,
// never anything else.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>

#include "tests/recording/sample.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;

bool isLong() { return std::getenv("KVR_LONG_TESTS") != nullptr; }

class DamageTest : public ::testing::Test {
 protected:
  DamageTest() {
    writeSample(path());
    image_ = readFile(path());
    content_ = contentOf(path());
  }

  std::string path() const { return directory_.file("drive.kvr"); }

  // True if the image is refused.
  bool isRefused(const std::string& image) {
    writeFile(path(), image);
    try {
      EXPECT_EQ(contentOf(path()), content_);
    } catch (const FormatError&) {
      return true;
    }
    return false;
  }

  ScratchDirectory directory_;
  std::string image_;
  std::string content_;
};

TEST_F(DamageTest, FileCutAtAnyLengthIsRefused) {
  for (std::size_t length = 0; length < image_.size(); length += isLong() ? 1 : 61)
    ASSERT_TRUE(isRefused(image_.substr(0, length))) << length;
  ASSERT_TRUE(isRefused(image_.substr(0, image_.size() - 1)));
}

TEST_F(DamageTest, FlippedBytesAreRefusedOrDoNotMatter) {
  std::size_t refused = 0;
  std::string image = image_;
  for (std::size_t place = 0; place < image.size(); place += isLong() ? 1 : 13) {
    if (image[place] == 0 && !isLong() && place % 3 != 0) continue;
    image[place] = static_cast<char>(image[place] ^ 0x41);
    refused += isRefused(image) ? 1 : 0;
    ASSERT_FALSE(HasFailure()) << "byte " << place;
    image[place] = image_[place];
  }
  EXPECT_GT(refused, 50U);
}

// Each cell of a table is changed as a stranger could with SQL.
class Database {
 public:
  explicit Database(const std::string& path) { sqlite3_open(path.c_str(), &database_); }
  ~Database() { sqlite3_close(database_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  void run(const std::string& sql) {
    char* error = nullptr;
    ASSERT_EQ(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << sql << error;
  }

 private:
  sqlite3* database_ = nullptr;
};

class ChangeTest : public DamageTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(ChangeTest, IsRefusedAndFoundByVerify) {
  Database(path()).run(GetParam());
  EXPECT_THROW(contentOf(path()), FormatError);
  EXPECT_FALSE(verify(path()).empty());
}

INSTANTIATE_TEST_SUITE_P(
    Sql, ChangeTest,
    ::testing::Values(
        "UPDATE run SET name='Friday' WHERE id=1", "UPDATE run SET created=created+1",
        "UPDATE run SET signals=2 WHERE id=1", "DELETE FROM run WHERE id=2",
        "UPDATE signal SET label='x' WHERE id=2", "UPDATE signal SET red=0.25 WHERE id=1",
        "UPDATE signal SET tolerance=NULL WHERE id=1", "UPDATE signal SET visible=0 WHERE id=1",
        "DELETE FROM signal WHERE id=4", "UPDATE tolerance SET relative=0.5 WHERE relative=0.01",
        "UPDATE sync SET method='union'", "DELETE FROM hierarchy WHERE signal=4",
        "UPDATE hierarchy SET parent=3 WHERE signal=4", "INSERT INTO hierarchy VALUES(3,1,0)",
        "UPDATE time_base SET samples=3 WHERE id=1", "DELETE FROM piece WHERE id=1",
        "UPDATE piece SET bytes=zeroblob(32) WHERE id=1",
        "UPDATE piece SET bytes=(SELECT bytes FROM piece WHERE id=2),"
        "sum=(SELECT sum FROM piece WHERE id=2) WHERE id=1",
        "UPDATE contents SET signals=3", "DELETE FROM contents",
        "INSERT INTO contents SELECT * FROM contents"));

// Pieces that are read in place: 150,000 doubles are a whole piece and a part.
class LargePieceTest : public DamageTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(LargePieceTest, IsRefusedAndNamed) {
  Writer writer = Writer::create(path());
  addRun(writer, "long", 1, 150'000);
  writer.commit();
  contentOf(path());
  Database(path()).run(GetParam());
  try {
    contentOf(path());
    FAIL() << "the file is read";
  } catch (const FormatError& error) {
    EXPECT_EQ(error.kind(), FormatError::Kind::kDamaged);
    EXPECT_EQ(error.where(), "piece 4") << error.what();
  }
  EXPECT_FALSE(verify(path()).empty());
}

INSTANTIATE_TEST_SUITE_P(
    Sql, LargePieceTest,
    ::testing::Values("UPDATE piece SET bytes=zeroblob(length(bytes)) WHERE id=4",
                      "UPDATE piece SET bytes=zeroblob(length(bytes) - 1) WHERE id=4",
                      "UPDATE piece SET bytes=x'00' WHERE id=4",
                      "UPDATE piece SET bytes=CAST(bytes AS TEXT) WHERE id=4",
                      "UPDATE piece SET bytes=5 WHERE id=4", "DELETE FROM piece WHERE id=4",
                      "UPDATE piece SET sum=sum + 1 WHERE id=4",
                      "UPDATE piece SET sum='x' WHERE id=4"));

class ExtraRowTest : public DamageTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(ExtraRowTest, IsFoundByVerify) {
  Database(path()).run(GetParam());
  EXPECT_FALSE(verify(path()).empty());
}

INSTANTIATE_TEST_SUITE_P(Sql, ExtraRowTest,
                         ::testing::Values("INSERT INTO piece VALUES(99,0,x'00')",
                                           "INSERT INTO sync SELECT 99,type,method,interp,interval,"
                                           "function,sum FROM sync WHERE id=1"));

TEST_F(DamageTest, VerifyNamesThePlace) {
  Database(path()).run("UPDATE signal SET label='x' WHERE id=2");
  const std::vector<Problem> problems = verify(path());
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(problems.front().where, "signal 2");
  EXPECT_EQ(problems.front().what, "the row has changed since it was written: its sum differs");
}

TEST_F(DamageTest, VerifyTellsItsProgressAndCanBeStopped) {
  std::uint64_t last = 0;
  verify(path(), [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_GT(done, last);
    EXPECT_LE(done, total);
    last = done;
  });
  EXPECT_EQ(last, 32U + 32 + 8 + 48 + 10);  // times, values, metadata, values, texts
  struct Stop {};
  EXPECT_THROW(verify(path(), [](std::uint64_t, std::uint64_t) { throw Stop(); }), Stop);
}

}  // namespace
}  // namespace kvr::test
