#include "mem/bad_pointer_report.hpp"

#include <fl/diag/terminate.hpp>
#include <fl/mem/page.hpp>

#include "mem/assertion_paths.hpp"
#include "mem/pointer_check.hpp"
#include "util/process_id.hpp"
#include "util/whole_text.hpp"

#include <boost/format.hpp>

#include <locale>
#include <sstream>

namespace foundation::core::mem::detail {

namespace {

constexpr const char* bad_passed_pointer =
    "The pointer passed to '%1%' is invalid\n"
    "and does not appear to have come from any of the following routines:\n"
    "  vector_malloc, vector_calloc, vector_realloc\n"
    "  txMalloc*, txCalloc*, txRealloc*\n"
    "\n"
    "This suggests one of the following has happened:\n"
    "  - the pointer has already been freed\n"
    "  - the pointer came from an incompatible allocator (e.g. new, malloc, tuMalloc)\n"
    "  - the pointer didn't come from any allocator (e.g. the stack, uninitialized memory)\n"
    "  - a memory corruption destroyed the pointer or its header\n";

constexpr const char* bad_returned_pointer =
    "The pointer returned from '%1%' is invalid.\n"
    "\n"
    "This suggests one of the following has happened\n"
    "  - the alignment of the OS allocator (malloc) has changed\n"
    "  - a memory corruption destroyed the pointer or its header\n";

/// Of the heaps without headers.
constexpr const char* bad_bare_pointer =
    "The pointer passed to '%1%' is invalid\n"
    "and does not appear to have come from any of the following routines:\n"
    "  vector_malloc, vector_calloc, vector_realloc\n"
    "  txMalloc*, txCalloc*, txRealloc*\n"
    "\n"
    "This suggests one of the following has happened:\n"
    "  - the pointer came from an incompatible allocator (e.g. new, malloc, tuMalloc)\n"
    "  - the pointer didn't come from any allocator (e.g. the stack, uninitialized memory)\n"
    "  - a memory corruption destroyed the pointer\n";

/// A header that was found bad may lie anywhere; only on the page of its block is it read once more.
bool may_read_header(const header* h, const void* p) {
  return is_multiple_of(native_alignment, p) && !lies_in_page_zero(h) && get_page(h) == get_page(p);
}

void write_number(std::ostream& os, const char* name, std::uint64_t value) {
  os << name << std::dec << value << " (" << std::hex << value << ')' << std::endl;
}

void write_header_data(std::ostream& os, const header& h, const void* p) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): what a bad header says may lead anywhere
  os << "UNALIGNED POINTER: " << reinterpret_cast<const void*>(address(p) - h.offset) << std::endl;
  write_number(os, "HEADER->SIZE:      ", h.size);
  write_number(os, "HEADER->CHECK:     ", h.check);
  write_number(os, "HEADER->ALIGNMENT: ", h.alignment);
  write_number(os, "HEADER->OFFSET:    ", h.offset);
}

void write_report(std::ostream& os, const header* h, std::size_t alignment, const void* p, std::size_t size,
                  const boost::format& message) {
  os.imbue(std::locale::classic());
  os << util::throw_failures << std::showbase << message << std::endl;
  os << "THIS DATA IS FOR DIAGNOSTIC PURPOSES ONLY" << std::endl;
  os << "PID:               " << util::process_id() << std::endl;
  write_number(os, "NATIVE ALIGNMENT:  ", native_alignment);
  write_number(os, "REQ ALIGNMENT:     ", alignment);
  os << "ALIGNED POINTER:   " << p << std::endl;
  write_number(os, "REQ SIZE:          ", size);
  os << "HEADER ADDRESS:    " << static_cast<const void*>(h) << std::endl;
  write_number(os, "HEADER SIZE:       ", sizeof(header));
  if (may_read_header(h, p)) {
    write_header_data(os, *h, p);
  } else {
    os << "HEADER DATA:       INACCESSIBLE" << std::endl;
  }
}

/// The end of the process. `h` may be null, `p` anything. If memory ends on the way, the message goes without the rest.
[[noreturn]] void error(const header* h, std::size_t alignment, const void* p, std::size_t size,
                        const boost::format& message) {
  try {
    std::stringstream text;
    write_report(text, h, alignment, p, size, message);
    diag::terminate(text, heap_path, __LINE__, __PRETTY_FUNCTION__);
  } catch (...) {
    diag::terminate(message, heap_path, __LINE__, __PRETTY_FUNCTION__);
  }
}

/// Not even a lack of memory lets an exception out: then the message goes without the label.
boost::format message_of(const char* text, const char* label) {
  try {
    return util::filled(text, label);
  } catch (...) {
    diag::terminate(text, heap_path, __LINE__, __PRETTY_FUNCTION__);
  }
}

}  // namespace

void report_bad_passed_pointer(std::size_t alignment, const void* p, std::size_t size, const char* label) {
  error(header_of(p), alignment, p, size, message_of(bad_passed_pointer, label));
}

void report_bad_returned_pointer(std::size_t alignment, const void* p, std::size_t size, const char* label) {
  error(header_of(p), alignment, p, size, message_of(bad_returned_pointer, label));
}

void report_bad_bare_pointer(std::size_t alignment, const void* p) {
  error(nullptr, alignment, p, 0, message_of(bad_bare_pointer, "vector_check"));
}

}  // namespace foundation::core::mem::detail
