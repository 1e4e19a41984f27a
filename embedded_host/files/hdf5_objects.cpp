#include "embedded_host/files/hdf5_objects.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vormel {
namespace {

constexpr std::size_t longestText = 60'000;

void requireHard(const H5L_info_t& link) {
  if (link.type != H5L_TYPE_HARD) throw FileFault("found a link that leads elsewhere");
}

Hdf5Type textType(std::size_t size) {
  Hdf5Type type(H5Tcopy(H5T_C_S1), "make a text type");
  require(H5Tset_size(type.get(), std::max<std::size_t>(size, 1)), "size a text type");
  require(H5Tset_strpad(type.get(), H5T_STR_NULLPAD), "pad a text type");
  return type;
}

void writeAttribute(hid_t object, const char* name, hid_t type, const Hdf5Space& space,
                    const void* value) {
  const Hdf5Attribute attribute(
      H5Acreate2(object, name, type, space.get(), H5P_DEFAULT, H5P_DEFAULT), "make an attribute");
  require(H5Awrite(attribute.get(), type, value), "write an attribute");
}

// For opening over hard links alone: the library gives up at any other, whether it would stay in
// the file or not. A limit of none can be set by the property's name only.
hid_t hardLinksOnly() {
  static const hid_t list = [] {
    Hdf5List made(H5Pcreate(H5P_LINK_ACCESS), "make a property list");
    const std::size_t none = 0;
    require(H5Pset(made.get(), "max soft links", &none), "set a property");
    return made.release();
  }();
  return list;
}

// True if every link of a path that did not open is there, the last of which then leads to nothing.
// Throws for a link that leads elsewhere.
bool hasAllLinks(hid_t group, const std::string& path) {
  std::size_t end = 0;
  do {
    end = path.find('/', end + 1);
    H5L_info_t link;
    if (H5Lget_info(group, path.substr(0, end).c_str(), &link, hardLinksOnly()) < 0) return false;
    requireHard(link);
  } while (end != std::string::npos);
  return true;
}

struct MemberList {
  std::vector<Member> members;
  std::exception_ptr failure;
};

// Adds the member to the list. Called by the library, so that nothing may be thrown.
herr_t addMember(hid_t /*group*/, const char* name, const H5L_info_t* link, void* data) {
  auto& list = *static_cast<MemberList*>(data);
  try {
    list.members.push_back({name, *link});
    return 0;
  } catch (...) {
    list.failure = std::current_exception();
    return -1;
  }
}

}  // namespace

SilentHdf5::SilentHdf5() noexcept {
  H5Eget_auto2(H5E_DEFAULT, &function_, &data_);
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

SilentHdf5::~SilentHdf5() {
  H5Eclear2(H5E_DEFAULT);
  H5Eset_auto2(H5E_DEFAULT, function_, data_);
}

std::optional<Hdf5Object> openMember(hid_t group, const std::string& path) {
  const hid_t object = H5Oopen(group, path.c_str(), hardLinksOnly());
  if (object < 0 && !hasAllLinks(group, path)) return std::nullopt;
  return Hdf5Object(object, "open an object");
}

Hdf5Object openMember(hid_t group, const Member& member) {
  requireHard(member.link);
  return {H5Oopen_by_addr(group, member.link.u.address), "open an object"};
}

bool isGroup(const Hdf5Object& object) { return H5Iget_type(object.get()) == H5I_GROUP; }
bool isDataset(const Hdf5Object& object) { return H5Iget_type(object.get()) == H5I_DATASET; }

std::size_t memberCount(hid_t group) {
  H5G_info_t info;
  require(H5Gget_info(group, &info), "read a group");
  return info.nlinks;
}

std::vector<Member> membersOf(hid_t group) {
  MemberList list;
  const herr_t status =
      H5Literate(group, H5_INDEX_CRT_ORDER, H5_ITER_INC, nullptr, addMember, &list);
  if (list.failure != nullptr) std::rethrow_exception(list.failure);  // not a damaged group
  require(status, "read the names in a group");
  return std::move(list.members);
}

bool hasAttribute(hid_t object, const char* name) { return H5Aexists(object, name) > 0; }

void writeText(hid_t object, const char* name, const std::string& text) {
  if (text.size() > longestText) throw FileFault("cannot keep a name of this length");
  std::string padded = text;
  padded.resize(std::max<std::size_t>(text.size(), 1));
  writeAttribute(object, name, textType(text.size()).get(),
                 Hdf5Space(H5Screate(H5S_SCALAR), "make a space"), padded.data());
}

std::string readText(hid_t object, const char* name) {
  const Hdf5Attribute attribute(H5Aopen(object, name, H5P_DEFAULT), "open an attribute");
  const Hdf5Type stored(H5Aget_type(attribute.get()), "read an attribute's type");
  const std::size_t size = H5Tget_size(stored.get());
  if (H5Tget_class(stored.get()) != H5T_STRING || H5Tis_variable_str(stored.get()) != 0 ||
      size == 0 || size > longestText || H5Aget_storage_size(attribute.get()) != size) {
    throw FileFault("found an attribute that is no text");
  }
  std::string text(size, '\0');
  require(H5Aread(attribute.get(), stored.get(), text.data()), "read an attribute");
  text.resize(std::min(text.size(), text.find('\0')));
  return text;
}

void writeNumbers(hid_t object, const char* name, const std::vector<std::uint64_t>& numbers) {
  const hsize_t count = numbers.size();
  writeAttribute(object, name, H5T_STD_U64LE,
                 Hdf5Space(H5Screate_simple(1, &count, nullptr), "make a space"), numbers.data());
}

std::vector<std::uint64_t> readNumbers(hid_t object, const char* name) {
  const Hdf5Attribute attribute(H5Aopen(object, name, H5P_DEFAULT), "open an attribute");
  const Hdf5Type stored(H5Aget_type(attribute.get()), "read an attribute's type");
  const hsize_t size = H5Aget_storage_size(attribute.get());
  if (H5Tequal(stored.get(), H5T_STD_U64LE) <= 0 || size == 0 || size > longestText) {
    throw FileFault("found an attribute that is no list of numbers");
  }
  std::vector<std::uint64_t> numbers(size / sizeof(std::uint64_t));
  require(H5Aread(attribute.get(), H5T_STD_U64LE, numbers.data()), "read an attribute");
  return numbers;
}

}  // namespace vormel
