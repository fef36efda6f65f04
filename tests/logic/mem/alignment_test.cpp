// The aligned heap: which variant is chosen, what lies below a block, and what becomes of a bad pointer. The linker
// sends the run-time's heap functions through this file (--wrap), so that a test sees what is asked of them, lets them
// fail and keeps freed memory readable.

#include <fl/mem/aligned_heap.hpp>

#include "every_test.hpp"
#include "host/terminate.hpp"
#include "mem/aligned_heap_create.hpp"
#include "seeded_random.hpp"
#include "util/process_id.hpp"

#include <boost/format.hpp>

#include <limits>

#ifdef _WIN32
#include <windows.h>
#endif

// The manager would make the heap, for good; here each test makes its own.
void foundation::core::mem::manager::initialize() {}

namespace {

using namespace foundation::core::mem;
using test_support::terminations;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// The run-time's heap as the library meets it.
struct {
  int requests = 0;             ///< how often memory was asked for
  std::size_t latest_size = 0;  ///< in bytes
  void* latest = nullptr;       ///< what the last request got
  bool exhausted = false;       ///< lets requests fail
  void* next = nullptr;         ///< what the next request gets, if it is set
  bool keeps_freed = false;     ///< holds back what is freed
  std::vector<void*> freed;     ///< what is held back

  template <class Call>
  void* request(std::size_t size, Call call) {
    ++requests;
    latest_size = size;
    latest = exhausted ? nullptr : next != nullptr ? std::exchange(next, nullptr) : call();
    return latest;
  }
} run_time;

#ifdef _WIN32
// By their addresses: lld wraps the import library's stubs, too, so that what it calls the real ones leads back here.
#ifdef _UCRT
constexpr wchar_t run_time_dll[] = L"ucrtbase.dll";
#else
constexpr wchar_t run_time_dll[] = L"msvcrt.dll";
#endif
template <class Function>
Function* of_run_time(const char* name) {
  return reinterpret_cast<Function*>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(run_time_dll), name)));
}
void* real_malloc(std::size_t size) {
  static const auto call = of_run_time<void*(std::size_t)>("malloc");
  return call(size);
}
void* real_calloc(std::size_t count, std::size_t size) {
  static const auto call = of_run_time<void*(std::size_t, std::size_t)>("calloc");
  return call(count, size);
}
void* real_realloc(void* p, std::size_t size) {
  static const auto call = of_run_time<void*(void*, std::size_t)>("realloc");
  return call(p, size);
}
void real_free(void* p) {
  static const auto call = of_run_time<void(void*)>("free");
  call(p);
}
#endif

}  // namespace

extern "C" {

#ifndef _WIN32
void* real_malloc(std::size_t size) __asm__("__real_malloc");
void* real_calloc(std::size_t count, std::size_t size) __asm__("__real_calloc");
void* real_realloc(void* p, std::size_t size) __asm__("__real_realloc");
void real_free(void* p) __asm__("__real_free");
#endif

void* __wrap_malloc(std::size_t size) {
  return run_time.request(size, [=] { return real_malloc(size); });
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return run_time.request(count * size, [=] { return real_calloc(count, size); });
}
void* __wrap_realloc(void* p, std::size_t size) {
  return run_time.request(size, [=] { return real_realloc(p, size); });
}
void __wrap_free(void* p) {
  if (run_time.keeps_freed) {
    run_time.freed.push_back(p);
  } else {
    real_free(p);
  }
}
}

namespace {

/// The heap that the process gets with a value of the variable, or with none.
class heap {
 public:
  explicit heap(const char* variable, bool debug = false) {
    set_variable(variable);
    owner_ = detail::aligned_heap_create(debug);
  }
  ~heap() {
    set_variable(nullptr);
    run_time.exhausted = run_time.keeps_freed = false;
    for (void* const block : std::exchange(run_time.freed, {})) {
      std::free(block);
    }
    test_support::forget_terminations();
  }

