// The line of a record. Pure.

#include "record_format.hpp"

#include "severity_names.hpp"

#include <cstdio>

namespace foundation::log {

namespace {

void append_escaped(std::string& line, std::string_view text) {
  constexpr char digits[] = "0123456789abcdef";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n')
      line += "\\n";
    else if (c == '\r')
      line += "\\r";
    else if ((byte < 0x20 && c != '\t') || byte == 0x7F)
      line.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
    else
      line += c;
  }
}

void append_severity(std::string& line, unsigned severity) {
  for (const auto& known : severity_names) {
    if (known.flag != severity)
      continue;
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
