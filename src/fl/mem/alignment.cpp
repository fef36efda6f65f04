// The aligned heap: its four variants, of which the process has one, and the headers and checks that two of them share.
//
// A block with a header lies in a block of the run-time like this:
//
//     block             p - 16        p
//     | unused          | header      | the client's bytes …
//     |<----------- offset ---------->|
//
// The run-time's blocks start at multiples of 16, and `p` is the next multiple of the alignment above that, so that
// there is always room for the 16 bytes of the header.
//
// Thread safety: nothing here has a state of its own, except which object is the instance.

#include <dlmalloc/malloc.hpp>
#include <fl/diag/terminate.hpp>
#include <fl/mem/aligned_heap.hpp>
#include <fl/mem/page.hpp>

#include "diag/assertion.hpp"
#include "mem/aligned_heap_create.hpp"
#include "mem/page_mask.hpp"
#include "util/process_id.hpp"
#include "util/whole_text.hpp"

#include <boost/format.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <new>
#include <optional>
#include <sstream>

namespace foundation::core::mem {

namespace {

constexpr const char* this_file = "src/fl/mem/alignment";

}  // namespace

aligned_heap* aligned_heap::instance = nullptr;

aligned_heap::aligned_heap() {
  diag::assert_that(!instance, "!instance", this_file);
  instance = this;
}

aligned_heap::~aligned_heap() {
  diag::assert_that(instance, "instance", this_file);
  instance = nullptr;
}

namespace {

class aligned_heap_base : public aligned_heap {
 public:
  explicit aligned_heap_base(std::size_t alignment) : alignment_(alignment) {}
  std::size_t alignment() const override { return alignment_; }

 protected:
  const std::size_t alignment_;  ///< in bytes, legal
};

constexpr std::size_t native_alignment = 16;  ///< of the run-time's blocks
constexpr std::size_t largest_alignment = 32768;
constexpr std::uint32_t live_mark = 0xfeedface;
constexpr std::uint32_t freed_mark = 0x01120531;

/// What lies below each block.
struct header {
  std::uint64_t size;       ///< the client's bytes, rounded up to a multiple of 16
  std::uint32_t check;      ///< `live_mark` or `freed_mark`
  std::uint16_t alignment;  ///< what was asked for
  std::uint16_t offset;     ///< from the start of the run-time's block to the client's bytes
};
static_assert(sizeof(header) == native_alignment);

std::uintptr_t address(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p);
}

/// `alignment`: a power of two.
bool is_multiple_of(std::size_t alignment, const void* p) {
  return (address(p) & (alignment - 1)) == 0;
}

/// Of numbers, since a bad pointer may be anything, and arithmetic on it undefined.
header* header_of(const void* p) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): see above
  return reinterpret_cast<header*>(address(p) - sizeof(header));
}

bool is_legal_alignment(std::size_t alignment) {
  return std::has_single_bit(alignment) && alignment >= native_alignment && alignment <= largest_alignment;
}

/// How many bytes a block takes.
struct extent {
  std::size_t rounded;  ///< the client's bytes, as the header tells them
  std::size_t total;    ///< what is asked of the run-time
};

/// Nothing if they are more than can be counted: then a sum has wrapped.
std::optional<extent> extent_of(std::size_t alignment, std::size_t size) {
  const std::size_t rounded = (size + (native_alignment - 1)) & ~(native_alignment - 1);
  const std::size_t total = alignment + rounded;
  if (total <= size) {
    return std::nullopt;
  }
  return extent{rounded, total};
}

/// Puts the header into a block of the run-time and returns the client's part. Null stays null.
void* write_header(void* block, std::size_t alignment, std::size_t rounded) {
  if (block == nullptr) {
    return nullptr;
  }
  const std::size_t offset = alignment - (address(block) & (alignment - 1));
  void* const p = static_cast<char*>(block) + offset;
  new (header_of(p))
      header{rounded, live_mark, static_cast<std::uint16_t>(alignment), static_cast<std::uint16_t>(offset)};
  return p;
}

