// What a stream buffer has in memory, for one who stands in front of it: the bounds of its areas, without a call of its
// virtual functions.
//
// Thread safety: that of the buffer.
#pragma once

#include <i18n/filebuf.hpp>

#include <cstddef>
#include <fstream>
#include <sstream>
#include <streambuf>
#include <typeinfo>
#include <utility>

namespace foundation::core::io::detail {

/// What the base class of stream buffers shows to its heirs only.
template <class Unit, class Traits>
struct opened : std::basic_streambuf<Unit, Traits> {
  using base = std::basic_streambuf<Unit, Traits>;
  using base::eback, base::egptr, base::epptr, base::gbump, base::gptr, base::pptr;
};

/// Whether the areas of a buffer may be filled and emptied past its `sputn` and `sgetn`: who makes a class with areas
/// of its own lets others do so. But one that is made from the buffer of a string or a file has the areas of that one,
/// and its own `sputn` or `sgetn` wants to see each block, to count, copy or refuse it.
template <class Unit, class Traits>
bool is_open_to_others(const std::basic_streambuf<Unit, Traits>& buffer) {
  const std::type_info& type = typeid(buffer);
  if (dynamic_cast<const std::basic_stringbuf<Unit, Traits>*>(&buffer) != nullptr) {
    return type == typeid(std::basic_stringbuf<Unit, Traits>);
  }
  if (dynamic_cast<const std::basic_filebuf<Unit, Traits>*>(&buffer) != nullptr) {
    return type == typeid(std::basic_filebuf<Unit, Traits>) || type == typeid(fl::filesystem::basic_filebuf<char>);
  }
  return true;
}

/// How many units `sputc` can put into a buffer without asking it.
template <class Unit, class Traits>
std::ptrdiff_t room_in(const std::basic_streambuf<Unit, Traits>& buffer) {
  using heir = opened<Unit, Traits>;
  return (buffer.*&heir::epptr)() - (buffer.*&heir::pptr)();
}

/// What a buffer can give without being asked.
template <class Unit, class Traits>
std::pair<const Unit*, const Unit*> ready_in(const std::basic_streambuf<Unit, Traits>& buffer) {
  using heir = opened<Unit, Traits>;
  return {(buffer.*&heir::gptr)(), (buffer.*&heir::egptr)()};
}

/// What it gave of that before, as far as it is still in memory.
template <class Unit, class Traits>
std::pair<const Unit*, const Unit*> given_by(const std::basic_streambuf<Unit, Traits>& buffer) {
  using heir = opened<Unit, Traits>;
  return {(buffer.*&heir::eback)(), (buffer.*&heir::gptr)()};
}

/// Takes some of what is ready away.
template <class Unit, class Traits>
void skip_in(std::basic_streambuf<Unit, Traits>& buffer, std::ptrdiff_t count) {
  (buffer.*&opened<Unit, Traits>::gbump)(static_cast<int>(count));
}

}  // namespace foundation::core::io::detail
