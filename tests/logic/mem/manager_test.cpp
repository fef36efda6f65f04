// The memory manager on a scripted system: from the option string to the features, the pools and the new handler. A
// process makes one manager, so each case runs in a copy of this process.

#include <fl/except/bad_alloc.hpp>
#include <fl/mem/managed_pool.hpp>
#include <fl/mem/manager.hpp>
#include <foundation_log/control.hpp>

#include "host/log_records.hpp"
#include "host/manager_platform.hpp"
#include "host/terminate.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {
int news_until_failure = 0;  ///< Which `new` from now on fails, once; 0 for none.
}

// Not inline, or the compiler takes each pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = news_until_failure != 0 && --news_until_failure == 0 ? nullptr : std::malloc(size);
  return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

using foundation::core::mem::create_managed_pool;
using foundation::core::mem::manager;
using test_support::host_manager;

/// The text that `run` makes in a copy of this process, or that ends it.
std::string in_a_copy(const std::function<std::string()>& run) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t copy = fork();
  if (copy == 0) {
    std::string text;
    try {
      text = run();
    } catch (const test_support::termination& end) {
      text = end.message;
    }
    _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  close(ends[0]);
  int status = 0;
  waitpid(copy, &status, 0);
  EXPECT_EQ(status, 0) << text;
  return text;
}

std::string with_options(const char* options, const std::function<std::string()>& run) {
  return in_a_copy([&] {
    host_manager().options = options;
    return run();
  });
}

/// The start-up log, and '1' or '0' for each feature.
std::string show() {
  std::ostringstream text;
  manager::write_startup_log(text);
  for (const auto type : manager::get_feature_types()) {
    text << (manager::get_feature(type) ? '1' : '0');
  }
  return text.str();
}

std::string log_line(const std::string& text) {
  return "MEMORY MANAGEMENT: " + text + "\n";
}

TEST(Manager, ReadsItsOptionsAndTellsWhatTheyChange) {
  const struct {
    const char* options;
    int plugin_answer;
    std::vector<const char*> lines;  ///< Behind the one with the options.
    std::string outcome;             ///< The features, and what was asked of the system.
  } cases[] = {
      {"release", 1, {}, "000010t"},
      {"off", 1, {"pooling is DISABLED"}, "000000t"},
      {"debug",
       -3,
       {"alignment_checking is ENABLED", "integrity_checking is ENABLED", "new_handler is ENABLED",
        "observation is ENABLED", "pooling is DISABLED"},
       "111100pT"},
      {"observation,pooling", 0, {"observation is NOT AVAILABLE"}, "000010pt"},
      {"leaksanitizer", 1, {"pooling is DISABLED", "leak_sanitizer is ENABLED"}, "000001t"},
      {",bogus,,debug,integcheck",
       1,
       {"unrecognized option 'bogus'", "option 'debug' must be listed first", "integrity_checking is ENABLED"},
       "010010T"},
  };
  for (const auto& [options, plugin_answer, lines, outcome] : cases) {
    host_manager().plugin_answer = plugin_answer;
    std::string expected = log_line("using options '" + std::string(options) + "'");
    for (const char* const line : lines) {
      expected += log_line(line);
    }
    EXPECT_EQ(with_options(options, [] { return show() + host_manager().calls; }), expected + outcome);
  }
  EXPECT_EQ(with_options("", show), "000010");
}

TEST(Manager, TellsAnUnusualAlignmentAndItsLogAsOftenAsAsked) {
  const std::pair<const char*, std::string> cases[] = {{"16", log_line("aligned_heap alignment is 16 bytes")},
                                                       {"4096", log_line("aligned_heap alignment is 4096 bytes")},
                                                       {"48", ""},
                                                       {"dlmalloc", ""}};
  for (const auto& [alignment, line] : cases) {
    setenv("QX_ALIGNED_HEAP_ALIGNMENT", alignment, 1);
    EXPECT_EQ(with_options("", [] { return show() + show(); }), line + "000010" + line + "000010");
  }
  unsetenv("QX_ALIGNED_HEAP_ALIGNMENT");
}

TEST(Manager, HasItsWholeLogOrIsNotMadeWhenMemoryEnds) {
  const auto made_at_last = [] {
    for (int nth = 1;; ++nth) {
      try {
        news_until_failure = nth;
        manager::initialize();
        news_until_failure = 0;
        return show();
      } catch (const std::bad_alloc&) {
      }
    }
  };
  EXPECT_EQ(with_options("off,turbo,debug", made_at_last),
            log_line("using options 'off,turbo,debug'") + log_line("unrecognized option 'turbo'") +
                log_line("option 'debug' must be listed first") + log_line("pooling is DISABLED") + "000000");
}

