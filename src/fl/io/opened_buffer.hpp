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

/// Whether nothing is lost on a buffer whose areas are filled and emptied behind its back. It is by a class that does
/// with a block what it does with each unit; any other one may have a `sputn` or `sgetn` that wants to see each block,
/// such as one that counts, copies or refuses, whatever class it is made from.
template <class Unit, class Traits>
bool is_open_to_others(const std::basic_streambuf<Unit, Traits>& buffer) {
  const std::type_info& type = typeid(buffer);
  return type == typeid(std::basic_stringbuf<Unit, Traits>) || type == typeid(std::basic_filebuf<Unit, Traits>) ||
         type == typeid(fl::filesystem::basic_filebuf<char>);
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
