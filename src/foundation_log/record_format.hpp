// The line of a record. Pure.
#pragma once

#include <string>
#include <string_view>

namespace foundation::log {

/// A moment, as a calendar and a clock show it.
struct calendar_time {
  unsigned year, month, day, hour, minute, second, microsecond;
};

struct record_fields {
  calendar_time time;
  unsigned long process;
  unsigned long thread;
  std::string_view channel;
  unsigned severity;
  unsigned indent;  ///< In levels.
  std::string_view text;
};

/// The record as one line of valid UTF-8, "\n" at its end and nowhere else: logger.hpp shows it. Line ends and other
/// control characters of channel and text, and bytes that are no UTF-8, are written as escapes. A backslash stays as it
/// is, so that paths can be read: the line is for people, and an escape in it cannot be told from the same characters
/// in the text.
std::string format_record(const record_fields& record);

}  // namespace foundation::log
