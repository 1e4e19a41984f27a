// The loadable module: its exports, what it registers, and that it works through them. Each of
// these tests runs in a process of its own.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/call_frame.h"
#include "embedded_host/objects/object_record.h"
#include "kvrntob/binding/module.h"
#include "tests/binding/add_inputs.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/faults.h"
#include "tests/support/live_arrays.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::UnorderedElementsAre;
using vormel::Interpreter;
using vormel::Object;

constexpr const char* kModule = KVRNTOB_MODULE;
constexpr const char* kRepository = "Dravik.kvr.SignalRepository";

// What a command writes to its standard output.
std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string output;
  char buffer[4096];
  while (const std::size_t count = fread(buffer, 1, sizeof buffer, pipe.get()))
    output.append(buffer, count);
  return output;
}

// ---- The file and its exports, no host running ----

class Exports : public ::testing::Test {
 protected:
  template <class T>
  T* find(const char* symbol) const {
    return reinterpret_cast<T*>(dlsym(library, symbol));
  }
  // Called as what they are, and read as words.
  const std::uint64_t* functionTable() const {
    const void* table = find<const ModuleFunctionTable*()>("QueryVMFcnTable_kvrntob")();
    return static_cast<const std::uint64_t*>(table);
  }
  const std::uint64_t* functionList() const {
    return static_cast<const std::uint64_t*>(find<const void*()>("QueryVMFcns_kvrntob")());
  }
  std::string text(const char* symbol) const { return *find<const char*>(symbol); }

  void* const library = dlopen(kModule, RTLD_NOW | RTLD_LOCAL);
};

TEST_F(Exports, are_exactly_six_symbols) {
  std::vector<std::string> names;
  std::istringstream lines(outputOf(std::string("nm -D --defined-only '") + kModule + "'"));
  for (std::string address, kind, name; lines >> address >> kind >> name;) names.push_back(name);
  EXPECT_THAT(names, UnorderedElementsAre("VMInitialize_kvrntob", "VMTerminate_kvrntob",
                                          "QueryVMFcnTable_kvrntob", "QueryVMFcns_kvrntob",
                                          "kvrntob_version", "kvrntob_build_date"));
}

TEST_F(Exports, module_loads_without_undefined_symbols) {
  ASSERT_NE(library, nullptr) << dlerror();
}

TEST_F(Exports, function_list_begins_with_zero_at_an_address_that_stays) {
  EXPECT_EQ(functionList()[0], 0U);
  EXPECT_EQ(functionList(), functionList());
}

TEST_F(Exports, function_table_holds_list_tag_time_and_zero) {
  const std::uint64_t* table = functionTable();
  EXPECT_EQ(table[0], reinterpret_cast<std::uintptr_t>(functionList()));
  EXPECT_EQ(table[1] >> 32, 0U);
  EXPECT_GT(table[2], 0U);
  EXPECT_LE(table[2], static_cast<std::uint64_t>(std::time(nullptr)));
  EXPECT_EQ(table[3], 0U);
}

