// The text form of pipes: read as a parser reads it that goes digit by digit, and written so that it comes back.
#include <fl/process/iopipe_descriptor.hpp>
#include <fl/process/iopipe_descriptor_impl.hpp>

#include "fuzzing.hpp"

#include <boost/numeric/conversion/cast.hpp>

#include <algorithm>
#include <optional>
#include <string>

namespace {

using foundation::core::process::iopipe_descriptor;
using number = __int128;

constexpr number beyond_all = number{1} << 70;

/// The number that `text` begins with behind blanks, which are taken away with it; far too large ones are alike.
std::optional<number> take_number(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool is_negative = text.starts_with('-');
  text.remove_prefix(is_negative || text.starts_with('+') ? 1 : 0);
  std::optional<number> value;
  for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1)) {
    value = std::min(value.value_or(0) * 10 + (text[0] - '0'), beyond_all);
  }
  return value && is_negative ? -*value : value;
}

/// What the descriptor of this text is written as, or what it throws.
std::string expected(std::string_view text) {
  std::string written;
  bool is_sound = true;  // All numbers so far.
  const auto field = [&](number least, number most) -> number {
    const std::optional<number> value = is_sound ? take_number(text) : std::nullopt;
    is_sound = value && *value >= least && *value <= most;
    return value.value_or(0);
  };
  for (int handle = 0; handle != 2; ++handle) {
    if (!is_sound || (handle == 1 && text.empty())) {
      return "parse_file_handle: bad stream";
    }
    const auto value = static_cast<std::uint64_t>(field(-number{UINT64_MAX}, UINT64_MAX));
    written += std::to_string(is_sound ? value : 0) + ' ';
  }
  const auto write_truth = [&] {
    const bool was_sound = is_sound;
    const bool value = field(0, 1) != 0;  // Any other number is true, and ends the reading.
    written += was_sound && value ? "1 " : "0 ";
  };
  write_truth();
  write_truth();
  const bool was_sound = is_sound;
  const number pending = field(-128, 127);
  if (was_sound && !is_sound && pending != 0) {
    return pending > 0 ? boost::numeric::positive_overflow().what() : boost::numeric::negative_overflow().what();
  }
  written += std::to_string(static_cast<int>(is_sound ? pending : 0)) + ' ';
  write_truth();
  written.pop_back();
  return written;
}

std::string outcome(const std::string& text) {
  try {
    return iopipe_descriptor(text);
  } catch (const std::runtime_error& error) {
    return error.what();
  } catch (const boost::numeric::bad_numeric_cast& error) {
    return error.what();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string result = outcome(text);
  fuzzing::require(result == expected(text));
  if (result.find_first_not_of("0123456789- ") == std::string::npos) {
    fuzzing::require(outcome(result) == result);
  }
  return 0;
}
