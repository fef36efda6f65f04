// Buffers of the system that hold records of different lengths, one behind the other. Each record has its own length
// in bytes and its kind in two words of 32 bits at its start.
//
// Nothing outside the buffer is read, whatever it holds. A walk ends early, with a complaint, at a record that is of no
// length, that is too short for what it must have, or that reaches past the end of the buffer; such a last record
// counts if what it must have lies inside. What was gathered before stays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <string_view>

namespace foundation::core::system {

using byte_range = std::span<const std::byte>;

struct record_source {
  const char* function;     ///< the system call that filled the buffer, for complaints
  std::size_t size_offset;  ///< where in a record its length stands: at 0 or 4
  void (*complain)(std::string_view text) noexcept;
};

/// A value of a record, which must lie inside.
template <class Value>
Value read(byte_range record, std::size_t offset) {
  Value value;
  std::memcpy(&value, record.data() + offset, sizeof value);
  return value;
}

/// Hands the records to `visit`, as far as they lie inside the buffer: at least the two words. `visit` returns false if
/// the record is too short for what its kind must have. Throws what `visit` throws, and `std::bad_alloc`.
void walkRecords(const record_source& source, byte_range buffer, const std::function<bool(byte_range record)>& visit);

}  // namespace foundation::core::system
