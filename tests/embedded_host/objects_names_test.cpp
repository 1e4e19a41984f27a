#include <gtest/gtest.h>

#include <string>

#include "embedded_host/objects/signature.h"
#include "kvrntob/host/ntob.h"

namespace {

using ntob::TOBNameID;
using ntob::TOBString;

TEST(NameID, equal_names_share_one_address) {
  const std::string name = "Dravik.kvr.Map";
  EXPECT_EQ(TOBNameID("Dravik.kvr.Map").characters(), TOBNameID(name.c_str()).characters());
}

TEST(NameID, different_names_differ) {
  EXPECT_FALSE(TOBNameID("any") == TOBNameID("Any"));
  EXPECT_FALSE(TOBNameID("any") == TOBNameID());
}

TEST(NameID, characters_outlive_the_identifier) {
  const char* characters = TOBNameID("short-lived").characters();
  EXPECT_STREQ(characters, "short-lived");
}

TEST(NameID, null_names_nothing) {
  EXPECT_EQ(TOBNameID(nullptr).characters(), nullptr);
  EXPECT_EQ(TOBNameID().characters(), nullptr);
}

TEST(NameID, assignment_takes_the_other_name) {
  TOBNameID name("one");
  name = TOBNameID("two");
  EXPECT_STREQ(name.characters(), "two");
}

TEST(String, copies_its_text) {
  std::string text = "before";
  const TOBString kept(text.c_str());
  text = "after!";
  EXPECT_STREQ(kept.characters(), "before");
}

TEST(String, holds_nothing_by_default_and_for_null) {
  EXPECT_EQ(TOBString().characters(), nullptr);
  EXPECT_EQ(TOBString(nullptr).characters(), nullptr);
  EXPECT_EQ(TOBString(TOBString()).characters(), nullptr);
}

TEST(String, assignment_copies_also_onto_itself) {
  TOBString text("one");
  const TOBString& same = text;
  text = same;
  EXPECT_STREQ(text.characters(), "one");
  text = TOBString("two");
  EXPECT_STREQ(text.characters(), "two");
}

TEST(Signature, keeps_types_in_their_order) {
  vormel::Signature signature;
  for (const char* type : {"any", "int32 scalar", "double scalar", "logical scalar", "string"}) {
    signature.addInput(TOBNameID(type));
  }
  signature.addOutput(TOBNameID("Dravik.kvr.Map"));
  using vormel::CellType;
  const CellType expected[] = {CellType::Any, CellType::Int32Scalar, CellType::DoubleScalar,
                               CellType::LogicalScalar, CellType::String};
  ASSERT_EQ(signature.inputs().size(), 5U);
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(signature.inputs()[i].type, expected[i]);
  EXPECT_EQ(signature.outputs().at(0).type, CellType::Object);
  EXPECT_STREQ(signature.outputs().at(0).name.characters(), "Dravik.kvr.Map");
}

}  // namespace
