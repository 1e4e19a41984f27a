// Variables of the scratch file, beside the bare library calls that make and read the same layout.
//
//   scratch_put/ours         the values of one more signal, one opening of the file each
//   scratch_put/bare         the same groups, attributes and datasets by bare HDF5 calls
//   scratch_get/ours         the values of one signal; beside it scratch_get/bare
//   scratch_get/large/...    a signal of 1e6 doubles; beside it a raw read of as many bytes
//
// Arguments are the number of variables in the file, or of doubles in the variable.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <hdf5.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "bench/sizes.h"
#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/call_scope.h"
#include "kvrntob/exchange/scratch_file.h"
#include "kvrntob/host/libvf.h"

namespace {

using vormel::CallScope;
using vormel::OwnedArray;

constexpr std::size_t kSamples = 1000;

OwnedArray makeSeries(std::size_t samples) {
  const std::size_t one[] = {1, 1};
  OwnedArray series(vormel::makeObject("timeseries", 2, one));
  for (const char* property : {"Data", "Time"}) {
    const OwnedArray values(vrCreateNumericMatrix_730(1, samples, vrDOUBLE_CLASS, 0));
    auto* doubles = static_cast<double*>(vrGetData(values.get()));
    for (std::size_t i = 0; i < samples; ++i) doubles[i] = static_cast<double>(i);
    vrSetProperty_730(series.get(), 0, property, values.get());
  }
  return series;
}

using Write = void (*)(kvr::int32 id, const vrArray* values);

// ---- Files that stay from one turn of a benchmark to the next ----

// By path, with the last of their variables, which are "id1" and on.
std::map<std::string, kvr::int32> files;

// The store's operations use the file from now on.
kvr::int32& makeFile(const std::string& path, kvr::int32 count, const vrArray* values,
                     Write write) {
  {
    const CallScope call;
    kvr::createScratchFile();
  }
  std::filesystem::rename(kvr::scratchFileName, path);
  kvr::scratchFileName = path;
  kvr::int32& last = files[path];
  for (last = 0; last < count;) write(++last, values);
  return last;
}

// Makes the file unless an earlier turn has.
kvr::int32& useFile(const std::string& name, kvr::int32 count, const vrArray* values, Write write) {
  static const std::string directory = [] {
    const CallScope call;
    kvr::createScratchFile();
    return kvr::scratchFileName;
  }();
  const std::string path = directory + '.' + name + '.' + std::to_string(count);
  const auto found = files.find(path);
  if (found == files.end()) return makeFile(path, count, values, write);
  kvr::scratchFileName = path;
  return found->second;
}

// ---- Variables by the store's operations ----

void putOurs(kvr::int32 id, const vrArray* values) {
  const CallScope call;
  kvr::writeScratchVariable(values, id);
}

// The file is made anew when it has doubled.
void put(benchmark::State& state, const char* name, Write write) {
  const OwnedArray values = makeSeries(kSamples);
  const auto count = static_cast<kvr::int32>(state.range(0));
  kvr::int32& last = useFile(name, count, values.get(), putOurs);
  for (auto _ : state) {
    if (last == 2 * count) {
      state.PauseTiming();
      makeFile(kvr::scratchFileName, count, values.get(), putOurs);
      state.ResumeTiming();
    }
    write(++last, values.get());
  }
}

// ---- The same by bare calls ----

struct Bare {
  hid_t id;
  herr_t (*close)(hid_t);
  Bare(hid_t opened, herr_t (*closing)(hid_t)) : id(opened), close(closing) {
    if (id < 0) throw std::runtime_error("HDF5");
  }
  ~Bare() { close(id); }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;
};

hid_t groupList(unsigned members, unsigned nameLength) {
  const hid_t list = H5Pcreate(H5P_GROUP_CREATE);
  H5Pset_obj_track_times(list, false);
  H5Pset_link_phase_change(list, 64, 48);
  H5Pset_est_link_info(list, members, nameLength);
  return list;
}

// Property lists are made once, as everybody would.
struct Lists {
  hid_t access = H5Pcreate(H5P_FILE_ACCESS);
  hid_t elements = H5Pcreate(H5P_DATASET_CREATE);
  hid_t folders[3] = {groupList(16, 8), groupList(16, 8), groupList(40, 12)};
  hid_t group = groupList(8, 8);
  Lists() {
    H5Pset_libver_bounds(access, H5F_LIBVER_V18, H5F_LIBVER_V18);
    H5Pset_layout(elements, H5D_CONTIGUOUS);
    H5Pset_fill_time(elements, H5D_FILL_TIME_NEVER);
    H5Pset_obj_track_times(elements, false);
    H5Pset_link_creation_order(group, H5P_CRT_ORDER_TRACKED);
  }
};

const Lists& lists() {
  static const Lists made;
  return made;
}

// Three levels of 16 folders each.
std::array<std::string, 3> foldersOf(kvr::int32 id) {
  const auto digit = [id](int place) {
    return std::string(1, "0123456789abcdef"[id >> place & 15]);
  };
  return {digit(0), digit(4), digit(8)};
}

void writeAttribute(hid_t object, const char* name, hid_t type, const void* value) {
  const Bare space(H5Screate(H5S_SCALAR), H5Sclose);
  const Bare attribute(H5Acreate2(object, name, type, space.id, H5P_DEFAULT, H5P_DEFAULT),
                       H5Aclose);
  H5Awrite(attribute.id, type, value);
}

void writeDoubles(hid_t group, const char* name, const vrArray* values) {
  const hsize_t extents[] = {vrGetNumberOfElements(values), 1};
  const Bare space(H5Screate_simple(2, extents, nullptr), H5Sclose);
  const Bare dataset(
      H5Dcreate2(group, name, H5T_IEEE_F64LE, space.id, H5P_DEFAULT, lists().elements, H5P_DEFAULT),
      H5Dclose);
  H5Dwrite(dataset.id, H5T_IEEE_F64LE, H5S_ALL, H5S_ALL, H5P_DEFAULT, vrGetData(values));
}

hid_t folder(hid_t parent, const std::string& name, hid_t list) {
  if (H5Lexists(parent, name.c_str(), H5P_DEFAULT) > 0)
    return H5Gopen2(parent, name.c_str(), H5P_DEFAULT);
  return H5Gcreate2(parent, name.c_str(), H5P_DEFAULT, list, H5P_DEFAULT);
}

void putBare(kvr::int32 id, const vrArray* values) {
  const Bare file(H5Fopen(kvr::scratchFileName.c_str(), H5F_ACC_RDWR, lists().access), H5Fclose);
  const auto folders = foldersOf(id);
  const Bare outer(folder(file.id, folders[0], lists().folders[0]), H5Gclose);
  const Bare middle(folder(outer.id, folders[1], lists().folders[1]), H5Gclose);
  const Bare inner(folder(middle.id, folders[2], lists().folders[2]), H5Gclose);
  const std::string name = "id" + std::to_string(id);
  const Bare group(H5Gcreate2(inner.id, name.c_str(), H5P_DEFAULT, lists().group, H5P_DEFAULT),
                   H5Gclose);
  const Bare text(H5Tcopy(H5T_C_S1), H5Tclose);
  H5Tset_size(text.id, 6);
  writeAttribute(group.id, "class", text.id, "struct");
  writeDoubles(group.id, "Time", vrGetField_730(values, 0, "Time"));
  writeDoubles(group.id, "Data", vrGetField_730(values, 0, "Data"));
  const std::uint64_t checksum = 0;
  writeAttribute(group.id, "checksum", H5T_STD_U64LE, &checksum);
}

BENCHMARK_CAPTURE(put, ours, "ours", putOurs)
    ->Name("scratch_put/ours")
    ->Apply(bench::at<10, 100'000>);
BENCHMARK_CAPTURE(put, bare, "bare", putBare)->Name("scratch_put/bare")->Apply(bench::at<10>);

// ---- Reading ----

void getOurs(benchmark::State& state) {
  const OwnedArray values = makeSeries(kSamples);
  const auto count = static_cast<kvr::int32>(state.range(0));
  useFile("ours", count, values.get(), putOurs);
  kvr::int32 id = 0;
  for (auto _ : state) {
    const CallScope call;
    const OwnedArray series(kvr::readScratchVariable(id + 1));
    if (!vormel::equal(vrGetField_730(series.get(), 0, "Data"),
                       vrGetField_730(values.get(), 0, "Data")))
      state.SkipWithError("wrong values");
    id = (id + 7919) % count;
  }
}
BENCHMARK(getOurs)->Name("scratch_get/ours")->Apply(bench::at<10, 100'000>);

// Into arrays of the host, as the store wants them.
OwnedArray readDoubles(hid_t group, const char* name) {
  const Bare dataset(H5Dopen2(group, name, H5P_DEFAULT), H5Dclose);
  const Bare space(H5Dget_space(dataset.id), H5Sclose);
  hsize_t extents[2];
  H5Sget_simple_extent_dims(space.id, extents, nullptr);
  OwnedArray values(vrCreateNumericMatrix_730(extents[1], extents[0], vrDOUBLE_CLASS, 0));
  H5Dread(dataset.id, H5T_IEEE_F64LE, H5S_ALL, H5S_ALL, H5P_DEFAULT, vrGetData(values.get()));
  return values;
}

std::uint64_t readChecksum(hid_t group) {
  std::uint64_t checksum = 1;
  const Bare attribute(H5Aopen(group, "checksum", H5P_DEFAULT), H5Aclose);
  H5Aread(attribute.id, H5T_STD_U64LE, &checksum);
  return checksum;
}

void getBare(benchmark::State& state) {
  const OwnedArray values = makeSeries(kSamples);
  const auto count = static_cast<kvr::int32>(state.range(0));
  useFile("all_bare", count, values.get(), putBare);
  kvr::int32 next = 0;
  for (auto _ : state) {
    const kvr::int32 id = next + 1;
    const Bare file(H5Fopen(kvr::scratchFileName.c_str(), H5F_ACC_RDONLY, lists().access),
                    H5Fclose);
    std::string path;
    for (const std::string& folder : foldersOf(id)) path.append(folder).append("/");
    path.append("id").append(std::to_string(id));
    const Bare group(H5Gopen2(file.id, path.c_str(), H5P_DEFAULT), H5Gclose);
    const OwnedArray time = readDoubles(group.id, "Time");
    const OwnedArray data = readDoubles(group.id, "Data");
    if (readChecksum(group.id) != 0 ||
        !vormel::equal(data.get(), vrGetField_730(values.get(), 0, "Data")))
      state.SkipWithError("wrong values");
    next = (next + 7919) % count;
  }
}
BENCHMARK(getBare)->Name("scratch_get/bare")->Apply(bench::at<10>);

void getLarge(benchmark::State& state) {
  const OwnedArray values = makeSeries(static_cast<std::size_t>(state.range(0)));
  useFile("large", 1, values.get(), putOurs);
  for (auto _ : state) {
    const CallScope call;
    const OwnedArray series(kvr::readScratchVariable(1));
    benchmark::DoNotOptimize(vrGetData(vrGetField_730(series.get(), 0, "Data")));
  }
}
BENCHMARK(getLarge)->Name("scratch_get/large/ours")->Apply(bench::at<1'000'000>);

// Time and data: two new blocks of memory, and bytes of the file into them.
void getRaw(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0)) * sizeof(double);
  const OwnedArray values = makeSeries(static_cast<std::size_t>(state.range(0)));
  useFile("large", 1, values.get(), putOurs);
  for (auto _ : state) {
    const int file = open(kvr::scratchFileName.c_str(), O_RDONLY | O_CLOEXEC);
    std::unique_ptr<char[]> blocks[2];
    off_t offset = 0;
    for (auto& block : blocks) {
      block.reset(new char[bytes]);
      if (pread(file, block.get(), bytes, offset) != static_cast<ssize_t>(bytes))
        state.SkipWithError("cannot read");
      offset += static_cast<off_t>(bytes);
    }
    benchmark::DoNotOptimize(blocks);
    close(file);
  }
}
BENCHMARK(getRaw)->Name("scratch_get/large/raw")->Apply(bench::at<1'000'000>);

}  // namespace
