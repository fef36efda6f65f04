#include <fl/version.hpp>
#include <foundation_log/logger.hpp>

#include "version_record.hpp"

#include <atomic>

namespace foundation::core {

namespace {

constexpr unsigned nobody_yet = ~0u, unknown_headers = nobody_yet - 1;

/// The headers that the last record was about, or one of the two above.
std::atomic<unsigned> told_of{nobody_yet};

constexpr unsigned major_of(unsigned version) {
  return version / 1'000'000;
}

constexpr unsigned minor_of(unsigned version) {
  return version / 1'000 % 1'000;
}

constexpr bool fits(unsigned headers) {
  return QXFL_VERSION >= headers && QXFL_VERSION_MAJOR == major_of(headers) &&
         (QXFL_VERSION_MAJOR != 0 || QXFL_VERSION_MINOR == minor_of(headers));
}

// The logger lives as long as its record. One that is built when the library loads would have a place in the order of
// those, and one that is built later could be gone before the last child is launched.
void record(unsigned headers) noexcept {
  try {
    const log::basic_diagnostic_logger<char> logger("fl::version");
    if (headers == unknown_headers) {
      logger.log(log::severity::note, "libqxfl " QXFL_VERSION_STRING);
    } else {
      logger.log(fits(headers) ? log::severity::note : log::severity::complaint,
                 "libqxfl " QXFL_VERSION_STRING ", used with headers of ", major_of(headers), '.', minor_of(headers),
                 '.', headers % 1'000, fits(headers) ? "" : ", which it does not fit");
    }
  } catch (...) {
    // Without memory there is no record.
  }
}

}  // namespace

unsigned loaded_version() noexcept {
  return QXFL_VERSION;
}

const char* loaded_version_text() noexcept {
  return QXFL_VERSION_STRING;
}

bool loaded_version_fits(unsigned headers) noexcept {
  if (told_of.exchange(headers, std::memory_order_relaxed) != headers) {
    record(headers);
  }
  return fits(headers);
}

void detail::record_version() noexcept {
  unsigned nobody = nobody_yet;
  if (told_of.compare_exchange_strong(nobody, unknown_headers, std::memory_order_relaxed)) {
    record(unknown_headers);
  }
}

}  // namespace foundation::core
