// Owners of HDF5 identifiers, and the calls of the library that need some care.
//
// Everything here throws FileFault where the library fails, and never lets an exception pass
// through the library.
#pragma once

#include <hdf5.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/files/file_error.h"

namespace vormel {

// Owns an identifier and gives it back with `close`.
template <herr_t (*close)(hid_t)>
class Owned {
 public:
  Owned() noexcept = default;
  // Throws FileFault("cannot " + what) for an identifier that is none.
  Owned(hid_t id, const char* what) : id_(id) {
    if (id < 0) throw FileFault(std::string("cannot ") + what);
  }
  Owned(Owned&& other) noexcept : id_(std::exchange(other.id_, -1)) {}
  Owned& operator=(Owned&& other) noexcept {
    std::swap(id_, other.id_);
    return *this;
  }
  ~Owned() {
    if (id_ >= 0) close(id_);
  }

  hid_t get() const noexcept { return id_; }
  hid_t release() noexcept { return std::exchange(id_, -1); }

 private:
  hid_t id_ = -1;
};

using Hdf5File = Owned<H5Fclose>;
using Hdf5Object = Owned<H5Oclose>;  // a group or a dataset
using Hdf5Space = Owned<H5Sclose>;
using Hdf5Type = Owned<H5Tclose>;
using Hdf5Attribute = Owned<H5Aclose>;
using Hdf5List = Owned<H5Pclose>;

// Throws FileFault("cannot " + what) if a call gave a negative status.
inline void require(herr_t status, const char* what) {
  if (status < 0) throw FileFault(std::string("cannot ") + what);
}

// Keeps the library from printing while it lives, and leaves the process's setting as it was.
class SilentHdf5 {
 public:
  SilentHdf5() noexcept;
  ~SilentHdf5();
  SilentHdf5(const SilentHdf5&) = delete;
  SilentHdf5& operator=(const SilentHdf5&) = delete;

 private:
  H5E_auto2_t function_ = nullptr;
  void* data_ = nullptr;
};

// True if the group has a link of that name. Quicker than opening what is not there.
inline bool hasMember(hid_t group, const std::string& name) {
  return H5Lexists(group, name.c_str(), H5P_DEFAULT) > 0;
}

// The group or dataset that the path, names with slashes between, leads to from the group; empty if
// there is none. Links that are not hard, which may lead out of the file, are refused.
std::optional<Hdf5Object> openMember(hid_t group, const std::string& path);

// A link of a group.
struct Member {
  std::string name;
  H5L_info_t link;
};

// The links of a group in the order in which they were made.
std::vector<Member> membersOf(hid_t group);

// What a link of the group leads to. A link that is not hard is refused.
Hdf5Object openMember(hid_t group, const Member& member);

bool isGroup(const Hdf5Object& object);
bool isDataset(const Hdf5Object& object);

std::size_t memberCount(hid_t group);

bool hasAttribute(hid_t object, const char* name);

// A text of at most 60,000 bytes.
void writeText(hid_t object, const char* name, const std::string& text);
std::string readText(hid_t object, const char* name);

// A list of numbers that is not empty.
void writeNumbers(hid_t object, const char* name, const std::vector<std::uint64_t>& numbers);
std::vector<std::uint64_t> readNumbers(hid_t object, const char* name);

}  // namespace vormel
