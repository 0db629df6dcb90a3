#include "NativeEngine.hpp"

#include <pybind11/stl.h>

#include <limits>
#include <string>

#include "FrameSetInput.hpp"
#include "ParameterValues.hpp"
#include "ResultBlocks.hpp"
#include "StatusErrors.hpp"
#include "kelvora/HostSupport.hpp"
#include "support/QuietStdout.hpp"

namespace kelvora::python {

namespace {

// The order of the result blocks (ResultBlocks.hpp).
enum ResultSlot : size_t { kDistance, kAmplitude, kNoise, kIntensity, kFlags, kPointCloud };

template <ResultType RT, class T>
void redirect(Configuration& c, T* data, uint32_t size) {
  Configuration::OutputRedirector<RT> r;
  r.setRedirection(ArrayReference<T>(data, size));
  c.setOutputRedirection(r);
}

template <ResultType RT, class T>
bool redirectedTo(const Configuration& c, const T* data) {
  const Configuration::OutputRedirector<RT> r = c.getOutputRedirection<RT>();
  return r.hasRedirection() && r.target().data() == data;
}

template <ResultType RT>
void keepRedirection(Configuration& to, const Configuration& from) {
  to.setOutputRedirection(from.getOutputRedirection<RT>());
}

// Redirections of `from` into `to`: a configuration edited while another
// thread processed then still names the memory the engine last wrote into,
// which the next frame set's results prefer (ResultBlocks.hpp).
void copyRedirections(Configuration& to, const Configuration& from) {
  keepRedirection<POINT_CLOUD>(to, from);
  keepRedirection<AMPLITUDE>(to, from);
  keepRedirection<FLAGS>(to, from);
  keepRedirection<NOISE>(to, from);
  keepRedirection<INTENSITY>(to, from);
  keepRedirection<DISTANCE>(to, from);
}

struct ParameterRow {
  ParameterInfo info;
  ParameterValue value;
  ParameterValue lower;
  ParameterValue upper;
  uint32_t type = 0;
};

}  // namespace

template <class F>
auto NativeEngine::locked(F&& f) {
  const py::gil_scoped_release released;
  const std::lock_guard<std::mutex> lock(mutex_);
  return f();
}

NativeEngine::NativeEngine(const py::bytes& calibration) {
  const std::string_view bytes = calibration;
  if (bytes.size() > std::numeric_limits<uint32_t>::max()) {
    throw py::value_error("calibration data larger than 4 GiB");
  }
  const ArrayReference<unsigned char> blob(
      reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())),
      static_cast<uint32_t>(bytes.size()));
  KelvoraStatus status;
  {
    // The calibration readers report their progress on standard output. The
    // interpreter lock stays held: the first getKelvora of a process must not
    // overlap another.
    const tools::QuietStdout quiet;
    status = getKelvora(blob, &engine_);
  }
  if (status.code != KelvoraStatus::SUCCESS || engine_ == nullptr) {
    delete engine_;
    engine_ = nullptr;
    throw StatusError(StatusError::Kind::kCalibration, status);
  }
  width_ = engine_->getWidth();
  height_ = engine_->getHeight();
  configuration_.emplace(engine_->configuration());
  readModulationSetup();
  asarray_ = py::module_::import("numpy").attr("asarray");
  frameResultType_ = py::module_::import("kelvora._results").attr("FrameResult");
}

NativeEngine::~NativeEngine() {
  delete engine_;
}

void NativeEngine::readModulationSetup() {
  std::atomic_store(&frequencies_,
                    std::make_shared<const std::vector<uint32_t>>(modulationFrequencies(*engine_)));
  sparse_ = isPointCloudSparse(*engine_);
}

std::vector<uint32_t> NativeEngine::frequencies() const {
  return *std::atomic_load(&frequencies_);
}

py::list NativeEngine::parameters() {
  const std::vector<ParameterRow> rows = locked([&] {
    std::vector<ParameterRow> out;
    for (ParameterInfo& info : listParameters(*configuration_)) {
      const Parameter p = configuration_->getParameterByKey(info.key);
      ParameterRow row;
      row.value = p.getValue();
      if (p.hasBounds()) {
        row.lower = p.lowerBound();
        row.upper = p.upperBound();
      }
      row.type = p.type();
      row.info = std::move(info);
      out.push_back(std::move(row));
    }
    return out;
  });
  py::list list;
  for (const ParameterRow& row : rows) {
    list.append(py::make_tuple(row.info.name, static_cast<uint32_t>(row.info.key), row.info.type,
                               toPython(row.value),
                               toPython(fromText(row.type, row.info.defaultValue)),
                               toPython(row.lower), toPython(row.upper), row.info.description));
  }
  return list;
}

void NativeEngine::configure(const py::dict& values) {
  Configuration edited = locked([&] { return *configuration_; });
  for (const auto& item : values) {
    const std::string name = py::str(item.first);
    const Parameter p = edited.getParameterByName(name.c_str());
    // A name the engine does not offer is refused below, before its value
    // is looked at.
    const ParameterValue value = p.isValid() ? fromPython(p, item.second) : ParameterValue();
    const ParameterSetResult r = setParameterValue(edited, name, value);
    if (r.refusal == ParameterRefusal::UNKNOWN_NAME ||
        r.refusal == ParameterRefusal::FIXED_BY_CALIBRATION) {
      throw py::key_error(r.message);
    }
    if (!r.accepted()) throw py::value_error(r.message);
  }
  const KelvoraStatus status = locked([&] {
    copyRedirections(edited, *configuration_);
    const KelvoraStatus s = engine_->reconfigure(edited);
    if (s.code == KelvoraStatus::SUCCESS) {
      *configuration_ = edited;
      readModulationSetup();
    }
    return s;
  });
  if (status.code != KelvoraStatus::SUCCESS) {
    throw StatusError(StatusError::Kind::kConfiguration, status);
  }
}