TEST_F(Exports, version_is_the_projects_as_four_dotted_numbers) {
  EXPECT_EQ(text("kvrntob_version"), PROJECT_VERSION);
  EXPECT_THAT(text("kvrntob_version"), MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST_F(Exports, build_date_is_month_day_and_year_of_the_time_stamp) {
  EXPECT_THAT(text("kvrntob_build_date"), MatchesRegex("[A-Z][a-z][a-z] [0-9]+ [0-9]+"));
  const auto seconds = static_cast<std::time_t>(functionTable()[2]);
  char date[32];
  std::strftime(date, sizeof date, "%b %d %Y", std::gmtime(&seconds));
  EXPECT_EQ(text("kvrntob_build_date"), date);
}

// ---- The facts of a build ----

// What the script writes for a build at the time of SOURCE_DATE_EPOCH.
std::string buildInfoAt(const std::string& epoch) {
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / ("build_info_" + std::to_string(getpid()));
  outputOf("SOURCE_DATE_EPOCH=" + epoch + " '" CMAKE_PROGRAM "' -DVERSION=1.2.3.4 -DOUTPUT='" +
           file.string() + "' -P '" BUILD_INFO_SCRIPT "'");
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  std::filesystem::remove(file);
  return content.str();
}

TEST(BuildInfo, takes_date_and_time_stamp_from_source_date_epoch) {
  const std::string info = buildInfoAt("1000000000");
  EXPECT_THAT(info, ::testing::HasSubstr("kModuleVersion = \"1.2.3.4\";"));
  EXPECT_THAT(info, ::testing::HasSubstr("kBuildDate = \"Sep 09 2001\";"));
  EXPECT_THAT(info, ::testing::HasSubstr("kBuildTime = 1000000000;"));
}

TEST(BuildInfo, is_the_same_for_the_same_time_and_another_for_another) {
  EXPECT_EQ(buildInfoAt("1000000000"), buildInfoAt("1000000000"));
  EXPECT_NE(buildInfoAt("1000000000"), buildInfoAt("1000000001"));
}

// ---- What it registers ----

class LoadedModule : public Exports {
 protected:
  LoadedModule() { host().loadModule(kModule); }

  static Interpreter& host() { return Interpreter::instance(); }
};

TEST_F(LoadedModule, registers_one_root_package) {
  ASSERT_EQ(vormel::rootPackages().size(), 1U);
  EXPECT_STREQ(vormel::rootPackages()[0]->descriptor().getName(), "Dravik");
}

// Descriptors lie in host memory: the root package's is the only one that loading asks for.
TEST(Loading, pulls_nothing_beyond_the_root_package) {
  const FaultPlan counting(FaultSite::Memory, 0);
  Interpreter::instance().loadModule(kModule);
  EXPECT_EQ(counting.seen(), 1U);
  EXPECT_THAT(Interpreter::instance().classNames(), ElementsAre(kRepository, "Dravik.kvr.Map"));
  EXPECT_EQ(counting.seen(), 4U) << "the inner package and two classes, once they are asked for";
}

TEST(Loading, without_memory_for_the_root_package_registers_nothing) {
  {
    const FaultPlan exhausted(FaultSite::Memory, 1);
    Interpreter::instance().loadModule(kModule);
    EXPECT_EQ(exhausted.injected(), 1U);
  }
  EXPECT_TRUE(vormel::rootPackages().empty());
}

TEST_F(LoadedModule, holds_two_packages_and_two_classes_in_order) {
  EXPECT_THAT(host().packageNames(), ElementsAre("Dravik", "Dravik.kvr"));
  EXPECT_THAT(host().classNames(), ElementsAre(kRepository, "Dravik.kvr.Map"));
  EXPECT_STREQ(vormel::findPackage("Dravik.kvr")->descriptor().getName(), "kvr");
}

TEST_F(LoadedModule, classes_report_their_names_and_descriptions) {
  const ntob::TOBClassInfo& repository = host().findClass(kRepository).descriptor();
  EXPECT_STREQ(repository.getName(), "SignalRepository");
  // They differ in the case of a letter.
  EXPECT_STREQ(repository.getDescription(), "Dravik KVR Data container");
  EXPECT_STREQ(repository.getDetailedDescription(), "Dravik KVR Data Container");
  const ntob::TOBClassInfo& map = host().findClass("Dravik.kvr.Map").descriptor();
  EXPECT_STREQ(map.getName(), "Map");
  EXPECT_STREQ(map.getDescription(), "Dravik KVR Map Container");
  EXPECT_STREQ(map.getDetailedDescription(), "Dravik KVR Map Container");
}

TEST_F(LoadedModule, classes_answer_flags_and_name_queries_with_fixed_values) {
  for (const char* name : {kRepository, "Dravik.kvr.Map"}) {
    const ntob::TOBClassInfo& cls = host().findClass(name).descriptor();
    EXPECT_TRUE(cls.firstFlag());
    EXPECT_TRUE(cls.secondFlag());
    EXPECT_FALSE(cls.thirdFlag());
    EXPECT_FALSE(cls.fourthFlag());
    for (const char* any : {"add", "nothing", ""}) {
      EXPECT_FALSE(cls.firstNameQuery(ntob::TOBNameID(any)));
      EXPECT_FALSE(cls.secondNameQuery(ntob::TOBNameID(any)));
    }
  }
}

TEST_F(LoadedModule, registers_as_many_methods_as_there_are_rows) {
  EXPECT_EQ(host().findClass(kRepository).methods().size(), std::size(kRepositoryRows));
  EXPECT_EQ(host().findClass("Dravik.kvr.Map").methods().size(), std::size(kMapRows));
}

TEST_F(LoadedModule, shows_the_texts_of_its_exports) {
  const Interpreter::Module& module = host().modules().at(0);
  EXPECT_EQ(module.name, "kvrntob");
  EXPECT_EQ(module.version, PROJECT_VERSION);
  EXPECT_EQ(module.buildDate, text("kvrntob_build_date"));
}

TEST_F(LoadedModule, is_not_loaded_twice) {
  expectHostError("AlreadyLoaded", [] { host().loadModule(kModule); });
  EXPECT_EQ(vormel::rootPackages().size(), 1U);
}

// ---- That it works ----

TEST_F(LoadedModule, signal_goes_in_and_comes_out_again) {
  const LiveArraysGuard live;
  const Object store = host().construct(kRepository);
  EXPECT_EQ(store.call("createEmptyRun", {"run", 1}).toInt32(), 1);
  {
    const vormel::MethodRecord& add = host().method(kRepository, "add").record();
    vormel::CallFrame frame(add, AddInputs::kCount, 1);
    const AddInputs inputs(1);
    frame.setInput(0, store.handle());
    for (std::size_t i = 1; i < AddInputs::kCount; ++i) frame.setInput(i, inputs.at(i));
    frame.run();
    EXPECT_EQ(frame.int32At(0), 1);
  }
  EXPECT_EQ(store.call("getSignal", {1}).field("SignalLabel").toString(), "label");
  store.call("removeRun", {1});
}

TEST_F(LoadedModule, two_objects_have_one_native_instance_and_its_end_leaves_the_store) {
  Object first = host().construct(kRepository);
  const Object second = host().construct(kRepository);
  const void* native = vormel::ObjectRecord::behind(first.handle())->nativeInstance();
  EXPECT_EQ(native, vormel::ObjectRecord::behind(second.handle())->nativeInstance());
  first.call("createEmptyRun", {"run", 1});
  host().end(first);
  EXPECT_EQ(second.call("getRunCount").toInt32(), 1);
  EXPECT_EQ(host().construct(kRepository).call("getRunCount").toInt32(), 1);
}

TEST_F(LoadedModule, terminating_it_changes_nothing) {
  const Object store = host().construct(kRepository);
  store.call("createEmptyRun", {"run", 1});
  find<void()>("VMTerminate_kvrntob")();
  EXPECT_EQ(store.call("getRunName", {1}).toString(), "run");
  EXPECT_EQ(host().construct(kRepository).call("getRunCount").toInt32(), 1);
  EXPECT_EQ(functionList()[0], 0U);
}

TEST_F(LoadedModule, failure_arrives_as_the_hosts_exception_with_its_class_word_and_function) {
  const Object store = host().construct(kRepository);
  expectFailure("NON_EXISTENT", "Run ID", [&] { store.call("getRunName", {99}); });
  try {
    store.call("getRunName", {99});
  } catch (const Quenrath::System::IException& failure) {
    EXPECT_STREQ(failure.what(), "'Run ID' does not exist.");
    return;
  }
  FAIL() << "no failure";
}

}  // namespace
}  // namespace kvr::test
