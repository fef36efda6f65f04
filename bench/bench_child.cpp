// The child of the benchmarks that start one. Plain system calls only, so that it starts with no library of its own.
//
//   bench_child        writes 64 KiB to standard output and ends with 0
//   bench_child wait   writes one byte when it runs, waits until standard input ends, and ends with 7

#include <windows.h>

#include <cstring>

namespace {

bool write_all(const char* data, DWORD size) {
  DWORD written = 0;
  return WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), data, size, &written, nullptr) && written == size;
}

int write_block() {
  static char block[64 * 1024];
  for (std::size_t i = 0; i < sizeof block; ++i) {
    block[i] = static_cast<char>('a' + i % 26);
  }
  return write_all(block, sizeof block) ? 0 : 1;
}

int wait_for_end_of_input() {
  if (!write_all(".", 1)) {
    return 1;
  }
  char byte;
  DWORD count = 0;
  while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &count, nullptr) && count != 0) {
  }
  return 7;
}

}  // namespace

int main(int argc, char** argv) {
  return argc > 1 && !std::strcmp(argv[1], "wait") ? wait_for_end_of_input() : write_block();
}
