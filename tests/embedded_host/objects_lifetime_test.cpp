#include <gtest/gtest.h>

#include "embedded_host/objects/object_record.h"
#include "tests/embedded_host/sample_fixture.h"

namespace {

using kvr::test::aNumber;
using kvr::test::expectHostError;
using kvr::test::SampleTest;
using ntob::TOBInterfacePtr;
using ntob::TOBNameID;
using sample::log;
using vormel::Object;
using vormel::ObjectRecord;
using vormel::OwnedArray;

class Lifetime : public SampleTest {
 protected:
  static void* nativeOf(const Object& object) {
    return tbGetArrayElement(object.handle(), 0)->getNativeInstance(TOBNameID(sample::kBox));
  }
};

TEST_F(Lifetime, last_handle_destroys_the_native_instance_once) {
  const int destroyed = log().destroyed;
  {
    const Object box = aBox();
    const Object same = box;
    EXPECT_EQ(nativeOf(box), nativeOf(same));
  }
  EXPECT_EQ(log().destroyed, destroyed + 1);
}

TEST_F(Lifetime, interface_pointer_keeps_the_object) {
  const int destroyed = log().destroyed;
  Object box = aBox();
  {
    const TOBInterfacePtr object = tbGetArrayElement(box.handle(), 0);
    box = Object();
    EXPECT_EQ(log().destroyed, destroyed);
    EXPECT_FALSE(object->isInvalid());
  }
  EXPECT_EQ(log().destroyed, destroyed + 1);
}

TEST_F(Lifetime, ended_object_is_invalid_and_destroyed_once) {
  const int destroyed = log().destroyed;
  const Object box = aBox();
  host().end(box);
  EXPECT_EQ(log().destroyed, destroyed + 1);
  EXPECT_TRUE(box.isEnded());
  host().end(box);
  EXPECT_EQ(log().destroyed, destroyed + 1);
}

TEST_F(Lifetime, ended_object_answers_validity_alone) {
  const Object box = aBox();
  host().end(box);
  const TOBInterfacePtr object = tbGetArrayElement(box.handle(), 0);
  EXPECT_TRUE(object->isInvalid());
  expectHostError("DeadObject", [&] { object->getClass(); });
  expectHostError("DeadObject", [&] { object->getNativeInstance(TOBNameID(sample::kBox)); });
  expectHostError("DeadObject", [&] { object->getNativeInstance(TOBNameID("other")); });
}

TEST_F(Lifetime, native_instance_of_another_class_is_null) {
  const Object box = aBox();
  const TOBInterfacePtr object = tbGetArrayElement(box.handle(), 0);
  EXPECT_EQ(object->getNativeInstance(TOBNameID("Sample.tools.Other")), nullptr);
  EXPECT_EQ(object->getNativeInstance(TOBNameID()), nullptr);
}

TEST_F(Lifetime, element_of_what_is_no_handle_is_null) {
  const Object box = aBox();
  EXPECT_FALSE(tbGetArrayElement(nullptr, 0));
  EXPECT_FALSE(tbGetArrayElement(aNumber(1).get(), 0));
  EXPECT_FALSE(tbGetArrayElement(box.handle(), 1));
}

TEST_F(Lifetime, interface_pointers_count_through_copies_and_assignment) {
  const Object box = aBox();
  TOBInterfacePtr first = tbGetArrayElement(box.handle(), 0);
  TOBInterfacePtr second = first;
  TOBInterfacePtr third = std::move(first);
  second = third;
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): a moved pointer is null
  third = TOBInterfacePtr();
  EXPECT_TRUE(second);
}

TEST_F(Lifetime, only_handles_can_be_ended) {
  expectHostError("InvalidInput", [] { vormel::endObject(aNumber(1).get()); });
  expectHostError("InvalidInput", [] { vormel::endObject(nullptr); });
}

TEST_F(Lifetime, objects_that_keep_each_other_live_until_one_is_ended) {
  const int destroyed = log().destroyed;
  {
    const Object one = aBox();
    const Object two = aBox();
    one.call("keep", {two});
    two.call("keep", {one});
    const OwnedArray last(vormel::detachedCopy(one.handle()));
    host().end(Object(OwnedArray(vormel::detachedCopy(last.get()))));
    EXPECT_EQ(log().destroyed, destroyed + 1);
  }
  EXPECT_EQ(log().destroyed, destroyed + 2);
}

TEST_F(Lifetime, object_that_keeps_itself_can_be_ended) {
  const int destroyed = log().destroyed;
  const Object box = aBox();
  box.call("keep", {box});
  host().end(box);
  EXPECT_EQ(log().destroyed, destroyed + 1);
}

TEST_F(Lifetime, long_chain_of_objects_is_destroyed_link_by_link) {
  constexpr int kLinks = 200000;
  const int destroyed = log().destroyed;
  {
    const vormel::Method keep = host().method(sample::kBox, "keep");
    Object chain = aBox();
    for (int i = 1; i < kLinks; ++i) {
      Object next = aBox();
      keep(next, {chain});
      chain = std::move(next);
    }
  }
  EXPECT_EQ(log().destroyed, destroyed + kLinks);
}

TEST_F(Lifetime, object_ended_in_its_own_method_keeps_its_native_to_the_end_of_it) {
  const int destroyed = log().destroyed;
  const Object box = aBox();
  EXPECT_EQ(box.call("endItself").toInt32(), destroyed);
  EXPECT_EQ(log().destroyed, destroyed + 1);
  EXPECT_TRUE(box.isEnded());
}

TEST_F(Lifetime, class_without_native_instance_cannot_be_constructed) {
  EXPECT_THROW(host().construct("Sample.tools.Exhausted"), ntob::TOBOutOfMemoryException);
}

TEST_F(Lifetime, failed_constructor_ends_the_object) {
  const int destroyed = log().destroyed;
  kvr::test::expectFailure("EMPTY_KEY", [] { host().construct(sample::kBox, {"fail"}); });
  EXPECT_EQ(log().destroyed, destroyed + 1);
}

}  // namespace
