// The memory manager on a scripted system: from the option string to the features, the pools and the new handler. A
// process makes one manager, so each case runs in a copy of this process.

#include <fl/except/bad_alloc.hpp>
#include <fl/mem/managed_pool.hpp>
#include <fl/mem/manager.hpp>
#include <foundation_log/control.hpp>

#include "every_test.hpp"
#include "host/log_records.hpp"
#include "host/memory.hpp"
#include "host/terminate.hpp"

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <iostream>

namespace {

using foundation::core::mem::create_managed_pool;
using foundation::core::mem::manager;
using test_support::host_manager;
using testing::MatchesRegex;

/// Expects the text that `run` makes of a process with these options, or that ends it.
void expect(const std::string& options, const std::function<std::string()>& run,
            const testing::Matcher<const std::string&>& expected) {
  const auto text_of_run = [&] {
    host_manager().options = options;
    try {
      return run();
    } catch (const test_support::termination& end) {
      return end.message;
    }
  };
  EXPECT_EXIT((std::cerr << text_of_run(), _exit(testing::Test::HasFailure())), testing::ExitedWithCode(0), expected);
}

/// The start-up log, '1' or '0' for each feature, and what was asked of the system.
std::string show() {
  std::ostringstream text;
  manager::write_startup_log(text);
  for (const auto type : manager::get_feature_types()) {
    text << (manager::get_feature(type) ? '1' : '0');
  }
  return text.str() + host_manager().calls;
}

std::string log_line(const std::string& text) {
  return "MEMORY MANAGEMENT: " + text + "\n";
}

TEST(Manager, ReadsItsOptionsAndTellsWhatTheyChange) {
  expect("", show, "000010t");
  host_manager().plugin_answer = -3;
  expect("debug", show,
         log_line("using options 'debug'") + log_line("alignment_checking is ENABLED") +
             log_line("integrity_checking is ENABLED") + log_line("new_handler is ENABLED") +
             log_line("observation is ENABLED") + log_line("pooling is DISABLED") + "111100pT");
  host_manager().plugin_answer = 0;
  setenv("QX_ALIGNED_HEAP_ALIGNMENT", "4096", 1);
  const std::string log = log_line("using options 'observation,bogus,pooling'") +
                          log_line("unrecognized option 'bogus'") + log_line("observation is NOT AVAILABLE") +
                          log_line("aligned_heap alignment is 4096 bytes") + "000010pt";
  expect("observation,bogus,pooling", [] { return show() + show(); }, log + log);
  unsetenv("QX_ALIGNED_HEAP_ALIGNMENT");
}

TEST(Manager, IsMadeOnceByEightThreads) {
  const auto race = [] {
    std::vector<std::jthread> threads;
    for (int number = 0; number != 8; ++number) {
      threads.emplace_back(manager::initialize);
    }
    threads.clear();
    return host_manager().calls;
  };
  expect("observation", race, "pt");
}

/// Whether a pool has something to release, which only blocks are, and what comes of a chunk that is given back twice.
std::string pool_of_this_process() {
  const auto pool = create_managed_pool(12, 4);
  pool->deallocate(pool->allocate());
  std::cerr << "once, ";
  if (!pool->release_free_memory()) {
    return "heap";
  }
  void* const chunk = pool->allocate();
  pool->deallocate(chunk);
  pool->deallocate(chunk);
  return "blocks";
}

TEST(Manager, ChoosesTheKindOfThePools) {
  expect("debug", pool_of_this_process, "once, heap");
  expect("pooling", pool_of_this_process, "once, blocks");
  for (const char* const checked : {"pooling,aligncheck", "pooling,integcheck"}) {
    expect(checked, pool_of_this_process,
           testing::ContainsRegex("^once, A chunk that is not handed out was given back"));
  }
}

void other_handler() {}

std::string outcome() {
  try {
    std::get_new_handler()();
    return "returns";
  } catch (const foundation::core::except::detail::bad_alloc_impl&) {
    return "except::bad_alloc";
  } catch (const std::bad_alloc&) {
    return "std::bad_alloc";
  }
}

template <std::new_handler former>
std::string outcome_behind() {
  std::set_new_handler(former);
  manager::initialize();
  return outcome();
}

TEST(NewHandler, ThrowsOrLeavesItToTheHandlerBefore) {
  expect("newhandler", outcome_behind<other_handler>, "except::bad_alloc");
  expect("nonewhandler", outcome_behind<other_handler>, "returns");
  expect("nonewhandler", outcome_behind<nullptr>, "std::bad_alloc");
}

// Each construction but the last fails behind the new handler's installation. The next must not take the manager's own
// handler for another's, which would call itself for ever.
TEST(NewHandler, IsThatOfTheFirstAttemptAtAManager) {
  const auto make_again = [] {
    setenv("QX_ALIGNED_HEAP_ALIGNMENT", "abc", 1);
    EXPECT_THROW(manager::initialize(), boost::bad_lexical_cast);
    EXPECT_THROW(manager::initialize(), boost::bad_lexical_cast);
    setenv("QX_ALIGNED_HEAP_ALIGNMENT", "32", 1);
    return show() + outcome();
  };
  host_manager().plugin_answer = 1;
  expect("release,observation", make_again,
         log_line("using options 'release,observation'") + log_line("observation is ENABLED") +
             "000110ptttstd::bad_alloc");
}

/// Puts another handler in place, then the manager's back, twice. Returns whether it is back, and the log.
std::string put_back() {
  manager::initialize();
  const std::new_handler expected = std::set_new_handler(other_handler);
  manager::reinit_new_handler();
  manager::reinit_new_handler();  // Finds nothing wrong.
  std::string text = std::get_new_handler() == expected ? "back\n" : "lost\n";
  for (const auto& record : test_support::drain_log_records()) {
    text += std::to_string(record.severity) + " " + record.text;
  }
  return text;
}

TEST(NewHandler, IsPutBackAndItsLossReportedAsTheLogSays) {
  using namespace foundation::log;
  for (const unsigned level : {0u, severity_mask}) {
    set_level("foundation::core::mem::manager", level);
    expect("", put_back, "back\n");
  }
  set_level("foundation::core::mem::manager", severity::error << check_shift);
  std::ostringstream actual;
  actual << reinterpret_cast<void*>(other_handler);
  expect("", put_back,
         MatchesRegex("back\n512 NEW HANDLER CLOBBERED: expected=0x[0-9a-f]+  actual=" + actual.str() +
                      "\n\\( Event generated in .*::reinit_new_handler_impl\\(\\) const at line [0-9]+ from "
                      "src/fl/mem/mem_manager \\)"));
}

}  // namespace
