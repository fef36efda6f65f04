#include "system/processor_frequency.hpp"

#include <fl/system/processor_frequency.hpp>

namespace foundation::core::system {

namespace {

util::Expected<unsigned long long> ask() noexcept {
  try {
    return windows::getMaximumProcessorFrequencyImpl();
  } catch (...) {
    return std::current_exception();
  }
}

}  // namespace

util::Expected<unsigned long long> getMaximumProcessorFrequency() noexcept {
  static const util::Expected<unsigned long long> outcome = ask();
  return outcome;
}

}  // namespace foundation::core::system
