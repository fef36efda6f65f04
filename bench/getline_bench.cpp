// Reads CRLF lines from a pipe one by one: std::getline over a text-mode iopipe, std::getline over Boost.Process's
// ipstream as it comes, with its buffer of 1 KiB, and fgets over a text-mode FILE with the 4 KiB of an iopipe. All
// three give lines without their ends.

#include <boost/process/pipe.hpp>
#include <cstdio>
#include <cstring>
#include <fl/process/iopipe.hpp>
#include <string>
#include <vector>

#include "row.hpp"
#include "windows_support.hpp"

namespace {

namespace fp = foundation::core::process;

constexpr std::size_t buffer_size = 4096;

void lines_of_iopipe(bench::product& result) {
  std::jthread writer;  // Outlives the reader's end, so that it cannot be left blocked.
  fp::iopipe pipe(fp::open_mode::read | fp::open_mode::write);
  const fp::iopipe_device device = pipe.device();
  writer = bench::start_writer(device.handles().write_handle(), bench::wire_text());
  device.release_write_handle();
  std::string line;
  while (std::getline(pipe, line)) {
    result.take_line(line);
  }
}

void lines_of_ipstream(bench::product& result) {
  std::jthread writer;
  bench::pipe_ends ends = bench::make_pipe();
  writer = bench::start_writer(ends.write.release(), bench::wire_text());
  boost::process::ipstream stream(boost::process::pipe(ends.read.release(), INVALID_HANDLE_VALUE));
  std::string line;
  while (std::getline(stream, line)) {
    // This stream has no text mode: its users take off the carriage return themselves.
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    result.take_line(line);
  }
}

void lines_of_file(std::vector<char>& file_buffer, bench::product& result) {
  std::jthread writer;
  bench::pipe_ends ends = bench::make_pipe();
  writer = bench::start_writer(ends.write.release(), bench::wire_text());
  const auto file = bench::open_text_file(std::move(ends.read), file_buffer);
  char line[buffer_size];
  while (std::fgets(line, sizeof line, file.get())) {
    std::size_t length = std::strlen(line);
    if (length != 0 && line[length - 1] == '\n') {
      --length;
    }
    result.take_line({line, length});
  }
}

}  // namespace

int main(int argc, char** argv) {
  static std::vector<char> file_buffer(buffer_size);
  bench::add_row("getline_text_vs_boost_ipstream", {lines_of_iopipe}, {lines_of_ipstream});
  bench::add_row("getline_text_vs_fgets", {lines_of_iopipe},
                 {[](bench::product& result) { lines_of_file(file_buffer, result); }});
  return bench::run(argc, argv);
}
