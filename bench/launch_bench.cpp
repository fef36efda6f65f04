// Starts a child with its output in a pipe, reads the output to its end and waits for the exit code: through the
// library, with bare system calls, and with Boost.Process. All ask for 4 KiB at a time (the streams keep the buffers
// that they come with), start the child in ".", and give it this program's own standard input and error.

#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/iopipe.hpp>
#include <fl/process/process.hpp>
#include <fl/process/redirection.hpp>

#include "boost_process.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <cstdio>
#include <future>
#include <string>
#include <vector>

namespace {

namespace fp = foundation::core::process;

void take_all(std::istream& stream, bench::product& result) {
  char buffer[4096];
  while (stream.read(buffer, sizeof buffer), stream.gcount() != 0) {
    result.add({buffer, static_cast<std::size_t>(stream.gcount())});
  }
}

void launch_ours(bench::product& result) {
  static const fp::command command(boost::filesystem::path(bench::child_path()).string());
  fp::iopipe pipe(fp::open_mode::read | fp::open_mode::write | fp::open_mode::binary);
  fp::context context;
  context.std_out(fp::pipe_to(pipe));
  fp::process process(command, context);
  take_all(pipe, result);
  result.add_value(process.exit_status());
}

void take_output(const bench::child& child, bench::product& result) {
  char buffer[4096];
  while (const DWORD count = bench::read_some(child.output.get(), buffer, sizeof buffer)) {
    result.add({buffer, count});
  }
  bench::check(WaitForSingleObject(child.process.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  DWORD code = 0;
  bench::check(GetExitCodeProcess(child.process.get(), &code), "GetExitCodeProcess");
  result.add_value(static_cast<unsigned>(code));
}

void launch_bare(bench::product& result) {
  take_output(bench::start_child(nullptr, nullptr), result);
}

// ---- eight at once ----
//
// Each child is given a list of what it inherits, as it must be where several are started at once: another one would
// keep the writing end of this one's pipe open.

void launch_listed(bench::product& result) {
  static const fp::command command(boost::filesystem::path(bench::child_path()).string());
  fp::iopipe pipe(fp::open_mode::read | fp::open_mode::write | fp::open_mode::binary);
  fp::context context;
  context.std_out(fp::pipe_to(pipe)).explicitlyInheritHandles(true);
  fp::process process(command, context);
  take_all(pipe, result);
  result.add_value(process.exit_status());
}

void launch_listed_bare(bench::product& result) {
  take_output(bench::start_child(nullptr, nullptr, bench::inheritance::listed), result);
}

/// Eight threads, each of which starts a child, reads its output, waits for it, and then does that once more.
template <class Launch>
bench::contender on_eight_threads(Launch launch) {
  return {[launch](bench::product& result) {
    std::vector<std::future<bench::product>> threads;
    for (int i = 0; i != 8; ++i) {
      threads.push_back(std::async(std::launch::async, [launch] {
        bench::product own(bench::product::bytes::kept);
        launch(own);
        launch(own);
        return own;
      }));
    }
    for (auto& thread : threads) {
      result.add(thread.get().text());
    }
  }};
}

void launch_boost_process(bench::product& result) {
  namespace bp = boost_process;
  static const boost::filesystem::path path(bench::child_path());
  bp::ipstream output;
  bp::child child(path, bp::std_in<stdin, bp::std_out> output, bp::std_err > stderr, bp::start_dir("."));
  take_all(output, result);
  child.wait();
  result.add_value(static_cast<unsigned>(child.exit_code()));
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("launch_piped_vs_createprocess", {launch_ours}, {launch_bare});
  bench::add_row("launch_piped_vs_boost_process", {launch_ours}, {launch_boost_process});
  bench::add_row("launch_eight_threads_vs_createprocess", on_eight_threads(launch_listed),
                 on_eight_threads(launch_listed_bare));
  return bench::run(argc, argv);
}
