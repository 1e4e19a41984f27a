// The layout of a variable file: names, places and types. docs/variable-files.md describes it.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "embedded_host/files/hdf5_objects.h"

namespace vormel {

// ---- Attributes ----

// On the root group: the file is one of ours, of this version of the layout.
inline constexpr const char* versionAttribute = "variable_file_version";
inline constexpr std::uint64_t layoutVersion = 1;

inline constexpr const char* checksumAttribute = "checksum";  // on a variable
inline constexpr const char* classAttribute = "class";        // where the type does not tell it
inline constexpr const char* objectClassAttribute = "object_class";
inline constexpr const char* dimensionsAttribute = "dimensions";  // host order

// ---- Limits ----

inline constexpr int deepestNesting = 400;            // of arrays in arrays
inline constexpr std::size_t longestName = 50'000;    // bytes, as a link
inline constexpr std::size_t mostDimensions = 7'000;  // of one array
inline constexpr std::size_t leastObjectSize = 64;    // what any object takes in a file, and more

// ---- Names ----

// A name as a link: bytes that HDF5 gives a meaning, and the percent sign, become %XX; the empty
// name becomes a lone percent sign.
std::string linkName(const std::string& name);

// The name of a link. Empty optional for what linkName never gives.
std::optional<std::string> nameOfLink(const std::string& link);

// The groups among which the variables are spread by name, each in the one before and named by one
// digit. The path of a variable's folder is the digits with slashes between.
inline constexpr std::size_t folderLevels = 3;
std::string folderOf(const std::string& name);

// ---- Types ----

// The stored type of a class with real elements; it belongs to the library.
hid_t realType(int classID);

// The stored type of a class with complex elements.
Hdf5Type complexType(int classID);

struct ElementKind {
  int classID;
  bool isComplex;
  std::size_t size;  // of one element in the file
};

// The class of a stored type: logicals read as uint8, characters as uint16. Empty for a type that
// is not stored.
std::optional<ElementKind> kindOfType(const Hdf5Type& type);

// ---- Property lists, made once ----

struct PropertyLists {
  PropertyLists();
  Hdf5List fileAccess;
  Hdf5List fileCreation;
  std::array<Hdf5List, folderLevels> folders;
  Hdf5List parts;
  Hdf5List elements;
  Hdf5List link;
};

const PropertyLists& propertyLists();

}  // namespace vormel
