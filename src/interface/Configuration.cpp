#include "kelvora/Configuration.hpp"

#include <algorithm>
#include <cstring>

namespace kelvora {

Configuration::Configuration(const AbstractField<Parameter>& parameters)
    : parameters_(parameters.size()), redirections_(kRedirectionSlots) {
  for (uint32_t i = 0; i < parameters.size(); ++i) parameters_[i] = parameters[i];
  // Keys are unique in practice; equal keys would keep no particular order.
  std::sort(parameters_.begin(), parameters_.end(),
            [](const Parameter& a, const Parameter& b) { return a.key() < b.key(); });
  setOutputRedirection(OutputRedirector<POINT_CLOUD>());
  setOutputRedirection(OutputRedirector<AMPLITUDE>());
  setOutputRedirection(OutputRedirector<FLAGS>());
  setOutputRedirection(OutputRedirector<NOISE>());
  setOutputRedirection(OutputRedirector<INTENSITY>());
  setOutputRedirection(OutputRedirector<DISTANCE>());
}

Configuration::Configuration(const Configuration& other) = default;

Configuration& Configuration::operator=(const Configuration& other) {
  if (this != &other) {
    // Both copies are made before anything changes, so a failed copy leaves
    // this configuration as it was.
    ArrayHolder<Parameter> parameters(other.parameters_);
    ArrayHolder<RedirectionVariant> redirections(other.redirections_);
    parameters_.swap(parameters);
    redirections_.swap(redirections);
  }
  return *this;
}

Configuration::~Configuration() = default;

ArrayHolder<Parameter>& Configuration::getParameters() {
  return parameters_;
}

ImmutableField<Parameter> Configuration::getParameters() const {
  return ImmutableField<Parameter>(parameters_);
}

int64_t Configuration::findKey(ParameterKey key) const {
  // The list is sorted and keys are small distinct numbers, so the key itself
  // is at or after the wanted position; with the registry's keys the first
  // or second position tried is the one.
  const uint32_t size = parameters_.size();
  if (size == 0) return -1;
  const uint32_t start = std::min<uint32_t>(key, size - 1);
  for (uint32_t pos = start;; --pos) {
    const ParameterKey found = parameters_[pos].key();
    if (found == key) return pos;
    if (static_cast<uint32_t>(found) < start || pos == 0) return -1;
  }
}

Parameter Configuration::getParameterByName(const char* name) const {
  if (name != nullptr) {
    for (const Parameter& p : parameters_) {
      if (std::strcmp(p.name(), name) == 0) return p;
    }
  }
  return Parameter();
}

Parameter Configuration::getParameterByKey(ParameterKey key) const {
  const int64_t pos = findKey(key);
  return pos < 0 ? Parameter() : parameters_[static_cast<uint32_t>(pos)];
}

bool Configuration::setParameter(const Parameter& p) {
  const int64_t pos = findKey(p.key());
  if (pos < 0) return false;
  parameters_[static_cast<uint32_t>(pos)] = p;
  return true;
}

KelvoraStatus Configuration::setParameters(const ImmutableField<Parameter>& list) {
  for (const Parameter& p : list) {
    if (!setParameter(p)) return KelvoraStatus{KelvoraStatus::UNKNOWN_PARAMETER, p.key()};
  }
  return KelvoraStatus{};
}

}  // namespace kelvora
