#include "python/kvr/src/recording_classes.h"

#include <pybind11/stl.h>

#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "python/kvr/src/recordable.h"
#include "python/kvr/src/recording_errors.h"
#include "python/kvr/src/recording_fields.h"
#include "recording/recording.h"

namespace kvr::python {
namespace {

namespace py = pybind11;
using recording::Reader;
using recording::SignalEntry;
using recording::ValueClass;
using recording::Writer;

std::span<std::byte> bytesOf(py::array& array) {
  return {static_cast<std::byte*>(array.mutable_data()), static_cast<std::size_t>(array.nbytes())};
}

// ---- Reading ----

// Operations in other threads may outlast close(): the file is closed after the last of them.
class RecordingReader {
 public:
  explicit RecordingReader(std::string path)
      : path_(std::move(path)),
        reader_(onFile(path_, [&] { return std::make_shared<const Reader>(path_); })) {}

  void close() { reader_.reset(); }
  std::int64_t runCount() const { return open()->runCount(); }
  std::int64_t signalCount() const { return open()->signalCount(); }

  py::dict run(std::int64_t id) const {
    const auto reader = open();
    return dictOf(onFile(path_, [&] { return reader->runs(id, 1).front(); }));
  }

  std::vector<SignalEntry> signals(std::int64_t first, std::int64_t count) const {
    const auto reader = open();
    return onFile(path_, [&] { return reader->signals(first, count); });
  }

  std::optional<std::int64_t> parent(std::int64_t signal) const {
    const auto reader = open();
    return onFile(path_, [&] { return reader->parent(signal); });
  }

  std::vector<std::int64_t> children(std::int64_t signal) const {
    const auto reader = open();
    return onFile(path_, [&] { return reader->children(signal); });
  }

  // Of `count` samples from `from` on.
  py::array times(const SignalEntry& signal, std::uint64_t from, std::uint64_t count) const {
    const auto reader = open();
    const auto base = onFile(path_, [&] {
      const recording::TimeBase found = reader->timeBase(signal.timeBase);
      if (found.samples != signal.samples)
        throw recording::FormatError(recording::FormatError::Kind::kDamaged,
                                     "has another number of samples than times",
                                     "signal " + std::to_string(signal.id));
      return found;
    });
    requireSamples(signal, from, count);
    py::array made = arrayFor(base.valueClass, count, {});
    const auto to = bytesOf(made);
    const std::size_t size = recording::sizeOf(base.valueClass);
    onFile(path_, [&] { reader->readTimes(base, from * size, to); });
    return made;
  }

  py::array values(const SignalEntry& signal, std::uint64_t from, std::uint64_t count) const {
    const auto reader = open();
    requireSamples(signal, from, count);
    py::array made = arrayFor(signal.valueClass, count, signal.shape);
    const auto to = bytesOf(made);
    const std::uint64_t size = signal.samples == 0 ? 0 : signal.bytes / signal.samples;
    onFile(path_, [&] { reader->readValues(signal, from * size, to); });
    return made;
  }

  py::bytes text(const SignalEntry& signal) const {
    return opaque(signal.bytes, [&](const Reader& reader, std::span<std::byte> to) {
      reader.readValues(signal, 0, to);
    });
  }

  py::bytes metadata(const SignalEntry& signal) const {
    return opaque(signal.metadataBytes, [&](const Reader& reader, std::span<std::byte> to) {
      reader.readMetadata(signal, 0, to);
    });
  }

 private:
  std::shared_ptr<const Reader> open() const {
    if (!reader_) throw std::invalid_argument(path_ + " is closed");
    return reader_;
  }

  static void requireSamples(const SignalEntry& signal, std::uint64_t from, std::uint64_t count) {
    if (from > signal.samples || count > signal.samples - from)
      throw std::invalid_argument("the signal has no such samples");
  }

  template <class Read>
  py::bytes opaque(std::uint64_t size, const Read& read) const {
    const auto reader = open();
    auto made = py::reinterpret_steal<py::bytes>(
        PyBytes_FromStringAndSize(nullptr, static_cast<py::ssize_t>(size)));
    if (!made) throw py::error_already_set();
    auto* const to = reinterpret_cast<std::byte*>(PyBytes_AS_STRING(made.ptr()));
    onFile(path_, [&] { read(*reader, {to, static_cast<std::size_t>(size)}); });
    return made;
  }

  std::string path_;
  std::shared_ptr<const Reader> reader_;
};

// ---- Writing ----

class RecordingWriter {
  template <class Body>
  auto with(const Body& body) {
    return onFile(path_, [&] {
      const std::lock_guard turn(mutex_);
      if (!writer_) throw std::invalid_argument(path_ + " is closed");
      return body(*writer_);
    });
  }

 public:
  RecordingWriter(std::string path, bool appends, std::uint64_t expectedBytes, bool replaces)
      : path_(std::move(path)), writer_(onFile(path_, [&] {
          if (appends) return Writer::append(path_);
          const auto existing =
              replaces ? recording::Existing::kReplace : recording::Existing::kKeep;
          return Writer::create(path_, expectedBytes, existing);
        })) {}

  std::int64_t addRun(const py::dict& given) {
    const recording::Run run = runOf(given);
    return with([&](Writer& writer) { return writer.addRun(run); });
  }

