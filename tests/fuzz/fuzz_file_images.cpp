// Bytes to the image of a variable file: the bytes themselves, or changes made to a good file. Each
// variable comes back equal or not at all, and so does one that is added: damage in the tree of
// rows can lose it, as it can lose those that are there.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/fuzz/bytes.h"
#include "tests/fuzz/files.h"
#include "tests/support/array_builders.h"

namespace kvr::fuzz {
namespace {

using vormel::OwnedArray;

constexpr int kMostChanges = 20;
constexpr std::size_t kMostGrowth = 4096;

// A directory in memory, where there is one.
std::string fastDirectory() {
  std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
  pattern += "kvr_fuzz_XXXXXX";
  require(mkdtemp(pattern.data()) != nullptr, "cannot make a directory");
  return pattern;
}

// A good file with variables of many kinds, and a place for what is made of it.
class GoodFile {
 public:
  GoodFile() : directory_(fastDirectory()) {
    const OpenFile file = openFile(path(), "w7.3");
    require(file != nullptr, "cannot make a file");
    fill();
    for (const auto& [name, array] : variables_)
      require(vfPutVariable(file.get(), name, array.get()) == 0, "cannot put a variable");
  }

  ~GoodFile() { std::filesystem::remove_all(directory_); }
  GoodFile(const GoodFile&) = delete;
  GoodFile& operator=(const GoodFile&) = delete;

  std::string path() const { return directory_ + "/image.vdf"; }

  // To be called once, before the file at path() is replaced.
  std::string image() const {
    std::ifstream file(path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  const std::vector<std::pair<const char*, OwnedArray>>& variables() const { return variables_; }

 private:
  void fill() {
    OwnedArray structure = test::aStruct({"Time", "Data"});
    vrSetFieldByNumber_730(structure.get(), 0, 0, test::aColumn({0, 0.5, 1}).release());
    vrSetFieldByNumber_730(structure.get(), 0, 1, test::aText("data").release());
    OwnedArray cell = test::aCell({1, 2});
    vormel::setCellElement(cell.get(), 0, test::aStruct({"a"}, {1, 2}).release());
    vormel::setCellElement(cell.get(), 1, test::aComplex(vrSINGLE_CLASS, {1, 2}).release());
    variables_.emplace_back("id1", std::move(structure));
    variables_.emplace_back("cell", std::move(cell));
    variables_.emplace_back("object", test::aTimeseries({4, 5}, {6, 7}));
    variables_.emplace_back("function", test::owned(vormel::makeFunctionHandle("sin")));
    variables_.emplace_back("list", test::aNumeric(vrINT8_CLASS, std::vector<std::size_t>(40, 1)));
  }

  std::string directory_;
  std::vector<std::pair<const char*, OwnedArray>> variables_;
};

void changeOnce(Bytes& bytes, std::string& image) {
  if (image.empty()) return;
  const std::size_t place = bytes.number<std::uint16_t>() % image.size();
  const std::size_t length = std::min<std::size_t>(1 + bytes.below(16), image.size() - place);
  switch (bytes.below(6)) {
    case 0:
      image[place] = static_cast<char>(image[place] ^ 1 << bytes.below(8));
      return;
    case 1:
      image.replace(place, length, bytes.take(length));
      return;
    case 2:
      image.replace(place, length, length, static_cast<char>(bytes.below(2) == 0 ? 0 : 0xff));
      return;
    case 3: {
      const std::size_t from = bytes.number<std::uint16_t>() % image.size();
      image.replace(place, length, image.substr(from, length));
      return;
    }
    case 4:
      image.resize(place);
      return;
    default:
      image.append(bytes.number<std::uint16_t>() % kMostGrowth, '\0');
  }
}

// The file stays, its bytes are replaced.
void write(const std::string& path, const std::string& image) {
  static const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  require(ftruncate(file, 0) == 0, "cannot empty the file");
  require(pwrite(file, image.data(), image.size(), 0) == static_cast<ssize_t>(image.size()),
          "cannot write the file");
}

void readAll(const GoodFile& good) {
  const OpenFile file = openFile(good.path(), "r");
  if (file == nullptr) return;
  for (const auto& [name, array] : good.variables()) {
    const OwnedArray back(vfGetVariable(file.get(), name));
    require(!back || vormel::equal(back.get(), array.get()),
            std::string("comes back changed: ") + name);
  }
}

void addOne(const GoodFile& good) {
  const OwnedArray five = test::aNumber(5);
  OpenFile file = openFile(good.path(), "u");
  if (file == nullptr || vfPutVariable(file.get(), "new", five.get()) != 0) return;
  file = openFile(good.path(), "r");
  if (file == nullptr) return;
  const OwnedArray back(vfGetVariable(file.get(), "new"));
  require(!back || vormel::equal(back.get(), five.get()), "what was added comes back changed");
}

}  // namespace
}  // namespace kvr::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr::fuzz;
  static const GoodFile good;
  static const std::string goodImage = good.image();
  const NothingLeft nothingLeft;

  Bytes bytes(data, size);
  std::string image = bytes.onceIn(8) ? bytes.take(bytes.left()) : goodImage;
  for (int count = 0; bytes.left() > 0 && count < kMostChanges; ++count) changeOnce(bytes, image);
  write(good.path(), image);
  readAll(good);
  addOne(good);
  return 0;
}
