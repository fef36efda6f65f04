// What an exit code says, in words: for a message or a log about a child that has ended.
//
//   0           "success"
//   3           "exit status 3"
//   0xC0000005  "access violation (0xC0000005)"
//   0xC0001234  "system error 0xC0001234"           what no name is known for, by its severity
//   0xE1234567  "program-defined exception 0xE1234567"
//   0x80070005  "failure or warning 0x80070005"     the same numbers serve for status codes and for HRESULTs
//   0xFFFFFFFF  "exit status -1"                    down to -65536
//   259         "exit status 259, which looks like a child that still runs"
//
// A program may return any number: one that returns 0xC0000005 of its own accord is told as an access violation, too.
//
// Thread safety: pure functions. They throw std::bad_alloc.
#pragma once

#include <fl/process/exit_status.hpp>

#include <kit/export.hpp>

#include <cstdint>
#include <string>

namespace foundation::kit {

namespace process = foundation::core::process;

/// `code` as the system reports it for an ended process. One line, without a full stop.
KIT_API std::string exit_code_text(std::uint32_t code);

/// The text of the code that an ended child left; "still running, or exit status 259" for `unknown`, which stands for
/// either; "ended by signal 9" for `signaled`. Throws std::bad_variant_access if `status` is valueless.
KIT_API std::string exit_code_text(const process::exit_status_variant& status);

}  // namespace foundation::kit
