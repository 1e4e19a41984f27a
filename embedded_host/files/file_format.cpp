#include "embedded_host/files/file_format.h"

#include <cstdint>

#include "embedded_host/files/transaction_driver.h"
#include "kvrntob/host/libvr.h"

namespace vormel {
namespace {

bool needsEscape(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '/' || character == '%' ||
         character == '.' || character == 0x7F;
}

std::string escaped(char character) {
  constexpr const char* digits = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(character);
  return {'%', digits[byte >> 4], digits[byte & 15]};
}

int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

int integerClass(std::size_t size, bool isSigned) {
  switch (size) {
    case 1:
      return isSigned ? vrINT8_CLASS : vrUINT8_CLASS;
    case 2:
      return isSigned ? vrINT16_CLASS : vrUINT16_CLASS;
    case 4:
      return isSigned ? vrINT32_CLASS : vrUINT32_CLASS;
    case 8:
      return isSigned ? vrINT64_CLASS : vrUINT64_CLASS;
    default:
      return vrUNKNOWN_CLASS;
  }
}

// The class whose real elements are stored as that type, which is of that family and size.
int classOfReal(hid_t type, H5T_class_t family, std::size_t size) {
  int classID = vrUNKNOWN_CLASS;
  if (family == H5T_FLOAT) classID = size == 8 ? vrDOUBLE_CLASS : vrSINGLE_CLASS;
  if (family == H5T_INTEGER) classID = integerClass(size, H5Tget_sign(type) == H5T_SGN_2);
  const bool isStored = classID != vrUNKNOWN_CLASS && H5Tequal(type, realType(classID)) > 0;
  return isStored ? classID : vrUNKNOWN_CLASS;
}

// Groups keep few members in the group itself, in room for so many of such names, and more in an
// index.
Hdf5List groupList(hid_t listClass, unsigned members, unsigned nameLength) {
  Hdf5List list(H5Pcreate(listClass), "make a property list");
  require(H5Pset_obj_track_times(list.get(), false), "set a property");
  require(H5Pset_link_phase_change(list.get(), 64, 48), "set a property");
  require(H5Pset_est_link_info(list.get(), members, nameLength), "set a property");
  return list;
}

}  // namespace

std::string linkName(const std::string& name) {
  if (name.empty()) return "%";
  std::string link;
  for (const char character : name) {
    if (needsEscape(character)) {
      link += escaped(character);
    } else {
      link += character;
    }
  }
  return link;
}

std::optional<std::string> nameOfLink(const std::string& link) {
  std::string name;
  for (std::size_t i = 0; link != "%" && i < link.size(); ++i) {
    if (link[i] != '%') {
      name += link[i];
      continue;
    }
    if (i + 2 >= link.size()) return std::nullopt;
    const int high = hexDigit(link[i + 1]);
    const int low = hexDigit(link[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    name += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return linkName(name) == link ? std::optional(name) : std::nullopt;
}

std::string folderOf(const std::string& name) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char character : name) {
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3U;
  }
  hash ^= hash >> 32;
  std::string path;
  for (std::size_t level = 0; level < folderLevels; ++level, hash /= 16) {
    if (level > 0) path += '/';
    path += "0123456789abcdef"[hash % 16];
  }
  return path;
}

hid_t realType(int classID) {
  switch (classID) {
    case vrDOUBLE_CLASS:
      return H5T_IEEE_F64LE;
    case vrSINGLE_CLASS:
      return H5T_IEEE_F32LE;
    case vrINT8_CLASS:
      return H5T_STD_I8LE;
    case vrLOGICAL_CLASS:
    case vrUINT8_CLASS:
      return H5T_STD_U8LE;
    case vrINT16_CLASS:
      return H5T_STD_I16LE;
    case vrCHAR_CLASS:
    case vrUINT16_CLASS:
      return H5T_STD_U16LE;
    case vrINT32_CLASS:
      return H5T_STD_I32LE;
    case vrUINT32_CLASS:
      return H5T_STD_U32LE;
    case vrINT64_CLASS:
      return H5T_STD_I64LE;
    default:
      return H5T_STD_U64LE;
  }
}

Hdf5Type complexType(int classID) {
  const hid_t real = realType(classID);
  const std::size_t size = H5Tget_size(real);
  Hdf5Type pair(H5Tcreate(H5T_COMPOUND, 2 * size), "make a type");
  require(H5Tinsert(pair.get(), "r", 0, real), "make a type");
  require(H5Tinsert(pair.get(), "i", size, real), "make a type");
  return pair;
}

std::optional<ElementKind> kindOfType(const Hdf5Type& type) {
  const H5T_class_t family = H5Tget_class(type.get());
  const std::size_t size = H5Tget_size(type.get());
  int classID = vrUNKNOWN_CLASS;
  if (family != H5T_COMPOUND) {
    classID = classOfReal(type.get(), family, size);
  } else if (H5Tget_nmembers(type.get()) == 2) {
    const Hdf5Type real(H5Tget_member_type(type.get(), 0), "read a type");
    classID = classOfReal(real.get(), H5Tget_class(real.get()), size / 2);
    if (classID != vrUNKNOWN_CLASS && H5Tequal(type.get(), complexType(classID).get()) <= 0) {
      classID = vrUNKNOWN_CLASS;
    }
  }
  if (classID == vrUNKNOWN_CLASS) return std::nullopt;
  return ElementKind{classID, family == H5T_COMPOUND, size};
}

PropertyLists::PropertyLists()
    : fileAccess(H5Pcreate(H5P_FILE_ACCESS), "make a property list"),
      fileCreation(groupList(H5P_FILE_CREATE, 20, 8)),
      folders{groupList(H5P_GROUP_CREATE, 16, 8), groupList(H5P_GROUP_CREATE, 16, 8),
              groupList(H5P_GROUP_CREATE, 40, 12)},
      parts(groupList(H5P_GROUP_CREATE, 8, 8)),
      elements(H5Pcreate(H5P_DATASET_CREATE), "make a property list"),
      link(H5Pcreate(H5P_LINK_CREATE), "make a property list") {
  require(H5Pset_driver(fileAccess.get(), TransactionFile::driver(), nullptr), "set the driver");
  require(H5Pset_libver_bounds(fileAccess.get(), H5F_LIBVER_V18, H5F_LIBVER_V18),
          "set the version");
  require(H5Pset_fclose_degree(fileAccess.get(), H5F_CLOSE_STRONG), "set a property");
  require(H5Pset_link_creation_order(parts.get(), H5P_CRT_ORDER_TRACKED), "set a property");
  require(H5Pset_layout(elements.get(), H5D_CONTIGUOUS), "set a property");
  require(H5Pset_fill_time(elements.get(), H5D_FILL_TIME_NEVER), "set a property");
  require(H5Pset_obj_track_times(elements.get(), false), "set a property");
  require(H5Pset_char_encoding(link.get(), H5T_CSET_UTF8), "set a property");
}

// Never destroyed: at the end of the process the library is gone before it would be.
const PropertyLists& propertyLists() {
  static const auto* const lists = new PropertyLists;
  return *lists;
}

}  // namespace vormel
