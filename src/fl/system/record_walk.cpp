#include "system/record_walk.hpp"

#include <algorithm>
#include <string>

namespace foundation::core::system {

namespace {

constexpr std::size_t header_size = 8;

std::string place(std::size_t offset, byte_range buffer) {
  return " at offset " + std::to_string(offset) + " of " + std::to_string(buffer.size());
}

}  // namespace

void walkRecords(const record_source& source, byte_range buffer, const std::function<bool(byte_range record)>& visit) {
  const auto complain = [&](const std::string& what) { source.complain(source.function + (" buffer " + what)); };
  if (buffer.data() == nullptr && !buffer.empty()) {
    return complain("produced a null record pointer" + place(0, buffer) + "; aborting parse");
  }
  std::size_t offset = 0;
  while (offset < buffer.size()) {
    const byte_range rest = buffer.subspan(offset);
    if (rest.size() < header_size) {
      return complain("ended inside a record" + place(offset, buffer) + "; aborting parse");
    }
    const std::size_t size = read<std::uint32_t>(rest, source.size_offset);
    if (size == 0) {
      return complain("contained a zero-sized record" + place(offset, buffer) +
                      "; aborting parse to avoid an infinite loop");
    }
    const auto record_here = [&] {
      return "contained a record of " + std::to_string(size) + " bytes" + place(offset, buffer);
    };
    const bool whole = size >= header_size && visit(rest.first(std::min(size, rest.size())));
    if (size > rest.size()) {
      return complain(record_here() + ", which reaches past the end; aborting parse");
    }
    if (!whole) {
      return complain(record_here() + ", which is too short; aborting parse");
    }
    offset += size;
  }
}

}  // namespace foundation::core::system
