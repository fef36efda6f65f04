// Reads a pipe to its end through an iopipe_device, against ReadFile (binary) and fread (text). Both sides of a row
// find the same bytes in an equal pipe and ask for blocks of the same size.

#include <fl/process/iopipe_device.hpp>

#include "row.hpp"
#include "windows_support.hpp"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

namespace {

namespace fp = foundation::core::process;

using block = std::vector<char>;

void read_device(bench::unique_handle pipe, int mode, block& into, bench::product& result) {
  const fp::iopipe_device device(fp::iopipe_handles(pipe.release(), nullptr), false, mode);
  while (const std::streamsize count = device.read(into.data(), static_cast<std::streamsize>(into.size()))) {
    result.add({into.data(), static_cast<std::size_t>(count)});
  }
}

void read_handle(const bench::unique_handle& pipe, block& into, bench::product& result) {
  while (const DWORD count = bench::read_some(pipe.get(), into.data(), static_cast<DWORD>(into.size()))) {
    result.add({into.data(), count});
  }
}

void read_text_file(bench::unique_handle pipe, block& into, block& file_buffer, bench::product& result) {
  const auto file = bench::open_text_file(std::move(pipe), file_buffer);
  while (const std::size_t count = std::fread(into.data(), 1, into.size(), file.get())) {
    result.add({into.data(), count});
  }
}

void add_binary_row(const char* name, std::size_t size) {
  const auto into = std::make_shared<block>(size);
  bench::add_row(name, bench::reader_of_filled_pipe([into](bench::unique_handle pipe, bench::product& result) {
                   read_device(std::move(pipe), fp::open_mode::binary, *into, result);
                 }),
                 bench::reader_of_filled_pipe(
                     [into](bench::unique_handle pipe, bench::product& result) { read_handle(pipe, *into, result); }));
}

void add_text_row(const char* name, std::size_t size) {
  const auto into = std::make_shared<block>(size);
  const auto file_buffer = std::make_shared<block>(size);
  bench::add_row(name, bench::reader_of_filled_pipe([into](bench::unique_handle pipe, bench::product& result) {
                   read_device(std::move(pipe), 0, *into, result);
                 }),
                 bench::reader_of_filled_pipe([into, file_buffer](bench::unique_handle pipe, bench::product& result) {
                   read_text_file(std::move(pipe), *into, *file_buffer, result);
                 }));
}

}  // namespace

int main(int argc, char** argv) {
  add_binary_row("read_binary_4k_vs_readfile", 4 * 1024);
  add_binary_row("read_binary_64k_vs_readfile", 64 * 1024);
  add_text_row("read_text_64k_vs_fread", 64 * 1024);
  return bench::run(argc, argv);
}
