// How fast the processor can run.
#pragma once

#include <fl/export.hpp>
#include <fl/util/expected.hpp>

namespace foundation::core::system {

/// The maximum frequency of the system's first processor, in Hz, or why it is not known: a
/// `boost::system::system_error`, which is also an `except::IInternalException`. On a hybrid part the frequency is that
/// of whichever core comes first. The system is asked at the first call in a process, and its answer is kept, also if
/// it is a failure: then each call returns the same exception object. Any thread may call it.
FL_API util::Expected<unsigned long long> getMaximumProcessorFrequency() noexcept;

}  // namespace foundation::core::system
