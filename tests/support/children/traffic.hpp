// What the child of a long run and its parent tell each other, so that each can check what came from the other side.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace traffic {

/// FNV-1a over the bytes that were added.
struct checksum {
  std::uint64_t value = 0xCBF29CE484222325;
  void add(std::string_view bytes) {
    for (const char byte : bytes) {
      value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }
  }
};

/// What the child writes first to standard output.
struct header {
  std::uint64_t bytes_read, sum_read;        ///< of standard input, then of the further pipe
  std::uint64_t bytes_written, sum_written;  ///< of what follows on standard output, then on standard error
};

/// Bytes without a pattern that another offset would have, too.
inline std::string content(std::uint64_t seed, std::size_t length) {
  std::string made(length, '\0');
  for (char& byte : made) {
    seed = seed * 6364136223846793005 + 1442695040888963407;
    byte = static_cast<char>(seed >> 56);
  }
  return made;
}

/// No sums have one that a running child has, or that a failing one ends with.
inline std::uint32_t exit_code(const header& sums) {
  return static_cast<std::uint32_t>(sums.sum_read + sums.sum_written) | 0x40000000;
}

}  // namespace traffic
