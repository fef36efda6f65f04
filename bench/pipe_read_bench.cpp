// Reads a pipe to its end through an iopipe_device, against ReadFile (binary) and fread (text). Both sides of a row
// read the same bytes from the same writer, with blocks of the same size.

#include <cstddef>
#include <cstdio>
#include <fl/process/iopipe_device.hpp>
#include <memory>
#include <vector>

#include "row.hpp"
#include "windows_support.hpp"

namespace {

namespace fp = foundation::core::process;

void read_device(int mode, std::vector<char>& block, bench::product& result) {
  std::jthread writer;  // Outlives the reader's end, so that it cannot be left blocked.
  const fp::iopipe_device pipe(fp::open_mode::read | fp::open_mode::write | mode);
  writer = bench::start_writer(pipe.handles().write_handle(), bench::wire_text());
  pipe.release_write_handle();
  while (const std::streamsize count = pipe.read(block.data(), static_cast<std::streamsize>(block.size()))) {
    result.take({block.data(), static_cast<std::size_t>(count)});
  }
}

void read_handle(std::vector<char>& block, bench::product& result) {
  std::jthread writer;
  bench::pipe_ends pipe = bench::make_pipe();
  writer = bench::start_writer(pipe.write.release(), bench::wire_text());
  while (const DWORD count = bench::read_some(pipe.read.get(), block.data(), static_cast<DWORD>(block.size()))) {
    result.take({block.data(), count});
  }
}

void read_text_file(std::vector<char>& block, std::vector<char>& file_buffer, bench::product& result) {
  std::jthread writer;
  bench::pipe_ends pipe = bench::make_pipe();
  writer = bench::start_writer(pipe.write.release(), bench::wire_text());
  const auto file = bench::open_text_file(std::move(pipe.read), file_buffer);
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    result.take({block.data(), count});
  }
}

void add_binary_row(const char* name, std::size_t size) {
  const auto block = std::make_shared<std::vector<char>>(size);
  bench::add_row(name, {[block](bench::product& result) { read_device(fp::open_mode::binary, *block, result); }},
                 {[block](bench::product& result) { read_handle(*block, result); }});
}

void add_text_row(const char* name, std::size_t size) {
  const auto block = std::make_shared<std::vector<char>>(size);
  const auto file_buffer = std::make_shared<std::vector<char>>(size);
  bench::add_row(name, {[block](bench::product& result) { read_device(0, *block, result); }},
                 {[=](bench::product& result) { read_text_file(*block, *file_buffer, result); }});
}

}  // namespace

int main(int argc, char** argv) {
  add_binary_row("read_binary_4k_vs_readfile", 4 * 1024);
  add_binary_row("read_binary_64k_vs_readfile", 64 * 1024);
  add_text_row("read_text_64k_vs_fread", 64 * 1024);
  return bench::run(argc, argv);
}
