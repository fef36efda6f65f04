// The line of a record. Pure.

#include "record_format.hpp"

#include "severity_names.hpp"

#include <boost/locale/utf.hpp>

#include <cstdio>

namespace foundation::log {

namespace {

using utf8 = boost::locale::utf::utf_traits<char>;
using boost::locale::utf::code_point;

void append_escape(std::string& line, const char* mark, unsigned digit_count, code_point value) {
  constexpr char digits[] = "0123456789abcdef";
  line += mark;
  for (unsigned digit = digit_count; digit-- != 0;) {
    line += digits[value >> 4 * digit & 15];
  }
}

/// Control characters of both sets, and the two that separate lines and paragraphs.
bool needs_escape(code_point c) {
  return (c < 0x20 && c != '\t') || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
}

void append_escaped(std::string& line, std::string_view text) {
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) {
    const char* const begin = at;
    const code_point c = utf8::decode(at, end);
    if (!boost::locale::utf::is_valid_codepoint(c)) {
      append_escape(line, "\\x", 2, static_cast<unsigned char>(*begin));
      at = begin + 1;  // The byte behind it may begin a character.
    } else if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else if (!needs_escape(c)) {
      line.append(begin, at);
    } else if (c < 0x80) {
      append_escape(line, "\\x", 2, c);
    } else {
      append_escape(line, "\\u", 4, c);
    }
  }
}

void append_severity(std::string& line, unsigned severity) {
  for (const auto& known : severity_names) {
    if (known.flag != severity) {
      continue;
    }
    line += known.name;
    return;
  }
  line += std::to_string(severity);
}

}  // namespace

std::string format_record(const record_fields& record) {
  char head[96];
  const calendar_time& time = record.time;
  std::snprintf(head, sizeof head, "%04u-%02u-%02u %02u:%02u:%02u.%06u %lu:%lu [", time.year, time.month, time.day,
                time.hour, time.minute, time.second, time.microsecond, record.process, record.thread);
  std::string line = head;
  append_escaped(line, record.channel);
  line += "] ";
  append_severity(line, record.severity);
  line += ": ";
  line.append(std::size_t{2} * record.indent, ' ');
  append_escaped(line, record.text);
  line += '\n';
  return line;
}

}  // namespace foundation::log
