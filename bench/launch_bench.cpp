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
#include <string>

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

void launch_bare(bench::product& result) {
  const bench::child child = bench::start_child(nullptr, nullptr);
  char buffer[4096];
  while (const DWORD count = bench::read_some(child.output.get(), buffer, sizeof buffer)) {
    result.add({buffer, count});
  }
  bench::check(WaitForSingleObject(child.process.get(), INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  DWORD code = 0;
  bench::check(GetExitCodeProcess(child.process.get(), &code), "GetExitCodeProcess");
  result.add_value(static_cast<unsigned>(code));
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
  return bench::run(argc, argv);
}
