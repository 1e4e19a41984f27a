// Each of these tests runs in a process of its own: modules stay loaded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "embedded_host/interpreter/interpreter.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace {

using kvr::test::expectHostError;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using vormel::Interpreter;
using vormel::Object;
using vormel::OwnedArray;
using vormel::Value;

class Loading : public kvr::test::LiveArraysTest {
 protected:
  static Interpreter& host() { return Interpreter::instance(); }
  static std::string moduleFile(const char* name) {
    return std::string(SAMPLE_MODULE_DIR) + '/' + name + ".so";
  }
  // After a failed load nothing is registered and the next load works.
  static void expectUntouched() {
    EXPECT_THAT(host().modules(), IsEmpty());
    EXPECT_THAT(host().classNames(), IsEmpty());
    host().loadModule(moduleFile("sample"));
    EXPECT_EQ(host().modules().size(), 1U);
  }
};

TEST_F(Loading, module_registers_its_packages_and_classes) {
  host().loadModule(moduleFile("sample"));
  EXPECT_THAT(host().packageNames(), ElementsAre("Sample", "Sample.tools"));
  EXPECT_THAT(host().classNames(), ElementsAre("Sample.tools.Box", "Sample.tools.Other",
                                               "Sample.tools.Exhausted", "Sample.tools.Partial"));
}

TEST_F(Loading, module_shows_its_name_and_texts) {
  host().loadModule(moduleFile("sample"));
  const Interpreter::Module& module = host().modules().at(0);
  EXPECT_EQ(module.name, "sample");
  EXPECT_EQ(module.version, "1.2.3.4");
  EXPECT_EQ(module.buildDate, "Jan 2 2003");
  EXPECT_EQ(module.path, std::filesystem::canonical(moduleFile("sample")));
}

TEST_F(Loading, missing_file_is_reported) {
  expectHostError("FileNotFound", [] { host().loadModule("/nowhere/sample.so"); });
  expectHostError("FileNotFound", [] { host().loadModule(""); });
  expectUntouched();
}

TEST_F(Loading, file_that_is_no_library_is_reported) {
  const std::string note = ::testing::TempDir() + "vormel_note.so";
  std::ofstream(note) << "no library";
  expectHostError("NotAModule", [&] { host().loadModule(note); });
  expectHostError("NotAModule", [] { host().loadModule(SAMPLE_MODULE_DIR); });
  expectUntouched();
}

TEST_F(Loading, library_without_an_export_is_reported_by_its_symbol) {
  try {
    host().loadModule(moduleFile("incomplete"));
    FAIL();
  } catch (const vormel::HostError& failure) {
    EXPECT_EQ(failure.identifier(), "Vormel:MissingExport");
    EXPECT_THAT(failure.what(), ::testing::HasSubstr("incomplete_build_date"));
  }
  expectUntouched();
}

TEST_F(Loading, module_whose_entry_fails_is_not_registered) {
  EXPECT_THROW(host().loadModule(moduleFile("failing")), std::runtime_error);
  expectUntouched();
}

TEST_F(Loading, second_load_is_refused_under_any_path) {
  host().loadModule(moduleFile("sample"));
  const std::string detour = std::string(SAMPLE_MODULE_DIR) + "/./sample.so";
  expectHostError("AlreadyLoaded", [&] { host().loadModule(detour); });
  EXPECT_EQ(host().packageNames().size(), 2U);
}

class Calling : public Loading {
 protected:
  Calling() { host().loadModule(moduleFile("sample")); }
  static Object aBox(int number) { return host().construct("Sample.tools.Box", {number}); }
};

TEST_F(Calling, method_is_called_by_name_and_held) {
  const Object box = aBox(3);
  EXPECT_EQ(box.call("getNumber").toInt32(), 3);
  const vormel::Method getNumber = host().method("Sample.tools.Box", "getNumber");
  EXPECT_EQ(getNumber(box).toInt32(), 3);
  EXPECT_EQ(getNumber.invoke(box, 0).count, 0);
}

TEST_F(Calling, unknown_names_are_reported) {
  expectHostError("NoSuchClass", [] { host().findClass("Sample.None"); });
  expectHostError("NoSuchClass", [] { host().method("Sample.None", "x"); });
  expectHostError("NoSuchMethod", [] { host().method("Sample.tools.Box", "x"); });
}

TEST_F(Calling, every_cpp_value_reaches_the_method) {
  const Object box = aBox(0);
  const auto echo = [&](const vormel::Argument& value) { return box.call("echo", {value}); };
  EXPECT_EQ(echo(true).className(), "logical");
  EXPECT_EQ(echo(-4).className(), "int32");
  EXPECT_EQ(echo(-4).toInt32(), -4);
  EXPECT_EQ(echo(2.5).toDouble(), 2.5);
  EXPECT_EQ(echo("text").toString(), "text");
  EXPECT_EQ(echo(std::string("\u00fc")).toString(), "\u00fc");
  EXPECT_EQ(echo(echo("again")).toString(), "again");
  EXPECT_EQ(echo(box).className(), "handle");
}

