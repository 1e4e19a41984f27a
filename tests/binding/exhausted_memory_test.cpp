// The host memory in which the module's descriptors lie, and what happens when it runs out while
// they are registered. The host memory of this program is its own, and each of its tests runs in a
// process of its own.
#include <cstddef>
#include <cstdlib>
#include <memory>

#include "embedded_host/objects/records.h"
#include "kvrntob/binding/methods.h"
#include "kvrntob/binding/packages.h"
#include "kvrntob/host/libhu.h"
#include "kvrntob/typedmap/map_class.h"
#include "kvrntob/typedmap/map_methods.h"
#include "kvrntob/typedmap/map_object.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/method_rows.h"

namespace {

// Blocks of this size are given out as often as the allowance says; all others always.
std::size_t scarceSize = 0;
std::size_t allowance = 0;
std::size_t refusals = 0;
void* lastPlain = nullptr;   // of huMalloc
void* lastZeroed = nullptr;  // of huCalloc
void* lastFreed = nullptr;
int blocksOfHostClassInfo = 0;  // asked of the host's own TOBClassInfo

bool isRefused(std::size_t size) {
  if (size != scarceSize) return false;
  if (allowance == 0) {
    ++refusals;
    return true;
  }
  --allowance;
  return false;
}

}  // namespace

VORMEL_HOST_API void* huMalloc(std::size_t size) noexcept {
  return lastPlain = isRefused(size) ? nullptr : std::malloc(size);
}

VORMEL_HOST_API void* huCalloc(std::size_t size, std::size_t count) noexcept {
  return lastZeroed = isRefused(size * count) ? nullptr : std::calloc(count, size);
}

VORMEL_HOST_API void huFree(void* pointer) noexcept {
  lastFreed = pointer;
  std::free(pointer);
}

void* ntob::TOBClassInfo::operator new(std::size_t size) {
  ++blocksOfHostClassInfo;
  return huCalloc(size, 1);
}

