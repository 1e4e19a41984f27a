#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "embedded_host/objects/records.h"
#include "tests/embedded_host/sample_fixture.h"

namespace {

using kvr::test::SampleTest;
using ::testing::ElementsAre;
using vormel::ClassRecord;
using vormel::findClass;
using vormel::findPackage;
using vormel::MethodRecord;

class Records : public SampleTest {
 protected:
  static ClassRecord& box() { return *findClass(sample::kBox); }
};

TEST_F(Records, null_root_package_registers_nothing) {
  const std::size_t before = vormel::rootPackages().size();
  ntob::TOBPackage::addPackage(nullptr);
  EXPECT_EQ(vormel::rootPackages().size(), before);
}

TEST_F(Records, packages_are_found_by_full_name) {
  ASSERT_NE(findPackage("Sample"), nullptr);
  ASSERT_NE(findPackage("Sample.tools"), nullptr);
  EXPECT_EQ(findPackage("Sample.tools")->fullName(), "Sample.tools");
  EXPECT_EQ(findPackage("Sample.tools")->name(), "tools");
}

TEST_F(Records, unknown_packages_are_not_found) {
  for (const char* name :
       {"", ".", "Nothing", "Sample.", "Sample.Tools", "Sample.tools.x", "tools"}) {
    EXPECT_EQ(findPackage(name), nullptr) << name;
  }
}

TEST_F(Records, unknown_classes_are_not_found) {
  for (const char* name :
       {"", ".", "Box", "Sample.Box", "Sample.tools.", "Sample.tools.box", "Sample.tools..Box"}) {
    EXPECT_EQ(findClass(name), nullptr) << name;
  }
}

TEST_F(Records, classes_keep_their_order_without_the_null_one) {
  std::vector<std::string> names;
  for (const auto& cls : findPackage("Sample.tools")->classes()) names.push_back(cls->name());
  EXPECT_THAT(names, ElementsAre("Box", "Other", "Exhausted", "Partial"));
}

TEST_F(Records, contents_are_pulled_once) {
  findClass(sample::kBox)->methods();
  findClass(sample::kBox)->findMethod("keep");
  findPackage("Sample.tools")->subPackages();
  EXPECT_EQ(sample::log().packageLoads, 1);
  EXPECT_EQ(sample::log().methodLoads, 1);
}

TEST_F(Records, class_knows_its_names_and_descriptor) {
  EXPECT_EQ(box().name(), "Box");
  EXPECT_EQ(box().fullName(), sample::kBox);
  EXPECT_STREQ(box().descriptor().getDetailedDescription(), "a sample class");
  ntob::TOBNameID name;
  box().getClassNameID(name);
  EXPECT_STREQ(name.characters(), sample::kBox);
}

TEST_F(Records, methods_keep_every_registration_in_order) {
  const auto& methods = box().methods();
  ASSERT_EQ(methods.size(), 19U);
  EXPECT_EQ(methods.front()->name(), "Box");
  EXPECT_EQ(methods[7]->name(), "echo");
  EXPECT_EQ(methods[8]->name(), "echo");
  EXPECT_EQ(methods.back()->name(), "free");
}

TEST_F(Records, look_up_of_a_doubled_name_finds_the_first) {
  EXPECT_EQ(box().findMethod("echo"), box().methods()[7].get());
  EXPECT_EQ(box().findMethod("echo")->inputs().size(), 1U);
}

TEST_F(Records, unknown_methods_are_not_found) {
  EXPECT_EQ(box().findMethod("Echo"), nullptr);
  EXPECT_EQ(box().findMethod(""), nullptr);
}

TEST_F(Records, constructor_is_told_from_methods) {
  EXPECT_EQ(box().constructor(), box().methods()[0].get());
  EXPECT_TRUE(box().constructor()->isConstructor());
  EXPECT_FALSE(box().constructor()->isDispatchedOnObject());
  EXPECT_FALSE(box().findMethod("echo")->isConstructor());
  EXPECT_EQ(findClass("Sample.tools.Other")->constructor(), nullptr);
}

TEST_F(Records, methods_with_any_or_object_first_are_dispatched_on_it) {
  EXPECT_TRUE(box().findMethod("echo")->isDispatchedOnObject());
  EXPECT_TRUE(box().findMethod("keep")->isDispatchedOnObject());
  EXPECT_FALSE(box().findMethod("free")->isDispatchedOnObject());
}

TEST_F(Records, failing_load_keeps_what_was_added_and_is_not_tried_again) {
  ClassRecord& partial = *findClass("Sample.tools.Partial");
  EXPECT_THROW(partial.methods(), ntob::TOBOutOfMemoryException);
  EXPECT_EQ(partial.methods().size(), 1U);
  EXPECT_NE(partial.findMethod("first"), nullptr);
  EXPECT_EQ(sample::log().partialLoads, 1);
}

TEST_F(Records, defaults_of_descriptors) {
  const ntob::TOBMethodInfo& method = box().findMethod("keep")->descriptor();
  EXPECT_EQ(method.getMemberAccess(), ntob::TOBAccess::Public);
  EXPECT_STREQ(method.getDescription(), "");
  EXPECT_TRUE(method.isVisible());
  EXPECT_FALSE(method.isStatic());
  EXPECT_FALSE(box().descriptor().isHidden());
  EXPECT_FALSE(box().descriptor().attemptToLoadMethod(ntob::TOBNameID("x")));
  EXPECT_EQ(box().descriptor().customSave(nullptr), nullptr);
  EXPECT_FALSE(findPackage("Sample")->descriptor().isLocked());
}

TEST_F(Records, forgotten_root_packages_are_gone) {
  const std::size_t before = vormel::rootPackages().size();
  sample::registerPackages();
  ASSERT_EQ(vormel::rootPackages().size(), before + 1);
  vormel::forgetRootPackagesAfter(before);
  EXPECT_EQ(vormel::rootPackages().size(), before);
}

}  // namespace