 private:
  static void set_variable(const char* value) {
#ifdef _WIN32
    ::_putenv_s("QX_ALIGNED_HEAP_ALIGNMENT", value != nullptr ? value : "");
#else
    value != nullptr ? ::setenv("QX_ALIGNED_HEAP_ALIGNMENT", value, 1) : ::unsetenv("QX_ALIGNED_HEAP_ALIGNMENT");
#endif
  }

  boost::shared_ptr<void> owner_;
};

/// What a client finds in front of its block.
struct record {
  std::uint64_t size;
  std::uint32_t check;
  std::uint16_t alignment, offset;
};
constexpr std::uint32_t live = 0xfeedface, freed = 0x01120531;

record record_of(const void* p) {
  record found;
  std::memcpy(&found, static_cast<const char*>(p) - sizeof found, sizeof found);
  return found;
}
void set_record(void* p, const record& content) {
  std::memcpy(static_cast<char*>(p) - sizeof content, &content, sizeof content);
}

std::size_t address(const void* p) {
  return reinterpret_cast<std::size_t>(p);
}
void* at(std::size_t place) {
  return reinterpret_cast<void*>(place);
}

bool ends_the_process(const std::function<void()>& action) {
  test_support::forget_terminations();
  try {
    action();
  } catch (const test_support::termination&) {
  }
  return !terminations().empty();
}

// ---- the report ----

using text_matcher = testing::Matcher<const std::string&>;

text_matcher passed(const std::string& label) {
  return AllOf(StartsWith("The pointer passed to '" + label + "' is invalid\n"), HasSubstr("has already been freed\n"),
               EndsWith("destroyed the pointer or its header\n"));
}
text_matcher returned(const std::string& label) {
  return AllOf(StartsWith("The pointer returned from '" + label + "' is invalid.\n"), EndsWith(" or its header\n"));
}
const text_matcher passed_without_header =
    AllOf(StartsWith("The pointer passed to 'vector_check' is invalid\n"), EndsWith("destroyed the pointer\n"));

/// What follows the message. `header`: its address; `content`: what it is read to hold, if it is read.
std::string figures(std::size_t alignment, const void* p, std::size_t size, std::size_t header,
                    const std::optional<record>& content) {
  boost::format known(
      "\nTHIS DATA IS FOR DIAGNOSTIC PURPOSES ONLY\nPID:               %1%\nNATIVE ALIGNMENT:  16 (0x10)\n"
      "REQ ALIGNMENT:     %2% (%2$#x)\nALIGNED POINTER:   %3$#x\nREQ SIZE:          %4% (%4$#x)\n"
      "HEADER ADDRESS:    %5$#x\nHEADER SIZE:       16 (0x10)\n");
  known % foundation::core::util::process_id() % alignment % address(p) % size % header;
  if (!content) {
    return known.str() + "HEADER DATA:       INACCESSIBLE\n";
  }
  boost::format read(
      "UNALIGNED POINTER: %1$#x\nHEADER->SIZE:      %2% (%2$#x)\nHEADER->CHECK:     %3% (%3$#x)\n"
      "HEADER->ALIGNMENT: %4% (%4$#x)\nHEADER->OFFSET:    %5% (%5$#x)\n");
  read % (address(p) - content->offset) % content->size % content->check % content->alignment % content->offset;
  return known.str() + read.str();
}

/// The report goes first; when that comes back, the message alone follows.
void expect_reported(const std::function<void()>& action, const text_matcher& message, const std::string& rest) {
  EXPECT_TRUE(ends_the_process(action));
  ASSERT_EQ(terminations().size(), 2u);
  EXPECT_THAT(terminations()[1].message, message);
  EXPECT_EQ(terminations()[0].message, terminations()[1].message + rest);
  for (const auto& call : terminations()) {
    EXPECT_EQ(call.file, "src/fl/mem/alignment");
    EXPECT_GT(call.line, 0);
    EXPECT_NE(call.function.find("error(const "), std::string::npos) << call.function;
  }
}

TEST(AlignedHeap, IsChosenByTheEnvironmentAndByWhetherPointersAreChecked) {
  const struct {
    const char* variable;
    std::size_t alignment, asked;  ///< of the run-time for a block of 40 bytes
  } rows[] = {{nullptr, 32, 80},       {"16", 16, 40},  {"32", 32, 80},   {"64", 64, 112},
              {"32768", 32768, 32816}, {"0", 32, 80},   {"8", 32, 80},    {"48", 32, 80},
              {"65536", 32, 80},       {"-32", 32, 80}, {"+64", 64, 112}, {"dlmalloc", 32, 0}};
  for (const auto& [variable, alignment, asked] : rows) {
    for (const bool debug : {false, true}) {
      SCOPED_TRACE(testing::Message() << (variable ? variable : "unset") << " " << debug);
      const heap made(variable, debug);
      EXPECT_EQ(vector_alignment(), alignment);
      run_time.latest_size = 0;
      void* const block = vector_malloc(40);
      EXPECT_EQ(run_time.latest_size, debug ? alignment + 48 : asked);
      EXPECT_EQ(address(block) % alignment, 0u);
      EXPECT_NO_THROW(vector_check(block));
      vector_free(block);
      alignas(64) static char memory[64] = {};
      EXPECT_TRUE(!debug || ends_the_process([] { vector_free(memory + 32); })) << "a pointer that is none of its own";
    }
  }
}

constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();

/// Checks a block that was just made against the rule and gives it back.
void expect_block(std::size_t alignment, std::size_t size, void* p, bool zeroed, bool debug) {
  const std::size_t block = address(run_time.latest), rounded = (size + 15) / 16 * 16;
  EXPECT_EQ(run_time.latest_size, alignment + rounded);
  EXPECT_EQ(address(p), (block / alignment + 1) * alignment);
  const record found = record_of(p);
  EXPECT_EQ(found.size, rounded);
  EXPECT_EQ(found.check, live);
  EXPECT_EQ(found.alignment, alignment);
  EXPECT_EQ(found.offset, address(p) - block);
  const char* const bytes = static_cast<const char*>(p);
  EXPECT_TRUE(!zeroed || std::all_of(bytes, bytes + rounded, [](char byte) { return byte == 0; }));
  std::memset(p, 0x5a, rounded);
  vector_check(p);
  run_time.keeps_freed = true;  // or the run-time may write into the header, or take the memory away
  vector_free(p);
  EXPECT_EQ(record_of(p).check, freed);
  EXPECT_TRUE(!debug || ends_the_process([=] { vector_free(p); })) << "a second time";
  run_time.keeps_freed = false;
  EXPECT_EQ(run_time.freed, std::vector<void*>{at(block)});
  std::free(at(block));
  run_time.freed.clear();
}

TEST(AlignedHeap, PutsItsHeaderBelowEachBlock) {
  test_support::seeded_random random;
  for (std::size_t alignment = 16; alignment <= 32768; alignment *= 2) {
    for (const bool debug : {true, false}) {
      if (alignment == 16 && !debug) {
        continue;
      }
      const heap made(std::to_string(alignment).c_str(), debug);
      std::vector<std::size_t> sizes{1, 15, 16, 17, 31, 32, 33, 4095, 4096, 4097};
      for (int more = 0; more < 5; ++more) {
        sizes.push_back(random.between(1, 100000));
      }
      if (!debug) {
        sizes.push_back(0);
      }
      for (const std::size_t size : sizes) {
        SCOPED_TRACE(testing::Message() << alignment << " " << size);
        expect_block(alignment, size, vector_malloc(size), false, debug);
        expect_block(alignment, size, vector_calloc(size, 1), true, debug);
        expect_block(alignment, size * 3, vector_calloc(3, size), true, debug);
      }
    }
  }
}

TEST(AlignedHeap, AsksForNoMoreThanCanBeCounted) {
  for (const char* const variable : {"32", "4096"}) {
    for (const bool debug : {true, false}) {
      const heap made(variable, debug);
      void* const old = vector_malloc(16);
      run_time.exhausted = true;
      for (std::size_t below = 0; below < 2 * vector_alignment(); ++below) {
        const std::size_t size = largest - below;
        const bool can_be_counted = (below + 1) / 16 * 16 > vector_alignment();
        run_time.requests = 0;
        EXPECT_EQ(vector_malloc(size), nullptr);
        EXPECT_EQ(vector_calloc(size, 1), nullptr);
        EXPECT_EQ(vector_realloc(old, size), nullptr);
        ASSERT_EQ(run_time.requests, can_be_counted ? 3 : 0) << size;
      }
      vector_free(old);
      run_time.exhausted = false;
    }
  }
}

TEST(AlignedHeap, KeepsTheContentOfABlockThatChangesItsSizeAndOfOneThatCannot) {
  constexpr struct {
    const char* variable;
    bool debug, has_headers;
  } variants[] = {{nullptr, true, true},
                  {nullptr, false, true},
                  {"1024", false, true},
                  {"16", false, false},
                  {"dlmalloc", false, false}};
  test_support::seeded_random random;
  for (const auto& [variable, debug, has_headers] : variants) {
    const heap made(variable, debug);
    std::string content(8, 'x');
    std::size_t room = 16;  // with headers
    void* block = vector_malloc(8);
    void* start = run_time.latest;
    std::memcpy(block, content.data(), 8);
    for (int round = 0; round < 200; ++round) {
      const std::size_t size = random.chance(10) ? room : random.between(0, 3000 >> random.below(8));
      const std::string added = random.text(size, std::string("abcdefgh"));
      run_time.exhausted = true;
      EXPECT_EQ(vector_realloc(block, largest / 2), nullptr);
      EXPECT_EQ(vector_malloc(largest / 2), nullptr);
      EXPECT_EQ(vector_calloc(largest / 8, 4), nullptr);
      run_time.exhausted = false;
      run_time.keeps_freed = has_headers;
      void* const former = std::exchange(block, vector_realloc(block, size));
      run_time.keeps_freed = false;
      EXPECT_EQ(address(block) % vector_alignment(), 0u);
      if (has_headers && size > room) {
        room = (size + 15) / 16 * 16;
        EXPECT_EQ(record_of(former).check, freed);
        EXPECT_EQ(run_time.freed, std::vector<void*>{std::exchange(start, run_time.latest)});
        std::free(run_time.freed.at(0));
      } else if (has_headers) {
        EXPECT_EQ(block, former) << "blocks do not shrink";
        EXPECT_TRUE(run_time.freed.empty());
      }
      run_time.freed.clear();
      EXPECT_TRUE(!has_headers || record_of(block).size == room);
      content.resize(std::min(content.size(), size));
      ASSERT_EQ(std::string(static_cast<char*>(block), content.size()), content);
      content += added.substr(content.size());
      std::memcpy(block, content.data(), content.size());
    }
    vector_free(block);
  }
}

TEST(AlignedHeap, ThatChecksPointersReturnsNoEmptyOrMisplacedBlock) {
  const heap checked(nullptr, true);
  void* const old = vector_malloc(1);
  alignas(64) static char memory[256];
  const auto expect_refused = [&](const char* label, std::size_t size, const record& content,
                                  const std::function<void()>& action) {
    char* const p = memory + 96;
    run_time.next = p - content.offset;
    expect_reported(action, returned(label), figures(32, p, size, address(p - 16), content));
  };
  const record empty{0, live, 32, 32}, misplaced{48, live, 32, 24};
  expect_refused("vector_malloc", 0, empty, [] { vector_malloc(0); });
  expect_refused("vector_calloc", 0, empty, [] { vector_calloc(0, 7); });
  expect_refused("vector_calloc", 0, empty, [] { vector_calloc(largest / 2 + 1, 2); });
  expect_refused("vector_malloc", 40, misplaced, [] { vector_malloc(40); });
  expect_refused("vector_calloc", 40, misplaced, [] { vector_calloc(8, 5); });
  expect_refused("vector_realloc", 40, misplaced, [&] { vector_realloc(old, 40); });
}

/// Lets a bad pointer pass into each operation that is to find it. Of its header nothing is shown if that lies on the
/// page before, or on the first of all.
void expect_refused(void* p, bool debug) {
  const bool is_shown = address(p) % 16 == 0 && address(p) % 4096 >= 16 && address(p) > 4096;
  const std::optional content = is_shown ? std::optional(record_of(p)) : std::nullopt;
  const auto expect_passed = [&](const char* label, std::size_t size, const std::function<void()>& action) {
    expect_reported(action, passed(label), figures(vector_alignment(), p, size, address(p) - 16, content));
  };
  expect_passed("vector_check", 0, [=] { vector_check(p); });
  if (debug) {
    expect_passed("vector_free", 0, [=] { vector_free(p); });
    expect_passed("vector_realloc", 77, [=] { vector_realloc(p, 77); });
  }
}

/// The rule for a block in a heap with an alignment of 64.
bool is_good(const void* p, const record& content) {
  return address(p) % 64 == 0 && content.check == live && content.size != 0 && content.size % 16 == 0 &&
         content.alignment == 64 && content.offset % 16 == 0 && content.offset != 0 && content.offset <= 64;
}

TEST(AlignedHeap, ReportsAHeaderInWhichAnythingIsOverwritten) {
  alignas(4096) static char memory[3 * 4096];
  // The first of each is good.
  const std::size_t places[] = {4096 + 64, 4096 + 72, 4096 + 65, 4096 + 80, 4096 + 96, 4096, 4096 + 8, 8191};
  const std::uint64_t sizes[] = {48, 0, 8, 16, 24, 40, 49, largest - 15};
  const std::uint32_t checks[] = {live, freed, 0, live ^ 1, 0xfeed};
  const std::uint16_t alignments[] = {64, 0, 8, 16, 32, 48, 128, 65, 32768, 65535};
  const std::uint16_t offsets[] = {64, 0, 8, 16, 24, 48, 56, 80, 65520, 65535};
  test_support::seeded_random random;
  const auto pick = [&](const auto& from) { return random.chance(70) ? from[0] : random.pick(from); };
  for (const bool debug : {true, false}) {
    const heap made("64", debug);
    for (int round = 0; round < 1000; ++round) {
      char* const p = memory + pick(places);
      const record content{pick(sizes), pick(checks), pick(alignments), pick(offsets)};
      SCOPED_TRACE(testing::Message() << address(p) << " " << content.size << " " << content.check << " "
                                      << content.alignment << " " << content.offset);
      set_record(p, content);
      // Without checks of pointers, the alignment alone is looked at first.
      if (is_good(p, content) || (!debug && content.alignment == 64)) {
        EXPECT_FALSE(ends_the_process([=] { vector_check(p); }));
      } else {
        expect_refused(p, debug);
      }
    }
  }
}

TEST(AlignedHeap, ReportsAPointerIntoTheFirstPageWithoutReadingThere) {
  const heap checked("16", true);
  for (const std::size_t place : {16U, 24U, 4080U, 4096U}) {
    expect_refused(at(place), true);
  }
}

TEST(AlignedHeap, WithoutHeadersChecksOnlyTheAlignment) {
  for (const char* const variable : {"16", "dlmalloc"}) {
    const heap made(variable);
    const std::size_t own = vector_alignment();
    for (const std::size_t place : {own / 2, 3 * own + 1, largest}) {
      expect_reported([=] { vector_check(at(place)); }, passed_without_header,
                      figures(own, at(place), 0, 0, std::nullopt));
    }
    for (const std::size_t place : {std::size_t{0}, own, 5 * own}) {
      EXPECT_FALSE(ends_the_process([=] { vector_check(at(place)); }));
    }
  }
}

}  // namespace
