#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <vector>

#include "Bindings.hpp"
#include "FrameSetBuffers.hpp"
#include "support/Recording.hpp"
#include "support/ToolError.hpp"

namespace kelvora::python {

namespace {

// A recording read frame set by frame set with the tool's reader, which
// refuses a file whose header or size is wrong before anything is read.
class RecordingFile {
 public:
  explicit RecordingFile(const std::string& path) : reader_(open(path)) {}

  const tools::RecordingHeader& header() const { return reader_->header(); }
  std::vector<uint32_t> frequencies() const {
    return {header().frequencies, header().frequencies + header().frequencyCount};
  }
  uint32_t frameSetCount() const { return reader_->frameSetCount(); }

  // The next frame set into the caller's arrays: (temperature, exposures),
  // or None after the last one.
  py::object readInto(const py::buffer& grey, const py::buffer& phases) {
    bool read = false;
    try {
      read = reader_->next(frameSet_);
    } catch (const tools::ToolError& e) {
      PyErr_SetString(PyExc_OSError, e.what());
      throw py::error_already_set();
    }
    if (!read) return py::none();
    return copyFrameSetInto(frameSet_, header(), grey, phases);
  }

 private:
  static std::unique_ptr<tools::RecordingReader> open(const std::string& path) {
    try {
      return std::make_unique<tools::RecordingReader>(path);
    } catch (const tools::ToolError& e) {
      throw py::value_error(e.what());
    }
  }

  std::unique_ptr<tools::RecordingReader> reader_;
  tools::RecordedFrameSet frameSet_;
};

// frameSets: (grey, phases, exposures, temperature) per frame set.
void writeRecordingFile(const std::string& path, uint32_t width, uint32_t height,
                        const std::vector<uint32_t>& frequencies, const py::list& frameSets) {
  tools::RecordingHeader header;
  header.width = width;
  header.height = height;
  if (frequencies.empty() || frequencies.size() > tools::kMaxRecordingFrequencies) {
    throw py::value_error("a recording holds one or two modulation frequencies");
  }
  header.frequencyCount = static_cast<uint32_t>(frequencies.size());
  for (size_t f = 0; f < frequencies.size(); ++f) header.frequencies[f] = frequencies[f];
  std::vector<tools::RecordedFrameSet> records;
  for (const py::handle item : frameSets) {
    const py::tuple t = item.cast<py::tuple>();
    records.push_back(recordFrameSet(header, t[0].cast<py::buffer>(), t[1].cast<py::buffer>(),
                                     t[2].cast<std::vector<uint32_t>>(), t[3].cast<float>()));
  }
  try {
    tools::writeRecording(path, header, records);
  } catch (const tools::ToolError& e) {
    PyErr_SetString(PyExc_OSError, e.what());
    throw py::error_already_set();
  }
}

}  // namespace

void bindRecordings(py::module_& m) {
  py::class_<RecordingFile>(m, "_RecordingFile", "A recording opened for reading.")
      .def(py::init<const std::string&>(), py::arg("path"))
      .def_property_readonly("width", [](const RecordingFile& r) { return r.header().width; })
      .def_property_readonly("height", [](const RecordingFile& r) { return r.header().height; })
      .def_property_readonly("frequencies", &RecordingFile::frequencies)
      .def_property_readonly("frame_set_count", &RecordingFile::frameSetCount)
      .def("read_into", &RecordingFile::readInto, py::arg("grey"), py::arg("phases"));
  m.def("write_recording", &writeRecordingFile, py::arg("path"), py::arg("width"),
        py::arg("height"), py::arg("frequencies"), py::arg("frame_sets"));
}

}  // namespace kelvora::python
