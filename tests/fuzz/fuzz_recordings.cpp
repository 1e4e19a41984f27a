// Bytes to the image of a recording: the bytes themselves, or changes made to a good file. A reader
// refuses it with a FormatError or gives what was written, and so do a check and a writer.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "tests/fuzz/bytes.h"
#include "tests/fuzz/verdict.h"
#include "tests/recording/sample.h"

namespace kvr::fuzz {
namespace {

using namespace recording;

constexpr int kMostChanges = 20;

// A folder in memory, where there is one, with a good file's image and content.
class GoodFile {
 public:
  GoodFile() {
    std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
    pattern += "kvr_fuzz_XXXXXX";
    require(mkdtemp(pattern.data()) != nullptr, "cannot make a directory");
    folder_ = pattern;
    test::writeSample(path());
    image_ = test::readFile(path());
    content_ = test::contentOf(path());
  }
  ~GoodFile() { std::filesystem::remove_all(folder_); }
  GoodFile(const GoodFile&) = delete;
  GoodFile& operator=(const GoodFile&) = delete;

  std::string path() const { return folder_ + "/image.kvr"; }
  const std::string& image() const { return image_; }
  const std::string& content() const { return content_; }

 private:
  std::string folder_;
  std::string image_;
  std::string content_;
};

void changeOnce(Bytes& bytes, std::string& image) {
  if (image.empty()) return;
  const std::size_t place = bytes.number<std::uint32_t>() % image.size();
  const std::size_t length = std::min<std::size_t>(1 + bytes.below(16), image.size() - place);
  switch (bytes.below(5)) {
    case 0:
      image[place] = static_cast<char>(image[place] ^ 1 << bytes.below(8));
      break;
    case 1:
      image.replace(place, length, bytes.take(length));
      break;
    case 2:
      image.replace(place, length, std::string(length, bytes.onceIn(2) ? '\xFF' : '\0'));
      break;
    case 3:
      image.resize(place);
      break;
    default: {
      const std::size_t from = bytes.number<std::uint32_t>() % image.size();
      image.replace(place, length, image.substr(from, length));
    }
  }
}

std::string imageOf(Bytes& bytes, const GoodFile& good) {
  if (bytes.onceIn(8)) return bytes.take(bytes.left());
  std::string image = good.image();
  for (int changes = bytes.below(kMostChanges); changes > 0; --changes) changeOnce(bytes, image);
  return image;
}

// Whatever the body throws but for a FormatError is a fault.
template <class Body>
void refuses(const Body& body) {
  try {
    body();
  } catch (const FormatError&) {
  }
}

}  // namespace
}  // namespace kvr::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr::fuzz;
  namespace recording = kvr::recording;
  static const GoodFile good;
  Bytes bytes(data, size);
  kvr::test::writeFile(good.path(), imageOf(bytes, good));
  refuses([] {
    require(kvr::test::contentOf(good.path()) == good.content(), "a damaged file reads as another");
  });
  refuses([] { recording::verify(good.path()); });
  refuses([] {
    recording::Writer writer = recording::Writer::append(good.path());
    kvr::test::addRun(writer, "more", 1, 3);
  });
  return 0;
}
