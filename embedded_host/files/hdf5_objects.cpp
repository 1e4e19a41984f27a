#include "embedded_host/files/hdf5_objects.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vormel {
namespace {

constexpr std::size_t longestText = 60'000;

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

struct NameList {
  std::vector<std::string> names;
  std::exception_ptr failure;
};

// Adds the name to the list. Called by the library, so that nothing may be thrown.
herr_t addName(hid_t /*group*/, const char* name, const H5L_info_t* /*info*/, void* data) {
  auto& list = *static_cast<NameList*>(data);
  try {
    list.names.emplace_back(name);
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

std::optional<Hdf5Object> openMember(hid_t group, const std::string& name) {
  H5L_info_t link;
  if (H5Lget_info(group, name.c_str(), &link, H5P_DEFAULT) < 0) return std::nullopt;
  if (link.type != H5L_TYPE_HARD) throw FileFault("found a link that leads elsewhere");
  return Hdf5Object(H5Oopen_by_addr(group, link.u.address), "open an object");
}

bool isGroup(const Hdf5Object& object) { return H5Iget_type(object.get()) == H5I_GROUP; }
bool isDataset(const Hdf5Object& object) { return H5Iget_type(object.get()) == H5I_DATASET; }

std::size_t memberCount(hid_t group) {
  H5G_info_t info;
  require(H5Gget_info(group, &info), "read a group");
  return info.nlinks;
}

std::vector<std::string> memberNames(hid_t group) {
  NameList list;
  const herr_t status = H5Literate(group, H5_INDEX_CRT_ORDER, H5_ITER_INC, nullptr, addName, &list);
  if (list.failure != nullptr) std::rethrow_exception(list.failure);  // not a damaged group
  require(status, "read the names in a group");
  return std::move(list.names);
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
  const Hdf5Space space(H5Aget_space(attribute.get()), "read an attribute's space");
  const std::size_t size = H5Tget_size(stored.get());
  if (H5Tget_class(stored.get()) != H5T_STRING || H5Tis_variable_str(stored.get()) != 0 ||
      H5Sget_simple_extent_npoints(space.get()) != 1 || size == 0 || size > longestText) {
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
  const Hdf5Space space(H5Aget_space(attribute.get()), "read an attribute's space");
  const hssize_t count = H5Sget_simple_extent_npoints(space.get());
  if (H5Tequal(stored.get(), H5T_STD_U64LE) <= 0 || count <= 0 ||
      static_cast<std::size_t>(count) > longestText / sizeof(std::uint64_t)) {
    throw FileFault("found an attribute that is no list of numbers");
  }
  std::vector<std::uint64_t> numbers(static_cast<std::size_t>(count));
  require(H5Aread(attribute.get(), H5T_STD_U64LE, numbers.data()), "read an attribute");
  return numbers;
}

}  // namespace vormel
