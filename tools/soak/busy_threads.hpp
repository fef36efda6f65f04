// What the threads of a busy program do with the library: chores, a small one of each area, which end nothing and leave
// nothing behind. And threads that do them until the process ends.
#pragma once

#include <fl/diag.hpp>
#include <fl/except.hpp>
#include <fl/io.hpp>
#include <fl/mem.hpp>
#include <fl/process.hpp>
#include <fl/system.hpp>
#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>
#include <i18n/message_catalog.hpp>

#include <windows.h>
#include <dbghelp.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <random>
#include <source_location>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace soak {

namespace diag = foundation::core::diag;
namespace except = foundation::core::except;
namespace mem = foundation::core::mem;
namespace process = foundation::core::process;
namespace severity = foundation::log::severity;
using fl::i18n::MessageCatalog;
using foundation::core::ustring;
using random_source = std::minstd_rand;

/// What a chore got wrong: it stands in the way of nothing but the result.
inline std::atomic<int> wrong_results{0};

inline void tell_wrong_result(const char* where, const std::string& what) {
  ++wrong_results;
  std::fprintf(stderr, "wrong result: %s: %s\n", where, what.c_str());
}

inline void expect(bool holds, std::source_location place = std::source_location::current()) {
  if (!holds) {
    tell_wrong_result(place.function_name(), "line " + std::to_string(place.line()));
  }
}

inline std::string folder_of_program() {
  const std::string path = fl::i18n::ustring_to_utf8(process::this_process::absolute_path());
  return path.substr(0, path.find_last_of('\\') + 1);
}

/// The program of tests/support/children/child.cpp.
inline process::command child(const std::string& mode, const std::string& argument) {
  return process::make_command(folder_of_program() + "child.exe", mode, argument);
}

// ---- chores ----

inline void use_run_time_heap(random_source& random) {
  std::vector<std::unique_ptr<char[]>> blocks(8);
  for (int turn = 0; turn != 32; ++turn) {
    blocks[random() % blocks.size()] = std::make_unique<char[]>(1 + random() % 5000);
  }
}

inline void use_aligned_heap(random_source& random) {
  for (int turn = 0; turn != 16; ++turn) {
    const auto old_size = 1 + random() % 20000, new_size = 1 + random() % 60000;
    auto* block = static_cast<char*>(mem::vector_malloc(old_size));
    block[0] = 'x';
    block = static_cast<char*>(mem::vector_realloc(block, new_size));
    expect(block[0] == 'x');
    mem::vector_free(block);
  }
}

inline void use_pool(random_source&) {
  const auto pool = mem::create_managed_pool(64, 4);
  void* const chunks[] = {pool->allocate(), pool->allocate(), pool->allocate()};
  for (void* const chunk : chunks) {
    pool->deallocate(chunk);
  }
  pool->release_free_memory();
}

inline void throw_exception(random_source&) {
  try {
    throw except::detail::AnonymousInternalException<std::runtime_error>(std::runtime_error("n\xC3\xA4her"));
  } catch (const except::IException& error) {
    expect(error.what() == std::string("n\xC3\xA4her") && error.ToUstring() == u"n\u00E4her");
  }
}

inline void collect_notifications(random_source&) {
  except::Notification notes;
  notes.append(resource_core::BaseMsgID("SOAK", "greeting", {std::int64_t{7}}));
  expect(notes.getMessage(0) == u"7 greetings");
}

inline void convert_text(random_source& random) {
  static constexpr const char* encodings[] = {"windows-1252", "Shift_JIS", "UTF-16BE", "ISO-8859-1"};
  const std::string bytes = fl::i18n::encode(u"Text 123", encodings[random() % std::size(encodings)]);
  foundation::core::io::uostringstream stream;
  stream << fl::i18n::utf8_to_ustring("z\xC3\xA4hle ") << 42;
  expect(!bytes.empty() && stream.str() == u"z\u00E4hle 42");
}

inline void write_log(random_source&) {
  static foundation::log::basic_diagnostic_logger<char> written("soak.written"), off("silent");
  written.log(severity::note, "a record of thread ", ::GetCurrentThreadId());
  off.log(severity::note, "none");
}

inline void look_program_up(random_source&) {
  expect(process::which("cmd").has_value() && !process::which("qxfl-no-such-program"));
}

inline void ask_for_cores(random_source&) {
  foundation::core::system::CpuInfo info;
  try {
    info.refresh();
    expect(info.lCores() >= 1);
  } catch (const boost::system::system_error& refused) {
    expect(refused.code().value() == ERROR_CALL_NOT_IMPLEMENTED);  // Wine 8 does not tell the cores.
  }
}

inline void take_stack(random_source& random) {
  const diag::stacktrace<32> stack;
  std::ostringstream text;
  text << (random() % 8 == 0 ? diag::symbolic : diag::numeric) << stack;
  expect(!stack.empty() && !text.str().empty());
}

/// Wipes the log of reports, too, so that the next one finds room. Others do so at any time, so nothing is expected of
/// its content.
inline void write_report(random_source&) {
  const diag::termination_observer own([](const char*, const char*, int, const char*) {});
  diag::terminate_log("a report of a busy thread", diag::thread_context());
}

/// Of three children one is given up, one is waited for, and one tells its end by a future.
inline void launch_child(random_source& random) {
  process::process started(child("exit", "7"));
  const auto choice = random() % 3;
  if (choice == 0) {
    expect(started.exit_status() == 7);
  } else if (choice == 1) {
    expect(std::get<process::exited>(started.exit_status_async().get()).exit_code == 7);
  }
}

struct chore {
  const char* name;
  void (*once)(random_source& random);
};

inline constexpr chore heap_chores[] = {{"run-time's heap", use_run_time_heap}, {"aligned heap", use_aligned_heap}};
inline constexpr chore short_chores[] = {{"run-time's heap", use_run_time_heap},
                                         {"aligned heap", use_aligned_heap},
                                         {"pool", use_pool},
                                         {"exception", throw_exception},
                                         {"notification", collect_notifications},
                                         {"text", convert_text},
                                         {"log record", write_log},
                                         {"which", look_program_up},
                                         {"stack", take_stack}};

/// Everything that chores need, so that each can be the first. The log goes to the file. The aligned heap is the arena.
/// Names of functions are those of exports: Wine takes seconds to read the debug information of a large module.
inline void prepare_chores(const std::string& log_file) {
  ::_putenv("QX_LOG=soak.*=2047");
  ::_putenv(("QX_LOG_FILE=" + log_file).c_str());
  ::_putenv("QX_ALIGNED_HEAP_ALIGNMENT=dlmalloc");
  ::SymSetOptions(::SymGetOptions() | SYMOPT_PUBLICS_ONLY);
  diag::disable_terminate_dialog();
  MessageCatalog::set_language("en");
  MessageCatalog::add_catalog("en", "SOAK", R"({"greeting": "{0} greetings"})");
}

/// Does a chore until the process ends. What a launch or memory refuses is not the matter here.
inline void keep_busy(const chore& what, unsigned seed) {
  for (random_source random(seed);;) {
    try {
      what.once(random);
    } catch (const std::exception& error) {
      tell_wrong_result(what.name, error.what());
    }
  }
}

}  // namespace soak
