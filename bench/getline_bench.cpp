// Reads CRLF lines from a pipe one by one: std::getline over a text-mode iopipe, std::getline over Boost.Process's
// ipstream as it comes, with its buffer of 1 KiB, and fgets over a text-mode FILE with the 4 KiB of an iopipe. All
// three give lines without their ends.

#include <fl/process/iopipe.hpp>

#include "boost_process.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fp = foundation::core::process;

constexpr std::size_t buffer_size = 4096;

void lines_of_iopipe(bench::unique_handle handle, bench::product& result) {
  fp::iopipe pipe(fp::iopipe_device(fp::iopipe_handles(handle.release(), nullptr), false, fp::open_mode::read));
  std::string line;
  while (std::getline(pipe, line)) {
    result.add_line(line);
  }
}

void lines_of_ipstream(bench::unique_handle handle, bench::product& result) {
  boost_process::ipstream stream(boost_process::pipe(handle.release(), INVALID_HANDLE_VALUE));
  std::string line;
  while (std::getline(stream, line)) {
    // This stream has no text mode: its users take off the carriage return themselves.
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    result.add_line(line);
  }
}

void lines_of_file(bench::unique_handle handle, bench::product& result) {
  static std::vector<char> file_buffer(buffer_size);
  const auto file = bench::open_text_file(std::move(handle), file_buffer);
  char line[buffer_size];
  while (std::fgets(line, sizeof line, file.get())) {
    std::size_t length = std::strlen(line);
    if (length != 0 && line[length - 1] == '\n') {
      --length;
    }
    result.add_line({line, length});
  }
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("getline_text_vs_boost_ipstream", bench::reader_of_filled_pipe(lines_of_iopipe),
                 bench::reader_of_filled_pipe(lines_of_ipstream));
  bench::add_row("getline_text_vs_fgets", bench::reader_of_filled_pipe(lines_of_iopipe),
                 bench::reader_of_filled_pipe(lines_of_file));
  return bench::run(argc, argv);
}
