// Bytes to a file that is well formed for HDF5 and not what a variable file should be: a good one
// with one variable, changed through the library's own calls. The variable is refused, or comes
// back as an array that can be stored again and is then equal.
#include <hdf5.h>

#include <algorithm>

#include "tests/fuzz/any_array.h"
#include "tests/fuzz/files.h"
#include "tests/support/scratch_directory.h"

namespace kvr::fuzz {
namespace {

using vormel::OwnedArray;

constexpr int kMostChanges = 24;
constexpr std::size_t kSmall = 1000;  // elements of a dataset that is written

const std::vector<std::string> kAttributes = {"class",    "object_class",          "dimensions",
                                              "checksum", "variable_file_version", "other"};
const std::vector<std::string> kTexts = {
    "cell", "struct", "object", "char", "logical", "function_handle", "", "%", "%41", "double"};
const std::vector<std::string> kNames = {"0", "1", "2", "x", "Time", "Data", "%", "%2F", "new"};
const std::vector<std::uint64_t> kNumbers = {
    0, 1, 2, 3, 33, 255, 65536, std::uint64_t{1} << 32, std::uint64_t{1} << 62, ~std::uint64_t{0}};

// Changes of the file through HDF5. Calls may fail: the file is then as it was.
class Forger {
 public:
  Forger(Bytes& bytes, const std::string& path) : bytes_(bytes) {
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(access, H5F_LIBVER_V18, H5F_LIBVER_V18);
    H5Pset_fclose_degree(access, H5F_CLOSE_STRONG);
    file_ = H5Fopen(path.c_str(), H5F_ACC_RDWR, access);
    H5Pclose(access);
    at_ = H5Oopen(file_, "/", H5P_DEFAULT);
    enterVariable();
    H5Gclose(H5Gcreate2(file_, "/away", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
  }
  ~Forger() {
    H5Oclose(at_);
    if (kept_ >= 0) H5Oclose(kept_);
    H5Fclose(file_);
  }
  Forger(const Forger&) = delete;
  Forger& operator=(const Forger&) = delete;

  void change() {
    switch (bytes_.below(12)) {
      case 0:
        return enter(bytes_.below(4));
      case 1:
        return goTo(H5Oopen(file_, "/", H5P_DEFAULT));
      case 2:
        return setText();
      case 3:
        return setNumbers();
      case 4:
        H5Adelete(at_, bytes_.oneOf(kAttributes).c_str());
        return;
      case 5:
        return addDataset();
      case 6:
        return addGroup();
      case 7:
        return keepOrLink();
      case 8:
        return linkElsewhere();
      case 9:
        putAway(name());
        return;
      case 10:
        H5Lmove(at_, name().c_str(), at_, bytes_.oneOf(kNames).c_str(), H5P_DEFAULT, H5P_DEFAULT);
        return;
      default:
        return setOddAttribute();
    }
  }

 private:
  void goTo(hid_t object) {
    if (object < 0) return;
    H5Oclose(std::exchange(at_, object));
  }

  // Takes a member out of sight. Not deleted: the library does not bear calls on a deleted object
  // that is still open.
  void putAway(const std::string& link) {
    const std::string place = "/away/" + std::to_string(putAway_++);
    H5Lmove(at_, link.c_str(), file_, place.c_str(), H5P_DEFAULT, H5P_DEFAULT);
  }

  void enter(int member) {
    goTo(H5Oopen_by_idx(at_, ".", H5_INDEX_NAME, H5_ITER_INC, static_cast<hsize_t>(member),
                        H5P_DEFAULT));
  }

  // From the root through the folders to the variable.
  void enterVariable() {
    for (int level = 0; level < 4; ++level) enter(0);
  }

  // Of a member, if there is such a one, or another name.
  std::string name() {
    const int member = bytes_.below(6);
    if (member >= 4) return bytes_.oneOf(kNames);
    char text[80] = "x";
    H5Lget_name_by_idx(at_, ".", H5_INDEX_NAME, H5_ITER_INC, static_cast<hsize_t>(member), text,
                       sizeof text, H5P_DEFAULT);
    return text;
  }

  std::string text() {
    return bytes_.below(4) == 0 ? bytes_.take(static_cast<std::size_t>(bytes_.below(12)))
                                : bytes_.oneOf(kTexts);
  }

  void setAttribute(const std::string& attribute, hid_t type, hid_t space, const void* value) {
    if (H5Aexists(at_, attribute.c_str()) > 0) H5Adelete(at_, attribute.c_str());
    const hid_t made = H5Acreate2(at_, attribute.c_str(), type, space, H5P_DEFAULT, H5P_DEFAULT);
    if (made >= 0 && value != nullptr) H5Awrite(made, type, value);
    if (made >= 0) H5Aclose(made);
    H5Sclose(space);
  }

  void setTextAs(const std::string& attribute, const std::string& value) {
    const hid_t type = H5Tcopy(H5T_C_S1);
    H5Tset_size(type, value.size() + 1);
    setAttribute(attribute, type, H5Screate(H5S_SCALAR), value.c_str());
    H5Tclose(type);
  }
  void setText() {
    const std::string attribute = bytes_.oneOf(kAttributes);
    setTextAs(attribute, text());
  }

  std::vector<std::uint64_t> numbers() {
    std::vector<std::uint64_t> list(static_cast<std::size_t>(bytes_.below(5)));
    for (std::uint64_t& number : list) number = bytes_.oneOf(kNumbers);
    return list;
  }

  void setNumbers() {
    const std::string attribute = bytes_.oneOf(kAttributes);
    const std::vector<std::uint64_t> list = numbers();
    const hsize_t count = list.size();
    setAttribute(attribute, H5T_STD_U64LE, H5Screate_simple(1, &count, nullptr), list.data());
  }

  // Attributes that no writer makes: of no elements, of texts of any length, of other types.
  void setOddAttribute() {
    const std::string attribute = bytes_.oneOf(kAttributes);
    const hid_t type = anyType();
    hsize_t count[2] = {1 + static_cast<hsize_t>(bytes_.below(200)), 2};
    const hid_t space = bytes_.below(3) == 0   ? H5Screate(H5S_NULL)
                        : bytes_.below(2) == 0 ? H5Screate(H5S_SCALAR)
                                               : H5Screate_simple(2, count, nullptr);
    setAttribute(attribute, type, space, nullptr);
    H5Tclose(type);
  }

  hid_t anyType() {
    const std::vector<hid_t> types = {
        H5T_IEEE_F64LE, H5T_IEEE_F32LE, H5T_STD_U8LE,    H5T_STD_I8LE,   H5T_STD_U16LE,
        H5T_STD_I16LE,  H5T_STD_I32LE,  H5T_STD_U32LE,   H5T_STD_I64LE,  H5T_STD_U64LE,
        H5T_IEEE_F64BE, H5T_STD_I32BE,  H5T_STD_REF_OBJ, H5T_UNIX_D32LE, H5T_STD_B8LE};
    const int choice = bytes_.below(20);
    if (choice < 15) return H5Tcopy(types[static_cast<std::size_t>(choice)]);
    const hid_t part = types[static_cast<std::size_t>(bytes_.below(15))];
    const hsize_t three = 3;
    if (choice == 15) return H5Tvlen_create(part);
    if (choice == 16) return H5Tarray_create2(part, 1, &three);
    if (choice == 17) return variableText();
    return compound(part, choice == 18 ? "i" : "j");
  }

  static hid_t variableText() {
    const hid_t type = H5Tcopy(H5T_C_S1);
    H5Tset_size(type, H5T_VARIABLE);
    return type;
  }

  static hid_t compound(hid_t part, const char* second) {
    const std::size_t size = H5Tget_size(part);
    const hid_t type = H5Tcreate(H5T_COMPOUND, 2 * size);
    H5Tinsert(type, "r", 0, part);
    H5Tinsert(type, second, size, part);
    return type;
  }

  hid_t anySpace(std::vector<hsize_t>& extents) {
    const int rank = bytes_.below(5);
    for (int i = 0; i < rank; ++i)
      extents.push_back(bytes_.onceIn(8) ? bytes_.oneOf(kNumbers)
                                         : static_cast<hsize_t>(bytes_.below(4)));
    return rank == 0 ? H5Screate(bytes_.below(2) == 0 ? H5S_SCALAR : H5S_NULL)
                     : H5Screate_simple(rank, extents.data(), nullptr);
  }

  static bool isSmall(const std::vector<hsize_t>& extents) {
    hsize_t count = 1;
    for (const hsize_t extent : extents) {
      if (extent > kSmall) return false;
      count *= extent;
    }
    return count <= kSmall;
  }

  hid_t anyLayout(const std::vector<hsize_t>& extents) {
    const hid_t list = H5Pcreate(H5P_DATASET_CREATE);
    const std::vector<hsize_t> ones(std::max<std::size_t>(extents.size(), 1), 1);
    switch (bytes_.below(8)) {
      case 4:
        H5Pset_layout(list, H5D_COMPACT);
        break;
      case 5:
        H5Pset_chunk(list, static_cast<int>(ones.size()), ones.data());
        break;
      case 6:
        H5Pset_external(list, "/etc/hostname", 0, H5F_UNLIMITED);
        break;
      case 7:
        if (isSmall(extents)) H5Pset_alloc_time(list, H5D_ALLOC_TIME_EARLY);
        break;
      default:
        break;
    }
    return list;
  }

  void addDataset() {
    std::vector<hsize_t> extents;
    const std::string link = name();
    const hid_t type = anyType();
    const hid_t space = anySpace(extents);
    const hid_t layout = anyLayout(extents);
    if (bytes_.below(2) == 0) putAway(link);
    const hid_t dataset =
        H5Dcreate2(at_, link.c_str(), type, space, H5P_DEFAULT, layout, H5P_DEFAULT);
    if (dataset >= 0) writeSome(dataset, extents);
    H5Pclose(layout);
    if (space >= 0) H5Sclose(space);
    H5Tclose(type);
  }

  void writeSome(hid_t dataset, const std::vector<hsize_t>& extents) {
    if (isSmall(extents)) {
      const std::vector<double> values(kSmall, 1.5);
      H5Dwrite(dataset, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data());
    }
    if (bytes_.below(2) == 0)
      goTo(dataset);
    else
      H5Dclose(dataset);
  }

  void addGroup() {
    const std::string link = name();
    if (bytes_.below(2) == 0) putAway(link);
    const hid_t group = H5Gcreate2(at_, link.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    if (group < 0) return;
    goTo(group);
    setTextAs("class", bytes_.oneOf(kTexts));
  }

  // Remembers an object, and later makes another link to it.
  void keepOrLink() {
    if (kept_ < 0) {
      kept_ = H5Oopen(at_, ".", H5P_DEFAULT);
      return;
    }
    const std::string link = name();
    putAway(link);
    H5Olink(kept_, at_, link.c_str(), H5P_DEFAULT, H5P_DEFAULT);
  }

  void linkElsewhere() {
    const std::string link = name();
    putAway(link);
    switch (bytes_.below(3)) {
      case 0:
        H5Lcreate_soft("/", at_, link.c_str(), H5P_DEFAULT, H5P_DEFAULT);
        return;
      case 1:
        H5Lcreate_external("/etc/hostname", "/", at_, link.c_str(), H5P_DEFAULT, H5P_DEFAULT);
        return;
      default: {
        const hid_t type = anyType();
        H5Tcommit2(at_, link.c_str(), type, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        H5Tclose(type);
      }
    }
  }

  Bytes& bytes_;
  hid_t file_ = -1;
  hid_t at_ = -1;
  hid_t kept_ = -1;
  int putAway_ = 0;
};

// Empty if the array cannot be stored.
OwnedArray thereAndBack(const std::string& path, const vrArray* array) {
  OpenFile file = openFile(path, "w7.3");
  require(file != nullptr, "cannot make a file");
  if (vfPutVariable(file.get(), "x", array) != 0) return {};
  file.reset();
  file = openFile(path, "r");
  return OwnedArray(vfGetVariable(file.get(), "x"));
}

}  // namespace
}  // namespace kvr::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr::fuzz;
  static const kvr::test::ScratchDirectory directory;
  static const std::string path = directory.file("objects.vdf");
  const NothingLeft nothingLeft;
  H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
  Bytes bytes(data, size);
  const OwnedArray array = build(anyArray(bytes, 0), NoObjects());
  if (const OwnedArray back = thereAndBack(path, array.get())) {
    require(vormel::equal(array.get(), back.get()), "an array comes back changed");
    Forger forger(bytes, path);
    for (int count = 0; bytes.left() > 0 && count < kMostChanges; ++count) forger.change();
  }
  OpenFile file = openFile(path, "r");
  const OwnedArray read(file == nullptr ? nullptr : vfGetVariable(file.get(), "x"));
  file.reset();
  if (read) {
    const OwnedArray again = thereAndBack(path, read.get());
    require(again && vormel::equal(read.get(), again.get()), "what was read cannot be kept");
  }
  return 0;
}
