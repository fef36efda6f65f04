#include "diag/windows/readable_symbol.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

/// The compiler's own demangler in the form that hands its text over piece by piece. It is in the static library of the
/// C++ run-time, but not among what the DLL exports. 0: all of the name was understood.
extern "C" int __gcclibcxx_demangle_callback(const char* mangled, void (*append)(const char*, std::size_t, void*),
                                             void* object);

namespace foundation::core::diag {

namespace {

/// The demangler works on the stack, 64 bytes and more for each character of the name.
constexpr std::size_t longest_demangled = 500;

struct output {
  char* next;
  char* end;

  void put(std::string_view text) noexcept {
    const std::size_t size = std::min(text.size(), static_cast<std::size_t>(end - next));
    std::memcpy(next, text.data(), size);
    next += size;
  }
};

void append(const char* text, std::size_t size, void* object) {
  static_cast<output*>(object)->put({text, size});
}

bool demangled(const char* symbol, output& to) noexcept {
  const std::string_view name(symbol);
  // Anything shorter than the mark of a mangled name could be read as one of a type: "i" as "int".
  if (!name.starts_with("_Z") || name.size() > longest_demangled) {
    return false;
  }
  return __gcclibcxx_demangle_callback(symbol, append, &to) == 0;
}

}  // namespace

void write_readable_symbol(const char* symbol, char* buffer, std::size_t size) noexcept {
  output to{buffer, buffer + size - 1};
  if (!demangled(symbol, to)) {
    to.next = buffer;
    to.put(symbol);
  }
  *to.next = '\0';
}

}  // namespace foundation::core::diag
