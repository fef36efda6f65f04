// Takes the carriage returns out of CRLF lines in memory: the library's rule against a loop over the bytes, and against
// the search and the moving of the C library, at several lengths of line. All work in place and all hold back a
// carriage return at the end of a block, whose successor they cannot see.

#include "process/pipe/crlf.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <algorithm>
#include <cstring>
#include <random>
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

// Lines of half to one and a half times the mean length, without their ends; the same in every process.
std::string lines_of(std::size_t mean_length) {
  std::mt19937 random(20240229);
  std::uniform_int_distribution<std::size_t> length(mean_length / 2, mean_length + mean_length / 2);
  std::string lines;
  while (lines.size() < text.size()) {
    lines.append(length(random), 'a');
    lines += "\r\n";
  }
  return lines;
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

// Looks for each carriage return with memchr and moves what lies between two removed ones with one memmove.
translated_text memchr_and_memmove(char* data, std::size_t length) {
  const char* const end = data + length;
  const char* unmoved = data;
  char* to = data;
  const auto move_up_to = [&](const char* stop) {
    const auto bytes = static_cast<std::size_t>(stop - unmoved);
    std::memmove(to, unmoved, bytes);
    to += bytes;
    unmoved = stop;
    return static_cast<std::size_t>(to - data);
  };

  const char* from = data;
  while (const void* found = std::memchr(from, '\r', static_cast<std::size_t>(end - from))) {
    const char* const at = static_cast<const char*>(found);
    from = at + 1;
    if (from == end) {
      return {move_up_to(at), true};
    }
    if (*from == '\n') {
      move_up_to(at);
      unmoved = from;
    }
  }
  return {move_up_to(end), false};
}

template <class Translate>
bench::contender in_blocks(Translate translate, std::function<void()> prepare = restore) {
  const auto run = [translate](bench::product& result) {
    for (std::size_t offset = 0; offset < text.size(); offset += block_size) {
      const translated_text translated = translate(text.data() + offset, block_size);
      result.add({text.data() + offset, translated.length});
      result.add_value(translated.ends_in_carriage_return);
    }
  };
  return {run, std::move(prepare)};
}

void add_row_of_lines(std::size_t mean_length) {
  const auto prepare = [lines = lines_of(mean_length)] { std::copy_n(lines.begin(), text.size(), text.begin()); };
  bench::add_row("crlf_" + std::to_string(mean_length) + "_vs_memchr", in_blocks(translate_crlf, prepare),
                 in_blocks(memchr_and_memmove, prepare));
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("crlf_in_memory_vs_byte_loop", in_blocks(translate_crlf), in_blocks(loop_over_bytes));
  for (const std::size_t mean_length : {20u, 40u, 80u, 200u}) {
    add_row_of_lines(mean_length);
  }
  return bench::run(argc, argv);
}
