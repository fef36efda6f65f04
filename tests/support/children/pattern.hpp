// What the child writes, so that a test can work out the same bytes for itself. Runs everywhere, includes nothing of
// ours.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace child_pattern {

/// The lines "line 000001", "line 000002", … to `count`, each followed by a line feed.
inline std::string lines(std::uint64_t count) {
  std::string text;
  for (std::uint64_t number = 1; number <= count; ++number) {
    text.append("line ").append(std::to_string(1'000'000 + number), 1).append("\n");
  }
  return text;
}

/// `count` bytes that depend on `seed` alone and hold every value, carriage returns, line feeds and zeros included. The
/// generator is Knuth's 64-bit linear congruence; a byte is the top eight bits of the state after a step.
inline std::string bytes(std::size_t count, std::uint64_t seed = 1) {
  std::string made(count, '\0');
  for (char& each : made) {
    seed = seed * 6364136223846793005u + 1442695040888963407u;
    each = static_cast<char>(seed >> 56);
  }
  return made;
}

}  // namespace child_pattern
