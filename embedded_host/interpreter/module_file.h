// The file of a module: a shared library with six symbols that carry the file's name.
#pragma once

#include <string>

namespace vormel {

// The file of the module that is installed with the host library: what KVRNTOB_MODULE names, else
// kvrntob.so in the directory of the library or in its sub-folder kvrntob. Throws
// HostError("FileNotFound") with a text that lists where it looked. A program that runs with the
// rights of another user (set-user-ID) does not read the variable.
std::string findInstalledModule();

class ModuleFile {
 public:
  // Opens the library; `name` is the module's. Throws HostError("NotAModule"), then
  // HostError("MissingExport").
  ModuleFile(const std::string& path, const std::string& name);

  // Closes it, unless keep() was called.
  ~ModuleFile();
  ModuleFile(const ModuleFile&) = delete;
  ModuleFile& operator=(const ModuleFile&) = delete;

  // Keeps the library in the process to its end.
  void keep() noexcept { library_ = nullptr; }

  // VMInitialize_<name>: has the module register its packages. May throw what it likes.
  void initialize() const { initialize_(); }

  // <name>_version and <name>_build_date.
  const std::string& version() const noexcept { return version_; }
  const std::string& buildDate() const noexcept { return buildDate_; }

 private:
  void* requireExport(const std::string& symbol) const;
  std::string exportedText(const std::string& symbol) const;

  void* library_;
  std::string path_;
  void (*initialize_)() = nullptr;
  std::string version_;
  std::string buildDate_;
};

}  // namespace vormel
