// What a command wrote to one of its outputs. A plain value.
#pragma once

#include <fl/util/ustring.hpp>

#include <kit/export.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace foundation::kit {

/// One output of a command.
struct KIT_API run_output {
  std::string bytes;          ///< what was kept, as it came
  std::uint64_t dropped = 0;  ///< how many bytes were not kept, for the limit's sake; they came behind the first `gap`
  std::size_t gap = 0;        ///< where in `bytes` the dropped ones are missing; 0 if nothing was dropped
  /// The output was given up before its end: a process that outlived the command still held it.
  bool given_up = false;

  /// Whether some of it was not kept.
  bool truncated() const noexcept { return dropped != 0; }

  /// As UTF-8 with line ends "\n". What is ill-formed in `encoding` (a name of i18n/encoding.hpp) becomes U+FFFD. A
  /// line "[... N bytes left out ...]" stands for the dropped bytes, and for what was kept of a unit of `encoding` that
  /// has lost some of its bytes. Throws fl::i18n::unknown_encoding.
  std::string text(std::string_view encoding = "UTF-8") const;

  /// The same as UTF-16.
  core::ustring wide_text(std::string_view encoding = "UTF-8") const;
};

}  // namespace foundation::kit