namespace kvr::test {
namespace {

void allow(std::size_t count, std::size_t size) {
  scarceSize = size;
  allowance = count;
}

vormel::PackageRecord& registered() {
  ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
  return *vormel::findPackage("Dravik.kvr");
}

TEST(ExhaustedMemory, for_the_root_package_registers_nothing) {
  allow(0, sizeof(DRAVIKNTOBPackageInfo));
  ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
  EXPECT_EQ(refusals, 1U);
  EXPECT_TRUE(vormel::rootPackages().empty());
}

TEST(ExhaustedMemory, for_the_inner_package_leaves_the_root_package_without_it) {
  ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
  allow(0, sizeof(KVRNTOBPackageInfo));
  EXPECT_TRUE(vormel::rootPackages().at(0)->subPackages().empty());
  EXPECT_EQ(refusals, 1U);
}

TEST(ExhaustedMemory, for_the_first_class_is_thrown) {
  vormel::PackageRecord& package = registered();
  allow(0, sizeof(SignalRepositoryTOBClassInfo));
  EXPECT_THROW(package.classes(), ntob::TOBOutOfMemoryException);
  EXPECT_TRUE(package.classes().empty());
}

TEST(ExhaustedMemory, for_the_second_class_is_thrown_and_the_first_stays) {
  vormel::PackageRecord& package = registered();
  allow(1, sizeof(SignalRepositoryTOBClassInfo));
  EXPECT_THROW(package.classes(), ntob::TOBOutOfMemoryException);
  ASSERT_EQ(package.classes().size(), 1U);
  EXPECT_EQ(package.classes()[0]->name(), "SignalRepository");
}

// A repository's method fails loudly ...
TEST(ExhaustedMemory, for_a_repository_method_is_thrown_and_the_earlier_methods_stay) {
  vormel::ClassRecord& repository = *registered().classes().at(0);
  const std::size_t half = std::size(kRepositoryRows) / 2;
  allow(half, sizeof(SignalRepositoryDestructor));
  EXPECT_THROW(repository.methods(), ntob::TOBOutOfMemoryException);
  EXPECT_EQ(refusals, 1U) << "nothing is tried again";
  ASSERT_EQ(repository.methods().size(), half);
  EXPECT_EQ(repository.methods().back()->name(), kRepositoryRows[half - 1].name);
}

TEST(ExhaustedMemory, exception_is_caught_as_each_of_its_bases) {
  vormel::ClassRecord& repository = *registered().classes().at(0);
  allow(0, sizeof(SignalRepositoryDestructor));
  try {
    repository.methods();
    FAIL() << "nothing thrown";
  } catch (const std::exception& failure) {
    EXPECT_NE(dynamic_cast<const ntob::TOBOutOfMemoryException*>(&failure), nullptr);
    EXPECT_NE(dynamic_cast<const ntob::TOBMsgException*>(&failure), nullptr);
    EXPECT_NE(dynamic_cast<const ntob::TOBException*>(&failure), nullptr);
    EXPECT_NE(dynamic_cast<const Quenrath::System::IUserException*>(&failure), nullptr);
    EXPECT_NE(dynamic_cast<const Quenrath::System::IException*>(&failure), nullptr);
  }
}

// Where an object lies, and that it gives its block back when it is deleted through its base.
template <class Base, class Object>
void expectBlockOf(void* const& lastBlock) {
  std::unique_ptr<Base> object(new Object);
  const void* block = object.get();
  EXPECT_EQ(lastBlock, block);
  object.reset();
  EXPECT_EQ(lastFreed, block);
}

TEST(DescriptorMemory, of_classes_and_repository_methods_is_zeroed) {
  expectBlockOf<ntob::TOBClassInfo, SignalRepositoryTOBClassInfo>(lastZeroed);
  expectBlockOf<ntob::TOBClassInfo, DataMapTOBClassInfo>(lastZeroed);
  expectBlockOf<ntob::TOBMethodInfo, SignalRepositoryDestructor>(lastZeroed);
  expectBlockOf<ntob::TOBMethodInfo, SignalRepositoryPutData>(lastZeroed);
}

// The module asks for the memory of its class descriptors, whatever the host's base class does.
TEST(DescriptorMemory, of_classes_is_not_left_to_the_hosts_base_class) {
  const std::unique_ptr<ntob::TOBClassInfo> repository(new SignalRepositoryTOBClassInfo);
  const std::unique_ptr<ntob::TOBClassInfo> map(new DataMapTOBClassInfo);
  EXPECT_EQ(blocksOfHostClassInfo, 0);
}

TEST(DescriptorMemory, of_packages_and_map_methods_is_the_hosts_own) {
  expectBlockOf<ntob::TOBPackageInfo, DRAVIKNTOBPackageInfo>(lastPlain);
  expectBlockOf<ntob::TOBPackageInfo, KVRNTOBPackageInfo>(lastPlain);
  expectBlockOf<ntob::TOBMethodInfo, DataMapConstructor>(lastPlain);
  expectBlockOf<ntob::TOBMethodInfo, DataMapClear>(lastPlain);
}

TEST(NativeMemory, of_a_map_object_and_of_its_map_is_the_hosts_own) {
  auto native = std::make_unique<DataMapWrapper>();
  const void* map = native->wrapper.get();
  EXPECT_EQ(lastPlain, map);
  native->wrapper.reset();
  EXPECT_EQ(lastFreed, map);
  const void* object = native.get();
  native.reset();
  EXPECT_EQ(lastFreed, object);
}

// ... a map's is passed on as null.
TEST(ExhaustedMemory, for_a_map_method_leaves_the_class_without_it) {
  vormel::ClassRecord& map = *registered().classes().at(1);
  allow(3, sizeof(DataMapClear));
  EXPECT_EQ(map.methods().size(), 3U);
  EXPECT_EQ(refusals, std::size(kMapRows) - 3);
}

}  // namespace
}  // namespace kvr::test
