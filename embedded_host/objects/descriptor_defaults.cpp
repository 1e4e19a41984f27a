// The defaults of descriptors that do not override an operation, and the memory of descriptors.
#include "kvrntob/host/libhu.h"
#include "kvrntob/host/ntob.h"

// Names come by value: the border says so. NOLINTBEGIN(performance-unnecessary-value-param)
namespace ntob {

// ---- Methods: public, visible, dispatched on their first input, otherwise nothing special ----

void* TOBMethodInfo::operator new(std::size_t size) noexcept { return huMalloc(size); }
void TOBMethodInfo::operator delete(void* pointer) noexcept { huFree(pointer); }

TOBMethodInfo::TOBMethodInfo() noexcept = default;
TOBMethodInfo::~TOBMethodInfo() = default;

const char* TOBMethodInfo::getDescription() const { return ""; }
const char* TOBMethodInfo::getDetailedDescription() const { return ""; }
TOBAccess TOBMethodInfo::getMemberAccess() const { return TOBAccess::Public; }
bool TOBMethodInfo::isFirstArgDispatch() const { return true; }
bool TOBMethodInfo::isStatic() const { return false; }
bool TOBMethodInfo::isAbstract() const { return false; }
bool TOBMethodInfo::isSealed() const { return false; }
bool TOBMethodInfo::isVisible() const { return true; }
bool TOBMethodInfo::isDestructible() const { return true; }
bool TOBMethodInfo::isLocked() const { return false; }
bool TOBMethodInfo::doesMethodOverrideAllSignatures() const { return false; }

// ---- Classes: public, without properties and events, not saved ----

void* TOBClassInfo::operator new(std::size_t size) {
  void* place = huCalloc(size, 1);
  if (place == nullptr) throw TOBOutOfMemoryException();
  return place;
}
void TOBClassInfo::operator delete(void* pointer) noexcept { huFree(pointer); }

TOBClassInfo::TOBClassInfo() noexcept = default;
TOBClassInfo::~TOBClassInfo() = default;

TOBAccess TOBClassInfo::getAccess() const { return TOBAccess::Public; }
bool TOBClassInfo::isHidden() const { return false; }
bool TOBClassInfo::isPropertyNameReservedByThisClass(const char*) const { return false; }
bool TOBClassInfo::isEnumeration() const { return false; }
TOBAccess TOBClassInfo::getConnectAccess() const { return TOBAccess::Public; }
int TOBClassInfo::getConnectivity() const { return 0; }
void* TOBClassInfo::getCustomConnector() const { return nullptr; }
bool TOBClassInfo::areChildrenSaved() const { return false; }
bool TOBClassInfo::isPropertyTruncationAllowed() const { return false; }
bool TOBClassInfo::isConstructedOnLoad() const { return false; }
bool TOBClassInfo::arePropertiesCaseInsensitive() const { return false; }
bool TOBClassInfo::isInstanceLeaf() const { return true; }
bool TOBClassInfo::isDestructible() const { return true; }
bool TOBClassInfo::isLocked() const { return false; }
bool TOBClassInfo::attemptToLoadProperty(TOBNameID) { return false; }
bool TOBClassInfo::attemptToLoadMethod(TOBNameID) { return false; }
bool TOBClassInfo::attemptToLoadEvent(TOBNameID) { return false; }
void TOBClassInfo::instanceLoaded(void*) {}
vrArray* TOBClassInfo::customSave(void*) { return nullptr; }
void* TOBClassInfo::customLoad(const vrArray*) { return nullptr; }
const char* TOBClassInfo::getModule() const { return ""; }
bool TOBClassInfo::areClassFunctionsAllowed() const { return true; }
bool TOBClassInfo::doEventsHaveSeparateNamespace() const { return false; }

// ---- Packages: everything comes with loadPackageContents, nothing name by name ----

void* TOBPackageInfo::operator new(std::size_t size) noexcept { return huMalloc(size); }
void TOBPackageInfo::operator delete(void* pointer) noexcept { huFree(pointer); }

TOBPackageInfo::TOBPackageInfo() noexcept = default;
TOBPackageInfo::~TOBPackageInfo() = default;

const char* TOBPackageInfo::getDescription() const { return ""; }
const char* TOBPackageInfo::getDetailedDescription() const { return ""; }
bool TOBPackageInfo::attemptToLoadSubPackage(TOBNameID) { return false; }
bool TOBPackageInfo::attemptToLoadClass(TOBNameID) { return false; }
bool TOBPackageInfo::attemptToLoadFunction(TOBNameID) { return false; }
bool TOBPackageInfo::attemptToLoadType(TOBNameID) { return false; }
void* TOBPackageInfo::getMethodSelector(TOBNameID) const { return nullptr; }
bool TOBPackageInfo::isDestructible() const { return true; }
bool TOBPackageInfo::isLocked() const { return false; }

}  // namespace ntob
// NOLINTEND(performance-unnecessary-value-param)
