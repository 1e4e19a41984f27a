// From a message class to a host exception.
#include <functional>
#include <set>

#include "embedded_host/messages/dispatcher.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/base/failure.h"
#include "kvrntob/host/drk_services.h"
#include "kvrntob/host/libqnKVR_res.h"
#include "kvrntob/host/ntob.h"
#include "tests/support/failure_matchers.h"

namespace kvr::test {
namespace {

using namespace KVR::kvr;
using vormel::HostException;

HostException caught(const std::function<void()>& action) {
  try {
    action();
  } catch (const HostException& failure) {
    return failure;
  }
  ADD_FAILURE() << "no failure";
  return {"", std::nullopt, "", std::nullopt};
}

template <class... Messages>
void expectEachWithoutWord() {
  std::set<std::string> texts;
  (expectFailure(Messages().identifier() + 8, [] { raiseFromMessage(Messages()); }), ...);
  (texts.insert(caught([] { raiseFromMessage(Messages()); }).what()), ...);
  EXPECT_EQ(texts.size(), sizeof...(Messages)) << "texts differ";
}

template <class Message>
void expectWithWord() {
  const Message message("a word");
  expectFailure(message.identifier() + 8, "a word", [&] { raiseFromMessage(message); });
  const std::string text = caught([&] { raiseFromMessage(message); }).what();
  EXPECT_NE(text.find("a word"), std::string::npos) << text;
}

template <class... Messages>
void expectEachWithWord() {
  (expectWithWord<Messages>(), ...);
}

TEST(Messages, seventeen_classes_carry_no_word) {
  expectEachWithoutWord<INVALID_OBJ, INVALID_SIGNATURE, MISSING_FIELD, TOL_TYPE, SYNC_TYPE,
                        INVALID_SYNC, INVALID_INTERP, INVALID_ORDER, INVALID_COLOR,
                        INDEX_OUT_OF_BOUNDS, FILE_NOT_LOCATED, EMPTY_MAP, KEY_NOT_IN_MAP,
                        UNSUPPORTED_KEY, KEY_NEEDS_VALUE, ARRAY_KEYS_NOT_ALLOWED, EMPTY_KEY>();
}

TEST(Messages, twelve_classes_carry_the_word_and_show_it_in_their_text) {
  expectEachWithWord<NOT_INTEGER_SCALAR, NOT_INTEGER, NOT_NUMERIC_SCALAR, NOT_NUMERIC,
                     NOT_LOGICAL_SCALAR, NOT_POSITIVE, NOT_VECTOR, NOT_1BY2VECTOR, INPUT_MISMATCH,
                     NUMBER_OF_FIELDS, NON_EXISTENT, TYPE_MISMATCH>();
}

TEST(Messages, identifier_is_catalogue_and_class) {
  EXPECT_STREQ(INVALID_OBJ().identifier(), "KVR:kvr:INVALID_OBJ");
  EXPECT_STREQ(NOT_1BY2VECTOR("x").identifier(), "KVR:kvr:NOT_1BY2VECTOR");
}

TEST(Messages, word_stands_in_the_text) {
  EXPECT_STREQ(caught([] { raiseFromMessage(NON_EXISTENT("Run ID")); }).what(),
               "'Run ID' does not exist.");
  EXPECT_STREQ(caught([] { raiseFromMessage(NUMBER_OF_FIELDS("11")); }).what(),
               "The structure must have exactly 11 fields.");
}

void expectText(const hf::i18n::BaseMsgID& message, const char* text) {
  EXPECT_STREQ(caught([&] { raiseFromMessage(message); }).what(), text);
}

TEST(Messages, each_class_has_its_text) {
  expectText(INVALID_OBJ(), "The object is null or has been deleted.");
  expectText(INVALID_SIGNATURE(),
             "The number or kind of the arguments is not one that this method takes.");
  expectText(NOT_INTEGER_SCALAR("w"), "'w' must be a scalar of an integer class.");
  expectText(NOT_INTEGER("w"), "'w' must be of an integer class.");
  expectText(NOT_NUMERIC_SCALAR("w"), "'w' must be a numeric scalar.");
  expectText(NOT_NUMERIC("w"), "'w' must be a real numeric scalar.");
  expectText(NOT_LOGICAL_SCALAR("w"), "'w' must be a logical scalar.");
  expectText(NOT_POSITIVE("w"), "'w' must not be negative.");
  expectText(NOT_VECTOR("w"), "'w' must be a vector.");
  expectText(NOT_1BY2VECTOR("w"), "'w' must be a vector.");
  expectText(INPUT_MISMATCH("w"), "The input must be a value of the kind 'w'.");
  expectText(NUMBER_OF_FIELDS("w"), "The structure must have exactly w fields.");
  expectText(MISSING_FIELD(), "A field of the structure is missing or has the wrong class.");
  expectText(TOL_TYPE(), "The tolerance type must be 0, 1 or 2.");
  expectText(SYNC_TYPE(), "The type of the synchronization must be 0 or 1.");
  expectText(INVALID_SYNC(),
             "The synchronization method must be 'union', 'intersection' or 'uniform'.");
  expectText(INVALID_INTERP(), "The interpolation method must be 'zoh' or 'linear'.");
  expectText(INVALID_ORDER(), "The sort order must be 'ASC' or 'DESC'.");
  expectText(INVALID_COLOR(), "Each component of a line color must lie between 0 and 1.");
  expectText(NON_EXISTENT("w"), "'w' does not exist.");
  expectText(INDEX_OUT_OF_BOUNDS(), "The index is out of bounds.");
  expectText(FILE_NOT_LOCATED(), "The file that holds the signal's data cannot be opened.");
  expectText(TYPE_MISMATCH("w"), "The w does not fit the type that the map was made with.");
  expectText(EMPTY_MAP(), "The map has no entries.");
  expectText(KEY_NOT_IN_MAP(), "The map does not hold this key.");
  expectText(UNSUPPORTED_KEY(), "A map cannot have keys of this class.");
  expectText(KEY_NEEDS_VALUE(), "A sample key needs a sample value that is not empty.");
  expectText(ARRAY_KEYS_NOT_ALLOWED(), "The sample key must be a single element.");
  expectText(EMPTY_KEY(), "The sample key must not be empty.");
}

TEST(Messages, word_with_a_gap_in_it_is_not_filled_again) {
  EXPECT_STREQ(caught([] { raiseFromMessage(NON_EXISTENT("{0}")); }).what(),
               "'{0}' does not exist.");
}

TEST(Messages, empty_word_is_a_word) {
  expectFailure("NON_EXISTENT", "", [] { raiseFromMessage(NON_EXISTENT("")); });
}

TEST(Messages, message_of_another_catalogue_shows_its_identifier_and_word) {
  struct Foreign : hf::i18n::BaseMsgID {
    Foreign() : BaseMsgID("other:thing", "w") {}
  };
  EXPECT_STREQ(caught([] { raiseFromMessage(Foreign()); }).what(), "other:thing: w");
}

TEST(Messages, failure_with_no_function_running_names_none) {
  EXPECT_EQ(caught([] { raiseFromMessage(INVALID_OBJ()); }).functionName(), std::nullopt);
}

TEST(Messages, failure_names_the_innermost_running_function) {
  const vormel::RunningFunction outer(vormel::functionHandle("outer"));
  const vormel::RunningFunction inner(vormel::functionHandle("getSignal"));
  EXPECT_EQ(caught([] { raiseFromMessage(INVALID_OBJ()); }).functionName(), "getSignal");
}

TEST(Messages, throwing_takes_the_diagnostic_over) {
  drsvDiagnosticImpl* diagnostic = drsvCreateDiagnosticFromMessageID(EMPTY_MAP());
  EXPECT_THROW(drsvThrowIExceptionFromDiagnostic(diagnostic, nullptr), HostException);
  EXPECT_EQ(diagnostic, nullptr);
}

TEST(Messages, failure_is_caught_as_every_base) {
  EXPECT_THROW(raiseFromMessage(EMPTY_MAP()), Quenrath::System::IUserException);
  EXPECT_THROW(raiseFromMessage(EMPTY_MAP()), Quenrath::System::IException);
  EXPECT_THROW(raiseFromMessage(EMPTY_MAP()), std::exception);
}

TEST(Messages, host_error_names_the_running_function_by_itself) {
  const vormel::RunningFunction running(vormel::functionHandle("add"));
  const vormel::HostError error("Key", "text");
  EXPECT_EQ(error.identifier(), "Vormel:Key");
  EXPECT_EQ(error.functionName(), "add");
  EXPECT_EQ(error.word(), std::nullopt);
  EXPECT_STREQ(error.what(), "text");
}

TEST(Messages, call_refused_is_a_host_error) {
  EXPECT_THROW(throw vormel::CallRefused("Key", "text"), vormel::HostError);
}

template <class Base>
bool isCaughtAs() {
  try {
    const ntob::TOBOutOfMemoryException exhausted;
    throw ntob::TOBOutOfMemoryException(exhausted);
  } catch (const Base& base) {
    return *base.what() != '\0';
  }
}

TEST(Messages, out_of_memory_is_caught_as_all_six_types) {
  EXPECT_TRUE(isCaughtAs<ntob::TOBOutOfMemoryException>());
  EXPECT_TRUE(isCaughtAs<ntob::TOBMsgException>());
  EXPECT_TRUE(isCaughtAs<ntob::TOBException>());
  EXPECT_TRUE(isCaughtAs<Quenrath::System::IUserException>());
  EXPECT_TRUE(isCaughtAs<Quenrath::System::IException>());
  EXPECT_TRUE(isCaughtAs<std::exception>());
}

}  // namespace
}  // namespace kvr::test