TEST_F(Calling, vectors_go_and_come_as_rows) {
  const Object box = aBox(0);
  const std::vector<double> doubles = {1.5, -2, 0};
  const std::vector<std::int32_t> ints = {7, -8};
  EXPECT_EQ(box.call("echo", {doubles}).toDoubles(), doubles);
  EXPECT_EQ(box.call("echo", {ints}).toInt32s(), ints);
  EXPECT_EQ(box.call("echo", {std::vector<double>()}).size(), 0U);
}

TEST_F(Calling, object_that_names_nothing_is_refused) {
  expectHostError("InvalidInput", [] { Object().call("getNumber"); });
  expectHostError("InvalidInput", [] { Object(kvr::test::aNumber(1)); });
  EXPECT_TRUE(Object().isEnded());
}

TEST_F(Calling, object_knows_its_class) { EXPECT_EQ(aBox(0).cls().fullName(), "Sample.tools.Box"); }

class Reading : public kvr::test::LiveArraysTest {};

TEST_F(Reading, numbers_of_every_class_read_as_doubles) {
  using kvr::test::aNumeric;
  const int classes[] = {vrLOGICAL_CLASS, vrDOUBLE_CLASS, vrSINGLE_CLASS, vrINT8_CLASS,
                         vrUINT8_CLASS,   vrINT16_CLASS,  vrUINT16_CLASS, vrINT32_CLASS,
                         vrUINT32_CLASS,  vrINT64_CLASS,  vrUINT64_CLASS};
  for (const int id : classes) {
    const Value zeros(aNumeric(id, {2, 3}));
    EXPECT_EQ(zeros.toDoubles(), std::vector<double>(6)) << id;
  }
  EXPECT_EQ(Value(kvr::test::aScalar<std::int8_t>(vrINT8_CLASS, -3)).toDoubles().at(0), -3);
  EXPECT_EQ(Value(kvr::test::aScalar<float>(vrSINGLE_CLASS, 0.5)).toDoubles().at(0), 0.5);
}

TEST_F(Reading, what_does_not_fit_is_reported) {
  using kvr::test::aNumber;
  expectHostError("InvalidValue", [] { Value().toDouble(); });
  expectHostError("InvalidValue", [] { Value(kvr::test::aText("1")).toDouble(); });
  expectHostError("InvalidValue", [] { Value(kvr::test::aRow({1, 2})).toDouble(); });
  expectHostError("InvalidValue", [] { Value(aNumber(1.5)).toInt32(); });
  expectHostError("InvalidValue", [] { Value(aNumber(3e9)).toInt32(); });
  expectHostError("InvalidValue", [] { Value(aNumber(__builtin_nan(""))).toBool(); });
  expectHostError("InvalidValue", [] { Value(aNumber(1)).toString(); });
  expectHostError("InvalidValue", [] { Value(kvr::test::aRow({1, 2.5})).toInt32s(); });
  expectHostError("InvalidValue", [] { Value(kvr::test::aCell()).toDoubles(); });
  expectHostError("InvalidValue", [] {
    Value(kvr::test::aComplex(vrDOUBLE_CLASS, {1, 2})).toDoubles();
  });
}

TEST_F(Reading, fields_and_properties_read_by_name) {
  OwnedArray record = kvr::test::aStruct({"first", "second"});
  vrSetFieldByNumber_730(record.get(), 0, 1, kvr::test::aText("here").release());
  const Value value(std::move(record));
  EXPECT_THAT(value.fieldNames(), ElementsAre("first", "second"));
  EXPECT_EQ(value.field("second").toString(), "here");
  expectHostError("InvalidValue", [&] { value.field("third"); });
  expectHostError("InvalidValue", [&] { value.field("first", 1); });
  EXPECT_EQ(Value(kvr::test::aTimeseries({4}, {2})).field("Data").toDouble(), 4);
}

TEST_F(Reading, elements_of_a_cell_array_read_by_index) {
  OwnedArray cell = kvr::test::aCell({1, 2});
  vormel::setCellElement(cell.get(), 1, kvr::test::aNumber(8).release());
  const Value value(std::move(cell));
  EXPECT_EQ(value.element(1).toDouble(), 8);
  expectHostError("InvalidValue", [] { Value().element(0); });
}

TEST_F(Reading, copies_share_and_outlive_each_other) {
  Value copy;
  {
    const Value value(kvr::test::aText("kept"));
    copy = value;
  }
  EXPECT_EQ(copy.toString(), "kept");
  const Value number(std::int32_t{3});
  EXPECT_EQ(Value(number).toInt32(), 3);
}

}  // namespace