  // Values are an array of numbers, or bytes with the shape that they stand for.
  std::int64_t addSignal(const py::dict& given, const py::array& times, const py::object& values,
                         const std::vector<std::uint64_t>& shape, const py::bytes& metadata) {
    const recording::Signal signal = signalOf(given);
    const recording::Samples clock = samplesOf(times);
    recording::Samples samples;
    if (py::isinstance<py::bytes>(values)) {
      samples = {ValueClass::kText,
                 shape.at(0),
                 {shape.begin() + 1, shape.end()},
                 asBytes(py::reinterpret_borrow<py::bytes>(values))};
    } else {
      samples = samplesOf(py::reinterpret_borrow<py::array>(values));
    }
    const auto kept = asBytes(metadata);
    return with([&](Writer& writer) { return writer.addSignal(signal, clock, samples, kept); });
  }

  // None, and nothing is added, for a record that recordableIn() does not take.
  std::optional<std::int64_t> addRecord(const py::dict& record, const py::type& seriesType,
                                        const py::dict& settings, const py::bytes& metadata) {
    auto found = recordableIn(record, seriesType);
    if (!found) return std::nullopt;
    setSettings(found->signal, settings);
    const auto kept = asBytes(metadata);
    return with([&](Writer& writer) {
      return writer.addSignal(found->signal, found->times, found->values, kept);
    });
  }

  void setParent(std::int64_t signal, std::int64_t parent) {
    with([&](Writer& writer) { writer.setParent(signal, parent); });
  }

  void commit() {
    with([](Writer& writer) { writer.commit(); });
    close();
  }

  // Gives up what is not committed.
  void close() {
    const std::lock_guard turn(mutex_);
    writer_.reset();
  }

 private:
  static std::span<const std::byte> asBytes(const py::bytes& bytes) {
    return {reinterpret_cast<const std::byte*>(PyBytes_AS_STRING(bytes.ptr())),
            static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()))};
  }

  std::string path_;
  std::mutex mutex_;
  std::optional<Writer> writer_;
};

std::vector<std::pair<std::string, std::string>> verify(const std::string& path,
                                                        const py::object& progress) {
  const auto tell = [&](std::uint64_t done, std::uint64_t total) {
    const py::gil_scoped_acquire interpreter;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    progress(done, total);
  };
  const auto found = onFile(path, [&] { return recording::verify(path, tell); });
  std::vector<std::pair<std::string, std::string>> problems;
  problems.reserve(found.size());
  for (const recording::Problem& problem : found)
    problems.emplace_back(problem.what, problem.where);
  return problems;
}

}  // namespace

void defineRecordingClasses(py::module_& module) {
  py::class_<SignalEntry>(module, "SignalRow")
      .def("fields", [](const SignalEntry& signal) { return dictOf(signal); })
      .def_readonly("id", &SignalEntry::id)
      .def_readonly("run", &SignalEntry::run)
      .def_readonly("label", &SignalEntry::label)
      .def_readonly("path", &SignalEntry::path)
      .def_readonly("model", &SignalEntry::model)
      .def_readonly("source", &SignalEntry::source)
      .def_readonly("root_source", &SignalEntry::rootSource)
      .def_readonly("time_source", &SignalEntry::timeSource)
      .def_readonly("sid", &SignalEntry::sid)
      .def_readonly("unit", &SignalEntry::unit)
      .def_readonly("port", &SignalEntry::port)
      .def_readonly("dash", &SignalEntry::dash)
      .def_readonly("visible", &SignalEntry::visible)
      .def("facts", &factsOf)
      .def_readonly("time_base", &SignalEntry::timeBase)
      .def_readonly("samples", &SignalEntry::samples)
      .def_property_readonly(
          "is_text",
          [](const SignalEntry& signal) { return signal.valueClass == ValueClass::kText; })
      .def_property_readonly("own_settings",
                             [](const SignalEntry& signal) {
                               return py::make_tuple(signal.tolerance.has_value(),
                                                     signal.sync.has_value());
                             })
      .def_readonly("metadata_bytes", &SignalEntry::metadataBytes);
  py::class_<RecordingReader>(module, "RecordingReader")
      .def(py::init<std::string>(), py::arg("path"))
      .def("close", &RecordingReader::close)
      .def("run_count", &RecordingReader::runCount)
      .def("signal_count", &RecordingReader::signalCount)
      .def("run", &RecordingReader::run)
      .def("signals", &RecordingReader::signals)
      .def("parent", &RecordingReader::parent)
      .def("children", &RecordingReader::children)
      .def("times", &RecordingReader::times)
      .def("values", &RecordingReader::values)
      .def("text", &RecordingReader::text)
      .def("metadata", &RecordingReader::metadata);
  py::class_<RecordingWriter>(module, "RecordingWriter")
      .def(py::init<std::string, bool, std::uint64_t, bool>(), py::arg("path"), py::arg("append"),
           py::arg("expected_bytes"), py::arg("replaces") = true)
      .def("add_run", &RecordingWriter::addRun)
      .def("add_signal", &RecordingWriter::addSignal)
      .def("add_record", &RecordingWriter::addRecord)
      .def("set_parent", &RecordingWriter::setParent)
      .def("commit", &RecordingWriter::commit)
      .def("close", &RecordingWriter::close);
  module.def("verify_recording", &verify, py::arg("path"), py::arg("progress"));
}

}  // namespace kvr::python
