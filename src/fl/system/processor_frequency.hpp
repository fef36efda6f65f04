// Asks the system for the processor's frequency. Implemented in windows/processor_frequency.cpp.
#pragma once

namespace foundation::core::system::windows {

/// In Hz. Throws `boost::system::system_error`, wrapped as an internal exception, if the system does not say, and
/// `std::bad_alloc`.
unsigned long long getMaximumProcessorFrequencyImpl();

}  // namespace foundation::core::system::windows
