// The file of a module: a shared library that exports six symbols with the file's name in them.
#pragma once

#include <string>

namespace vormel {

// The path of the module that is installed with the host library: the file that KVRNTOB_MODULE
// names, else kvrntob.so in the directory of the library or in its sub-folder kvrntob. The variable
// is ignored in a program that runs with another user's rights (set-user-ID). Throws
// HostError("FileNotFound") with a text that lists the paths that were tried.
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

  // Keeps the library loaded to the end of the process.
  void keep() noexcept { library_ = nullptr; }

  // VMInitialize_<name>: lets the module register its packages. May throw anything.
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
