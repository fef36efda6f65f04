// What message catalogs ask the system for. Implemented in windows/message_platform.cpp. Thread safety: every function
// may be called from every thread.
#pragma once

#include <i18n/ustring.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace fl::i18n::detail {

/// The value of the environment variable QX_MESSAGE_PATH; empty if it is not set.
ustring message_path_variable();

/// The language in which the user has the system speak, as the system names it: "de-AT". Empty if it does not say.
std::string display_language();

/// Reading failed because of the directory: it is on a server that does not answer or a drive that is not there, or has
/// no possible name. `what()` is the system's reason.
struct unreachable_directory : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// In bytes. Real catalogs are a thousand times smaller: a file that somebody lets grow is not to take all memory.
constexpr std::size_t largest_catalog_file = std::size_t{64} << 20;

/// The content of the file, or nothing if there is no such file. May wait for the network. Throws
/// `unreachable_directory`, and `bad_catalog` with the system's reason, or for a file that is too large.
std::optional<std::string> read_catalog_file(const ustring& path);

/// Since the system started.
std::uint64_t milliseconds() noexcept;

/// Mentions an unreachable directory in the log.
void log_unreachable(const ustring& directory, const std::string& reason) noexcept;

}  // namespace fl::i18n::detail
