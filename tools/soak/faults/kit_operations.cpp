// The kit: memory resources, jobs, runs of commands, text, files, the crash handler.

#include <fl/process.hpp>

#include "children.hpp"
#include "operation.hpp"
#include "support.hpp"

#include <kit/aligned_heap_resource.hpp>
#include <kit/arena_resource.hpp>
#include <kit/arguments.hpp>
#include <kit/by_lines.hpp>
#include <kit/console.hpp>
#include <kit/crash_handler.hpp>
#include <kit/describe_system.hpp>
#include <kit/exit_code_text.hpp>
#include <kit/pool_resource.hpp>
#include <kit/progress_line.hpp>
#include <kit/recode.hpp>
#include <kit/replacing_file.hpp>
#include <kit/run_all.hpp>
#include <kit/shell_text.hpp>

#include <filesystem>
#include <memory_resource>

namespace faults {
namespace {

using namespace std::chrono_literals;
namespace kit = foundation::kit;
namespace process = foundation::core::process;

const std::string long_text(40, 'x');

const test_support::temp_dir& folder() {
  static const test_support::temp_dir made;
  return made;
}

// ---- memory ----

void use_pool(trial& t) {
  std::optional<kit::pool> pool;
  t.act([&] { pool.emplace(100, 4); });
  if (!pool) {
    return;
  }
  std::vector<void*> chunks;
  chunks.reserve(1000);
  t.act([&] {
    while (chunks.size() < 1000) {
      chunks.push_back(pool->allocate());
    }
  });
  for (void* const chunk : chunks) {
    pool->deallocate(chunk);
  }
  t.act([&] { t.expect(*pool->make<int>(5) == 5, "another value"); });
  t.act([&] {
    pool->release_free_memory();
    kit::pool moved(std::move(*pool));
    *pool = std::move(moved);
  });
}

void fill(trial& t, std::pmr::memory_resource& memory) {
  std::pmr::vector<std::size_t> numbers(&memory);
  for (std::size_t i = 0; i != 200; ++i) {
    numbers.push_back(i);
  }
  t.expect(numbers.back() == 199 && memory.is_equal(memory), "another number");
}

void use_resources(trial& t) {
  t.act([&] {
    kit::arena_resource arena;
    fill(t, arena);
    t.expect(arena.bytes_reserved() > 0, "has no memory");
  });
  t.act([&] {
    kit::pool_resource pool(64, 4);
    fill(t, pool);
    pool.release_free_memory();
  });
  t.act([&] { fill(t, *kit::aligned_heap_resource()); });
}

// ---- processes ----

void cancel(trial& t) {
  t.act([&] {
    const kit::cancellation made;
    kit::cancellation copy(made);
    copy = made;
    copy.request();
    t.expect(made.native_handle() != nullptr, "has no event");
    t.see(made.requested() ? "requested" : "not known");
  });
}

void use_job(trial& t) {
  t.act([&] {
    kit::job made;
    process::context how = small_context();
    made.hold(how);
    kit::job moved(std::move(made));
    made = std::move(moved);
    t.expect(made.native_handle() != nullptr && !made.wait_for_event(0ms), "has a process");
    made.terminate(3);
  });
  kit::job asked;
  t.act([&] {
    try {
      t.expect(asked.accounting().active_processes == 0 && asked.wait_until_empty(0ms), "has a process");
    } catch (const boost::system::system_error&) {
      t.see("refused");  // Wine 8 keeps no account of jobs.
    }
  });
}

const process::command& any_command() {
  static const process::command made = children::command("exit", {"5"});
  return made;
}

void run(trial& t) {
  const process::context how = small_context();
  const kit::run_limits limits;
  t.act([&] {
    const kit::run_result result = kit::run(any_command(), how, limits, {});
    t.see(kit::exit_code_text(result.status));
  });
}

void run_several(trial& t) {
  kit::run_all_options options;
  options.how = small_context();
  t.act([&] {
    for (const kit::run_outcome& each : kit::run_all({any_command(), any_command()}, 2, {}, options)) {
      if (each.error) {
        std::rethrow_exception(each.error);
      }
      t.see(kit::exit_code_text(each.result.status));
    }
  });
}

void make_errors(trial& t) {
  t.act([&] {
    const kit::run_error made(any_command(), kit::run_result{});
    kit::run_error copy(made);
    copy = made;
    t.expect(copy.what() == std::string(made.what()), "another text");
    const kit::missing_character missing(fl::i18n::conversion_error(long_text, 5));
    kit::missing_character other(missing);
    other = missing;
    t.expect(other.position() == 5, "another place");
  });
}

// ---- text and files ----

void make_texts(trial& t) {
  const process::command what = process::make_command("a b", "c", "\"");
  t.act([&] {
    t.see(kit::for_cmd(what) + kit::for_powershell(what) + kit::exit_code_text(0xC0000005));
    t.expect(kit::split_command_line("\"a b\" c").size() == 2 && !kit::utf8_arguments().empty(), "another word");
    const kit::run_output output{long_text};
    t.expect(output.text() == long_text && output.wide_text("windows-1252").size() == 40, "another text");
    std::string lines;
    const kit::output_receiver receive =
        kit::by_lines([&](std::string_view line) { lines += std::string(line) + ";"; });
    receive("one\nt");
    receive("wo\n");
    t.see(lines);
  });
}

void recode(trial& t) {
  std::istringstream in("\xe4" + long_text);
  std::ostringstream out;
  t.act([&] { kit::recode(in, "windows-1252", out, "UTF-8", kit::lossy::refuse); });
  t.expect(("\u00e4" + long_text).starts_with(out.str()), "wrote: " + out.str());
  t.see(out.str().size() == 42 && out ? "recoded" : "bad stream");
}

// The file is the former one or the new one, and no other is left beside it unless the system refuses to remove it.
void replace_file(trial& t) {
  const std::string name = folder().file("replaced");
  test_support::write_file(name, "former");
  const fl::filesystem::path path(fl::ustring(name.begin(), name.end()));
  bool kept = false;
  t.act([&] {
    kit::replacing_file file(path);
    file.stream() << long_text << std::flush;
    file.keep();
    kept = true;
  });
  const std::string content = test_support::read_file(name);
  t.expect(content == (kept ? long_text : "former"), "holds: " + content);
  std::size_t others = 0;
  for (const auto& each : std::filesystem::directory_iterator(folder().path())) {
    others += each.path().filename() != "replaced" && std::filesystem::remove(each.path()) ? 1 : 0;
  }
  t.expect(others == 0 || t.refuses_all(), "leaves a file behind");
}

void show_progress(trial& t) {
  std::ostringstream out;
  t.act([&] {
    auto now = std::chrono::steady_clock::time_point();
    kit::progress_line line(out, [&] { return now += 1h; });
    line.show(long_text);
    line.show_bytes(5, 10);
  });
  t.see(out ? "whole" : "bad stream");
}

void console(trial& t) {
  t.act([&] {
    kit::console_streams& made = kit::console();
    t.expect(made.in().rdbuf() && made.out().rdbuf() && made.err().rdbuf() && made.uin().rdbuf() &&
                 made.uout().rdbuf() && made.uerr().rdbuf(),
             "has no buffer");
  });
}

// ---- crashes, the machine ----

void handle_crashes(trial& t) {
  kit::crash_handler_options options;
  options.standard_error = false;
  options.report_file = u"report";
  t.act([&] {
    kit::crash_handler made = kit::install_crash_handler(options);
    kit::crash_handler moved(std::move(made));
    made = std::move(moved);
    t.expect(kit::crash_handler_is_active() && kit::look_at_crash_handler().terminate == kit::hook_state::active,
             "is not active");
    t.see(kit::reserve_stack_for_crash_report() ? "reserved" : "not reserved");
    made.uninstall();
  });
  t.expect(!kit::crash_handler_is_active(), "is still active");
}

void describe(trial& t) {
  t.act([&] { t.expect(!kit::to_string(kit::describe_system()).empty(), "says nothing"); });
}

}  // namespace

std::vector<operation> kit_operations() {
  return {{"kit: pool", use_pool},
          {"kit: memory resources", use_resources},
          {"kit: cancellation", cancel, "^done not known;$"},
          {"kit: job", use_job},
          {"kit: run", run, "bad conversion|Failed to duplicate|OpenFile"},
          {"kit: run several", run_several, "std::system_error: Resource temporarily unavailable"},  // no thread
          {"kit: errors", make_errors},
          {"kit: texts", make_texts},
          // The next three write to a stream of somebody else, which keeps what is wrong to itself.
          {"kit: recode", recode, "the output cannot be written"},
          {"kit: replace a file", replace_file, "Write fault"},
          {"kit: progress line", show_progress, "bad stream"},
          {"none: kit: console, once it is made", console},
          {"kit: crash handler", handle_crashes, "^done not reserved;$"},
          {"kit: describe the system", describe}};
}

}  // namespace faults