py::object NativeEngine::process(py::handle grey, py::handle phases, py::handle exposures,
                                 py::handle temperature, py::handle frequencies) {
  const std::shared_ptr<const std::vector<uint32_t>> engineFrequencies =
      std::atomic_load(&frequencies_);
  const FrameSetInput frameSet(grey, phases, exposures, temperature, frequencies, width_, height_,
                               *engineFrequencies);
  const uint32_t n = width_ * height_;
  const uint8_t* last[ResultBlocks::kCount];
  for (size_t i = 0; i < ResultBlocks::kCount; ++i) last[i] = lastResults_[i].load();
  const ResultBlocks results = newResultBlocks(n, last);
  uint8_t* memory[ResultBlocks::kCount];
  for (size_t i = 0; i < ResultBlocks::kCount; ++i) memory[i] = results.blocks[i]->data();
  auto* distance = reinterpret_cast<float*>(memory[kDistance]);
  auto* amplitude = reinterpret_cast<float*>(memory[kAmplitude]);
  auto* noise = reinterpret_cast<float*>(memory[kNoise]);
  auto* intensity = reinterpret_cast<float*>(memory[kIntensity]);
  auto* flags = reinterpret_cast<uint32_t*>(memory[kFlags]);
  auto* cloud = reinterpret_cast<float*>(memory[kPointCloud]);

  struct Outcome {
    bool frequenciesMatch = true;
    KelvoraStatus status;
    bool processed = false;
    uint32_t points = 0;
    std::vector<uint32_t> proposals;
    bool sparse = false;
  };
  const Outcome outcome = locked([&] {
    Outcome o;
    o.frequenciesMatch = frequencies_ == engineFrequencies;
    if (!o.frequenciesMatch) return o;
    Configuration& c = *configuration_;
    if (!redirectedTo<DISTANCE>(c, distance) || !redirectedTo<AMPLITUDE>(c, amplitude) ||
        !redirectedTo<NOISE>(c, noise) || !redirectedTo<INTENSITY>(c, intensity) ||
        !redirectedTo<FLAGS>(c, flags) || !redirectedTo<POINT_CLOUD>(c, cloud)) {
      redirect<DISTANCE>(c, distance, n);
      redirect<AMPLITUDE>(c, amplitude, n);
      redirect<NOISE>(c, noise, n);
      redirect<INTENSITY>(c, intensity, n);
      redirect<FLAGS>(c, flags, n);
      redirect<POINT_CLOUD>(c, cloud, 4 * n);
      o.status = engine_->reconfigure(c);
      if (o.status.code != KelvoraStatus::SUCCESS) return o;
      for (size_t i = 0; i < ResultBlocks::kCount; ++i) lastResults_[i] = memory[i];
    }
    o.processed = true;
    o.status = engine_->processWhole(frameSet.input());
    o.points = pointCloudPointCount(*engine_);
    const ArrayReference<unsigned int> proposals = engine_->results<EXPOSURE_PROPOSALS>();
    o.proposals.assign(proposals.data(), proposals.data() + proposals.size());
    o.sparse = sparse_;
    return o;
  });
  if (!outcome.frequenciesMatch) {
    throw py::value_error("the engine's frequencies changed while the frame set was prepared");
  }
  if (!outcome.processed) throw StatusError(StatusError::Kind::kConfiguration, outcome.status);
  if (outcome.status.code != KelvoraStatus::SUCCESS) {
    throw py::value_error("the engine refused the frame set: " + describeStatus(outcome.status));
  }
  return frameResult(results, outcome.points, outcome.proposals, outcome.sparse,
                     frameSet.frequencyCount() > 0);
}

py::object NativeEngine::frameResult(const ResultBlocks& results, uint32_t points,
                                     const std::vector<uint32_t>& proposals, bool sparse,
                                     bool modulated) const {
  const auto h = static_cast<py::ssize_t>(height_);
  const auto w = static_cast<py::ssize_t>(width_);
  const auto array = [&](size_t slot, char format, std::vector<py::ssize_t> shape) {
    results.blocks[slot]->setLayout(format, std::move(shape));
    return asarray_(results.objects[slot]);
  };
  const py::object none = py::none();
  const py::object cloud = sparse ? array(kPointCloud, 'f', {static_cast<py::ssize_t>(points), 4})
                                  : array(kPointCloud, 'f', {h, w, 4});
  return frameResultType_(modulated ? array(kDistance, 'f', {h, w}) : none,
                          modulated ? array(kAmplitude, 'f', {h, w}) : none,
                          modulated ? array(kNoise, 'f', {h, w}) : none,
                          array(kIntensity, 'f', {h, w}), array(kFlags, 'I', {h, w}),
                          modulated ? cloud : none,
                          asarray_(newUnsignedBlock(proposals.data(), proposals.size())));
}

}  // namespace kelvora::python