void* header_allocate(std::size_t alignment, std::size_t size) {
  const std::optional<extent> bytes = extent_of(alignment, size);
  return bytes ? write_header(std::malloc(bytes->total), alignment, bytes->rounded) : nullptr;
}

/// A product that overflows counts as what is left of it.
void* header_allocate_zeroed(std::size_t alignment, std::size_t count, std::size_t size) {
  const std::optional<extent> bytes = extent_of(alignment, count * size);
  return bytes ? write_header(std::calloc(bytes->total, 1), alignment, bytes->rounded) : nullptr;
}

/// `p` is not null.
void header_free(void* p) {
  header* const h = header_of(p);
  // To the compiler a store into memory that is about to be freed has no effect; volatile keeps it.
  static_cast<volatile header*>(h)->check = freed_mark;
  std::free(static_cast<char*>(p) - h->offset);
}

/// Blocks never shrink. Null if there is no memory; then `p` stays as it is.
void* header_resize(header* h, std::size_t alignment, void* p, std::size_t size) {
  if (size <= h->size) {
    return p;
  }
  void* const grown = header_allocate(alignment, size);
  if (grown == nullptr) {
    return nullptr;
  }
  std::memcpy(grown, p, h->size);
  header_free(p);
  return grown;
}

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

bool lies_in_page_zero(const void* p) {
  return (address(p) & page_mask) == 0;
}

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
    diag::terminate(text, this_file, __LINE__, __PRETTY_FUNCTION__);
  } catch (...) {
    diag::terminate(message, this_file, __LINE__, __PRETTY_FUNCTION__);
  }
}

/// Not even a lack of memory lets an exception out: then the message goes without the label.
boost::format message_of(const char* text, const char* label) {
  try {
    return util::filled(text, label);
  } catch (...) {
    diag::terminate(text, this_file, __LINE__, __PRETTY_FUNCTION__);
  }
}

/// What is found in a header must be what was written there. That its alignment is a legal one needs no test: the
/// heap's is.
bool is_sound(std::size_t alignment, const void* p) {
  if (!is_multiple_of(native_alignment, p) || lies_in_page_zero(header_of(p))) {
    return false;
  }
  const header& h = *header_of(p);
  return h.check == live_mark && h.size >= native_alignment && h.size % native_alignment == 0 &&
         h.alignment == alignment && is_multiple_of(alignment, p) && h.offset >= native_alignment &&
         h.offset <= alignment && h.offset % native_alignment == 0;
}

/// Apart from the checks, so that a good pointer pays nothing for it.
[[noreturn, gnu::cold, gnu::noinline]] void report_bad_pointer(std::size_t alignment, const void* p, std::size_t size,
                                                               const char* text, const char* label) {
  error(header_of(p), alignment, p, size, message_of(text, label));
}

/// For a pointer that comes from a client: returns only if it is good.
header* check_passed_pointer(std::size_t alignment, const void* p, std::size_t size, const char* label) {
  if (!is_sound(alignment, p)) [[unlikely]] {
    report_bad_pointer(alignment, p, size, bad_passed_pointer, label);
  }
  return header_of(p);
}

/// For a pointer that goes to a client: returns it if it is good, or null, which is exhaustion.
void* check_returned_pointer(std::size_t alignment, void* p, std::size_t size, const char* label) {
  if (p != nullptr && !is_sound(alignment, p)) [[unlikely]] {
    report_bad_pointer(alignment, p, size, bad_returned_pointer, label);
  }
  return p;
}

/// For a pointer of a heap without headers.
void check_bare_pointer(std::size_t alignment, const void* p) {
  if (!is_multiple_of(alignment, p)) {
    error(nullptr, alignment, p, 0, message_of(bad_bare_pointer, "vector_check"));
  }
}

/// With headers; checks each pointer on its way in and out. A block of 0 bytes does not pass.
class debug_ops final : public aligned_heap_base {
 public:
  using aligned_heap_base::aligned_heap_base;

