// The three printed forms.
#include "diag/stacktrace_format.hpp"

#include "diag/report/report_line.hpp"
#include "diag/symbol_lookup.hpp"

#include <cstring>

namespace foundation::core::diag {

namespace {

// What a stream's word says.
constexpr long symbolic_form = 0;
constexpr long numeric_form = 1;
constexpr long raw_form = 2;

long& form_of(std::ios_base& stream) {
  static const int index = std::ios_base::xalloc();
  return stream.iword(index);
}

using frame_iterator = stacktrace_base::const_iterator;

std::uint64_t value_of(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address);
}

void put_prefix(report_line& line, std::size_t number, const void* frame) {
  line.put('[').decimal(number, 3).put("] 0x").hexadecimal(value_of(frame), 16);
}

void write_raw(std::ostream& os, frame_iterator first, frame_iterator last) {
  for (; first != last; ++first) {
    report_line line;
    write(os, line.hexadecimal(value_of(*first)).put('\n').view());
  }
}

void write_numeric(std::ostream& os, frame_iterator first, frame_iterator last, std::size_t number = 0) {
  for (; first != last; ++first, ++number) {
    report_line line;
    put_prefix(line, number, *first);
    write(os, line.put('\n').view());
  }
}

std::string_view module_text(const frame_description& known) {
  if (known.relative_path != nullptr && *known.relative_path != '\0') {
    return known.relative_path;
  }
  return known.file[0] != '\0' ? known.file : "<unknown-module>";
}

void write_offset(std::ostream& os, std::uint64_t offset) {
  report_line line;
  write(os, line.put('+').decimal(offset, 8, '0').view());
}

void write_symbolic_frame(std::ostream& os, std::size_t number, const void* frame, const frame_description& known) {
  constexpr std::size_t module_width = 50;
  const std::string_view module = module_text(known);
  report_line line;
  put_prefix(line, number, frame);
  line.put(' ').repeat(module.size() < module_width ? module_width - module.size() : 0, ' ');
  write(os, line.view());
  write(os, module);
  write_offset(os, known.module != nullptr ? value_of(frame) - value_of(known.module) : 0);
  if (known.symbol[0] != '\0') {
    write(os, " ");
    write(os, known.symbol);
    write_offset(os, known.displacement);
  }
  write(os, "\n");
}

void write_symbolic(std::ostream& os, frame_iterator first, frame_iterator last) {
  const symbol_lookup lookup;
  frame_description known;
  for (std::size_t number = 0; first != last; ++first, ++number) {
    lookup.find_symbol(*first, known);
    find_module(*first, known);
    write_symbolic_frame(os, number, *first, known);
  }
}

}  // namespace

void write_for_report(std::ostream& os, const stacktrace_base& stack, const void* start) {
  // A stack can have frames at address 0.
  auto frame = start != nullptr ? std::find(stack.begin(), stack.end(), start) : stack.begin();
  if (frame == stack.end()) {
    frame = stack.begin();
  }
  const symbol_lookup lookup;
  frame_description known;
  for (std::size_t number = 0; frame != stack.end(); ++frame, ++number) {
    if (!lookup.find_symbol(*frame, known)) {
      write(os, "No names from here on: a thread was stopped inside the symbol service or the loader.\n");
      return write_numeric(os, frame, stack.end(), number);
    }
    find_module(*frame, known);
    write_symbolic_frame(os, number, *frame, known);
  }
}

std::ostream& stacktrace_base::format(std::ostream& os, const void* start) const {
  const auto first = start == nullptr ? begin() : std::find(begin(), end(), start);
  switch (form_of(os)) {
    case symbolic_form:
      write_symbolic(os, first, end());
      break;
    case numeric_form:
      write_numeric(os, first, end());
      break;
    case raw_form:
      write_raw(os, first, end());
      break;
    default:
      break;
  }
  return os;
}

std::ostream& symbolic(std::ostream& os) {
  form_of(os) = symbolic_form;
  return os;
}

std::ostream& numeric(std::ostream& os) {
  form_of(os) = numeric_form;
  return os;
}

std::ostream& raw(std::ostream& os) {
  form_of(os) = raw_form;
  return os;
}

}  // namespace foundation::core::diag