/// Whether a pool has something to release, which only blocks are, and what comes of a chunk that is given back twice.
std::string pool_of_this_process() {
  const auto pool = create_managed_pool(12, 4);
  void* const chunk = pool->allocate();
  pool->deallocate(chunk);
  if (!pool->release_free_memory()) {
    return "heap";
  }
  void* const other = pool->allocate();
  pool->deallocate(other);
  pool->deallocate(other);
  return "blocks";
}

TEST(Manager, ChoosesTheKindOfThePools) {
  EXPECT_EQ(with_options("nopooling", pool_of_this_process), "heap");
  EXPECT_EQ(with_options("debug", pool_of_this_process), "heap");
  EXPECT_EQ(with_options("pooling", pool_of_this_process), "blocks");
  for (const char* const options : {"pooling,aligncheck", "pooling,integcheck"}) {
    EXPECT_EQ(with_options(options, pool_of_this_process).find("A chunk that is not handed out was given back"), 0u);
  }
}

/// What the new handler in force does.
std::string outcome_of_handler() {
  try {
    std::get_new_handler()();
    return "returns";
  } catch (const foundation::core::except::detail::bad_alloc_impl&) {
    return "except::bad_alloc";
  } catch (const std::bad_alloc&) {
    return "std::bad_alloc";
  } catch (const test_support::termination& end) {
    return end.message;
  }
}

void other_handler() {}

TEST(NewHandler, ThrowsOrLeavesItToTheHandlerBefore) {
  const auto behind = [](std::new_handler former) {
    return [=] {
      std::set_new_handler(former);
      manager::initialize();
      return outcome_of_handler();
    };
  };
  EXPECT_EQ(with_options("newhandler", behind(other_handler)), "except::bad_alloc");
  EXPECT_EQ(with_options("nonewhandler", behind(other_handler)), "returns");
  EXPECT_EQ(with_options("nonewhandler", behind(nullptr)), "std::bad_alloc");
}

TEST(NewHandler, EndsTheProcessForAThreadThatWantsItWhateverTheFeatureSays) {
  EXPECT_EQ(with_options("newhandler",
                         [] {
                           std::string told = std::to_string(manager::set_thread_terminate_on_oom(true)) +
                                              std::to_string(manager::set_thread_terminate_on_oom(true)) + " " +
                                              outcome_of_handler() + ", ";
                           std::thread([&] { told += outcome_of_handler() + " in another"; }).join();
                           return told + std::to_string(manager::set_thread_terminate_on_oom(false)) + " " +
                                  outcome_of_handler();
                         }),
            "01 Out of memory, except::bad_alloc in another1 except::bad_alloc");
}

/// Puts another handler in place, then the manager's back, twice. Returns whether it is back, and the log, with a word
/// for the addresses of both.
std::string put_back() {
  manager::initialize();
  const std::new_handler expected = std::set_new_handler(other_handler);
  manager::reinit_new_handler();
  manager::reinit_new_handler();  // Finds nothing wrong.
  std::ostringstream both;
  both << "expected=" << reinterpret_cast<void*>(expected) << "  actual=" << reinterpret_cast<void*>(other_handler);
  std::string text = std::get_new_handler() == expected ? "back\n" : "lost\n";
  for (const auto& record : test_support::drain_log_records()) {
    const std::size_t place = record.text.find(both.str());
    text +=
        std::to_string(record.severity) + " " +
        (place != std::string::npos ? std::string(record.text).replace(place, both.str().size(), "both") : record.text);
  }
  return text;
}

TEST(NewHandler, IsPutBackAndItsLossReportedAsTheLogSays) {
  using namespace foundation::log;
  for (const unsigned level : {0u, severity_mask}) {
    set_level("foundation::core::mem::manager", level);
    EXPECT_EQ(with_options("", put_back), "back\n");
  }
  set_level("foundation::core::mem::manager", severity::error << check_shift);
  const std::string text = with_options("", put_back);
  EXPECT_TRUE(text.starts_with("back\n512 NEW HANDLER CLOBBERED: both\n( Event generated in ")) << text;
  EXPECT_NE(text.find("::reinit_new_handler_impl() const at line "), std::string::npos) << text;
  EXPECT_EQ(text.find(" from src/fl/mem/mem_manager )"), text.size() - 30) << text;
}

}  // namespace