  void check(const void* p) const override { check_passed_pointer(alignment_, p, 0, "vector_check"); }
  void* malloc(std::size_t size) override {
    return check_returned_pointer(alignment_, header_allocate(alignment_, size), size, "vector_malloc");
  }
  void* calloc(std::size_t count, std::size_t size) override {
    return check_returned_pointer(alignment_, header_allocate_zeroed(alignment_, count, size), count * size,
                                  "vector_calloc");
  }
  void* realloc(void* p, std::size_t size) override {
    header* const h = check_passed_pointer(alignment_, p, size, "vector_realloc");
    return check_returned_pointer(alignment_, header_resize(h, alignment_, p, size), size, "vector_realloc");
  }
  void free(void* p) override {
    check_passed_pointer(alignment_, p, 0, "vector_free");
    header_free(p);
  }
};

/// With headers, of which only `check` takes notice. The heap of production: beyond the run-time's call it costs a few
/// stores.
class aligned_ops final : public aligned_heap_base {
 public:
  using aligned_heap_base::aligned_heap_base;

  void check(const void* p) const override {
    // By its bytes: a bad pointer may lie anywhere.
    std::uint16_t found;
    std::memcpy(&found, reinterpret_cast<const char*>(header_of(p)) + offsetof(header, alignment), sizeof found);
    if (found != alignment_) {
      check_passed_pointer(alignment_, p, 0, "vector_check");
    }
  }
  void* malloc(std::size_t size) override { return header_allocate(alignment_, size); }
  void* calloc(std::size_t count, std::size_t size) override { return header_allocate_zeroed(alignment_, count, size); }
  void* realloc(void* p, std::size_t size) override { return header_resize(header_of(p), alignment_, p, size); }
  void free(void* p) override { header_free(p); }
};

/// The run-time's heap as it is.
class os_ops final : public aligned_heap_base {
 public:
  using aligned_heap_base::aligned_heap_base;

  void check(const void* p) const override { check_bare_pointer(alignment_, p); }
  void* malloc(std::size_t size) override { return std::malloc(size); }
  void* calloc(std::size_t count, std::size_t size) override { return std::calloc(count, size); }
  void* realloc(void* p, std::size_t size) override { return std::realloc(p, size); }
  void free(void* p) override { std::free(p); }
};

/// The private arena, whose blocks all have this alignment and no headers.
class dlmalloc_ops final : public aligned_heap_base {
 public:
  dlmalloc_ops() : aligned_heap_base(dlmalloc::block_alignment) {}

  void check(const void* p) const override { check_bare_pointer(alignment_, p); }
  void* malloc(std::size_t size) override { return dlmalloc::dlmalloc(size); }
  void* calloc(std::size_t count, std::size_t size) override { return dlmalloc::dlcalloc(count, size); }
  void* realloc(void* p, std::size_t size) override { return dlmalloc::dlrealloc(p, size); }
  void free(void* p) override { dlmalloc::dlfree(p); }
};
static_assert(dlmalloc::block_alignment == detail::default_alignment);

/// `text` is a number with an optional sign, where "-" negates it in the unsigned type.
std::size_t parse_alignment(const char* text) {
  const auto alignment = boost::lexical_cast<std::size_t>(text);
  return is_legal_alignment(alignment) ? alignment : detail::default_alignment;
}

}  // namespace

boost::shared_ptr<void> detail::aligned_heap_create(bool debug) {
  const char* const text = std::getenv("QX_ALIGNED_HEAP_ALIGNMENT");
  const bool use_arena = text != nullptr && std::strcmp(text, "dlmalloc") == 0;
  const std::size_t alignment = text == nullptr || use_arena ? default_alignment : parse_alignment(text);
  diag::assert_that(is_legal_alignment(alignment), "is_legal_alignment(alignment)", this_file);
  if (debug) {
    return boost::make_shared<debug_ops>(alignment);
  }
  if (use_arena) {
    return boost::make_shared<dlmalloc_ops>();
  }
  if (alignment <= native_alignment) {
    return boost::make_shared<os_ops>(alignment);
  }
  return boost::make_shared<aligned_ops>(alignment);
}

}  // namespace foundation::core::mem
