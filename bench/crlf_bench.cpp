// Takes the carriage returns out of CRLF lines in memory: the library's rule against a loop over the bytes. Both work
// in place and both hold back a carriage return at the end of a block, whose successor they cannot see.

#include "process/pipe/crlf.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace {

using foundation::core::process::detail::translate_crlf;
using foundation::core::process::detail::translated_text;

constexpr std::size_t block_size = 64 * 1024;
constexpr std::size_t blocks = 4;

// Translation destroys its input, so each run gets a fresh copy, outside the time.
std::vector<char> text(block_size* blocks);

void restore() {
  std::copy_n(bench::wire_text().begin(), text.size(), text.begin());
}

translated_text loop_over_bytes(char* data, std::size_t length) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < length; ++i) {
    if (data[i] == '\r') {
      if (i + 1 == length) {
        return {kept, true};
      }
      if (data[i + 1] == '\n') {
        continue;
      }
    }
    data[kept++] = data[i];
  }
  return {kept, false};
}

template <class Translate>
bench::contender in_blocks(Translate translate) {
  const auto run = [translate](bench::product& result) {
    for (std::size_t offset = 0; offset < text.size(); offset += block_size) {
      const translated_text translated = translate(text.data() + offset, block_size);
      result.add({text.data() + offset, translated.length});
      result.add_value(translated.ends_in_carriage_return);
    }
  };
  return {run, restore};
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("crlf_in_memory_vs_byte_loop", in_blocks(translate_crlf), in_blocks(loop_over_bytes));
  return bench::run(argc, argv);
}
