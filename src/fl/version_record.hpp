// The record of the log that tells the versions; fl/version.hpp shows it. Thread safety: any thread.
#pragma once

namespace foundation::core::detail {

/// At a first use of the library: writes the record unless there was one.
void record_version() noexcept;

}  // namespace foundation::core::detail
