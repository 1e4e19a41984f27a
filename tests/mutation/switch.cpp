// Which change is chosen, for the instrumented build.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace {

struct Choice {
  int chosen = -1;
  unsigned char* reached = nullptr;
  off_t size = 0;

  Choice() {
    if (const char* number = std::getenv("KVR_MUTANT")) chosen = std::atoi(number);
    const char* path = std::getenv("KVR_MUTANTS_REACHED");
    const int file = path != nullptr ? open(path, O_RDWR) : -1;
    if (file == -1) return;
    struct stat about = {};
    fstat(file, &about);
    size = about.st_size;
    // Shared, so that what is noted survives a crash.
    void* bytes =
        mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (bytes != MAP_FAILED) reached = static_cast<unsigned char*>(bytes);
    close(file);
  }
};

}  // namespace

// Whether this change is the one that the environment variable KVR_MUTANT names. With
// KVR_MUTANTS_REACHED, the name of a file, notes there that it was asked: a byte a change.
extern "C" bool kvrMutant(int number) noexcept {
  static const Choice choice;
  if (choice.reached != nullptr && number < choice.size) choice.reached[number] = 1;
  return number == choice.chosen;
}
