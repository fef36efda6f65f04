// The converting stream buffer behind the factories of fl/io/streambuf_adaptor.hpp.
//
// Writing passes straight through the converter to the buffer beneath; there is no put area. Reading fills the get area
// from what is ready in the buffer beneath, one block at most. What that or a write ends in the middle of is kept by
// the converter, not here. Thread safety: none.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <i18n/stream_converter.hpp>

#include "io/adaptor_areas.hpp"
#include "io/opened_buffer.hpp"
#include "io/put_area.hpp"

#include <boost/numeric/conversion/cast.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <streambuf>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace foundation::core::io {

/// `From` is what the user sees, `To` what the buffer beneath accepts and gives.
template <class From, class To, class FromTraits = std::char_traits<From>, class ToTraits = std::char_traits<To>>
class streambuf_adaptorT : public std::basic_streambuf<From, FromTraits> {
 public:
  using int_type = typename FromTraits::int_type;
  using underlying_buffer = std::basic_streambuf<To, ToTraits>;
  using out_conversion = fl::i18n::stream_converter<To, From>;
  using in_conversion = fl::i18n::stream_converter<From, To>;

  /// Without an `in` it gives end of file to who reads. Neither of the others is null.
  streambuf_adaptorT(boost::shared_ptr<underlying_buffer> beneath, boost::shared_ptr<out_conversion> out,
                     boost::shared_ptr<in_conversion> in)
      : underlying(std::move(beneath)),
        out_converter(std::move(out)),
        in_converter(std::move(in)),
        direct_(dynamic_cast<put_area<To>*>(underlying.get())),
        is_open_(direct_ != nullptr || (underlying && detail::is_open_to_others(*underlying))) {}

 protected:
  std::streamsize xsputn(const From* from, std::streamsize n) override { return write(from, n); }

  int_type overflow(int_type c) override {
    if (FromTraits::eq_int_type(c, FromTraits::eof())) {
      return 0;
    }
    return write_unit(FromTraits::to_char_type(c)) ? c : FromTraits::eof();
  }

  int sync() override {
    write_pending = false;
    return underlying->pubsync();
  }

  std::streamsize xsgetn(From* to, std::streamsize n) override;
  int_type underflow() override;
  int_type pbackfail(int_type c) override;

 private:
  using areas = detail::adaptor_areas<From, To>;
  static constexpr std::streamsize block = 1024;  ///< units of `To` that a refill reads at most
  static constexpr std::ptrdiff_t area_size = areas::of_refill / sizeof(From);
  static constexpr std::size_t cache_line = 64;  ///< in bytes; converters store whole lines or halves

  bool write_unit(From unit);
  std::streamsize write(const From* from, std::streamsize n);
  std::streamsize write_directly(const From* from, std::streamsize n);
  std::streamsize pass_on(const From* from, const From* end, std::streamsize n);
  std::streamsize pass_on_block(const From* from, const From* end, std::streamsize n);
  std::streamsize pass_on_by(To* area, std::size_t size, const From* from, const From* end, std::streamsize n);
  std::ptrdiff_t room() const { return is_open_ ? detail::room_in(*underlying) : 0; }
  std::pair<const To*, const To*> ready() const {
    return is_open_ ? detail::ready_in(*underlying) : std::pair<const To*, const To*>();
  }
  bool put(const To* units, std::streamsize n);
  bool put_character(const To* units, std::streamsize n);
  From* read_area();
  std::streamsize read_directly(From* to, std::streamsize n);
  void keep(const From* begin, const From* end, const To* source);
  bool convert_again();
  std::streamsize read_block(std::streamsize wanted, int_type& first);
  int_type refill(const To* from, const To* end);

  boost::shared_ptr<underlying_buffer> underlying;  ///< not null
  boost::shared_ptr<out_conversion> out_converter;  ///< not null
  boost::shared_ptr<in_conversion> in_converter;    ///< null if it can only be written
  bool write_pending = false;                       ///< something was written since the last `sync`
  std::unique_ptr<char[]> scratch;                  ///< where a refill converts to, and the get area; null at first
  std::vector<From> read_buffer;                    ///< what a refill gave if that took several conversions
  From last_read_{};                                ///< the get area behind a direct read that can be converted again
  std::pair<const To*, const To*> source_{};        ///< of that read, in the buffer beneath; null behind any other
  put_area<To>* const direct_;                      ///< of `underlying`; null if it offers none
  const bool is_open_;                              ///< the areas of `underlying` may be used past it
};

// Those for writing return false, or 0 units, if the buffer beneath refused a part, and else how many they were given.

/// Most of what is written unit by unit is ASCII, of which the converter would make the same.
template <class From, class To, class FromTraits, class ToTraits>
bool streambuf_adaptorT<From, To, FromTraits, ToTraits>::write_unit(From unit) {
  const bool is_ascii = static_cast<std::make_unsigned_t<From>>(unit) < 0x80;
  if (!is_ascii || !out_converter->passes_ascii()) {
    return write(&unit, 1) == 1;
  }
  write_pending = true;
  const To same = static_cast<To>(unit);
  if (room() <= 0) {
    return underlying->sputn(&same, 1) == 1;
  }
  underlying->sputc(same);
  return true;
}

/// Into the put area of `underlying` if the conversion fits there, and by way of an area of our own otherwise.
template <class From, class To, class FromTraits, class ToTraits>
std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::write(const From* from, std::streamsize n) {
  if (n < 1) {
    return n;
  }
  write_pending = true;
  return direct_ != nullptr ? write_directly(from, n) : pass_on(from, from + n, n);
}

template <class From, class To, class FromTraits, class ToTraits>
std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::write_directly(const From* from,
                                                                                   std::streamsize n) {
  const std::size_t size = areas::of_write(static_cast<std::size_t>(n));
  const auto [area, room] = direct_->free_space();
  const From* at = from;
  const From* const end = from + n;
  if (size > room) {
    return pass_on(at, end, n);
  }
  To* to = area;
  const std::size_t more = out_converter->convert(&to, area + size, &at, end, false);
  direct_->advance(static_cast<std::size_t>(to - area));
  return more == 0 ? n : pass_on(at, end, n);
}

/// What is left of `n` units, which may be nothing but what the converter has taken and not given yet. By way of an
/// area: on the stack for a line or less, as the heap would take longer than all else.
template <class From, class To, class FromTraits, class ToTraits>
std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::pass_on(const From* from, const From* end,
                                                                            std::streamsize n) {
  constexpr std::size_t for_line = 1024 / sizeof(To);
  const std::size_t size = areas::of_write(static_cast<std::size_t>(n));
  if (size > for_line) {
    return pass_on_block(from, end, n);
  }
  alignas(cache_line) To area[for_line];
  return pass_on_by(area, size, from, end, n);
}

/// Out of line: so large a frame costs time even where it is not used.
template <class From, class To, class FromTraits, class ToTraits>
[[gnu::noinline]] std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::pass_on_block(const From* from,
                                                                                                    const From* end,
                                                                                                    std::streamsize n) {
  constexpr std::size_t for_block = 8192 / sizeof(To);
  const std::size_t size = areas::of_write(static_cast<std::size_t>(n));
  if (size <= for_block) {
    alignas(cache_line) To area[for_block];
    return pass_on_by(area, size, from, end, n);
  }
  const std::unique_ptr<To[]> area(new To[size]);
  return pass_on_by(area.get(), size, from, end, n);
}

/// As often as the area is full.
template <class From, class To, class FromTraits, class ToTraits>
[[gnu::always_inline]] inline std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::pass_on_by(
    To* area, std::size_t size, const From* from, const From* end, std::streamsize n) {
  const From* at = from;
  for (;;) {
    To* to = area;
    const std::size_t more = out_converter->convert(&to, area + size, &at, end, false);
    const auto count = boost::numeric_cast<std::streamsize>(static_cast<std::size_t>(to - area));
    if (count != 0 && !put(area, count)) {
      return 0;
    }
    if (more == 0) {
      return n;
    }
  }
}

/// Offers each unit once, since a buffer that refuses may have kept what it was offered, or given it to some of
/// several targets.
template <class From, class To, class FromTraits, class ToTraits>
bool streambuf_adaptorT<From, To, FromTraits, ToTraits>::put(const To* units, std::streamsize n) {
  constexpr std::streamsize most_of_a_character = 4;
  return n > most_of_a_character ? underlying->sputn(units, n) == n : put_character(units, n);
}

/// Unit by unit if there is room for it, which needs no call.
template <class From, class To, class FromTraits, class ToTraits>
[[gnu::noinline]] bool streambuf_adaptorT<From, To, FromTraits, ToTraits>::put_character(const To* units,
                                                                                         std::streamsize n) {
  if (n > room()) {
    return underlying->sputn(units, n) == n;
  }
  std::for_each(units, units + n, [this](To unit) { underlying->sputc(unit); });
  return true;
}

/// Much at once goes straight to where the user wants it, as long as it comes from memory; the rest as in any stream
/// buffer.
template <class From, class To, class FromTraits, class ToTraits>
std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::xsgetn(From* to, std::streamsize n) {
  std::streamsize done = 0;
  if (in_converter && n >= block / 2) {
    done = std::min<std::streamsize>(n, this->egptr() - this->gptr());
    FromTraits::copy(to, this->gptr(), static_cast<std::size_t>(done));
    this->gbump(static_cast<int>(done));  // A refill at most.
    const std::streamsize before = done;
    const To* const source = ready().first;
    const bool is_between = in_converter->passes_ascii();
    for (std::streamsize count = 1; done != n && count != 0; done += count) {
      count = read_directly(to + done, n - done);
    }
    if (done != before) {
      keep(to + before, to + done, is_between ? source : nullptr);
    }
  }
  return done == n ? n : done + std::basic_streambuf<From, FromTraits>::xsgetn(to + done, n - done);
}

/// Makes a get area behind a direct read of [begin, end), so that one can step back as far as after a refill. Nearly
/// nobody does: if all of it could be converted once more, from `source`, that waits until it is asked for.
template <class From, class To, class FromTraits, class ToTraits>
void streambuf_adaptorT<From, To, FromTraits, ToTraits>::keep(const From* begin, const From* end, const To* source) {
  if (source != nullptr && in_converter->passes_ascii() && end - begin <= area_size) {
    last_read_ = end[-1];
    this->setg(&last_read_, &last_read_ + 1, &last_read_ + 1);
    source_ = {source, detail::ready_in(*underlying).first};
    return;
  }
  From* const area = read_area();
  const std::ptrdiff_t kept = std::min<std::ptrdiff_t>(end - begin, block);
  FromTraits::copy(area, end - kept, static_cast<std::size_t>(kept));
  // Behind it what the converter has taken but had no room for: the buffer beneath may be at its end and not ask for
  // it.
  From* area_end = area + kept;
  const To* nothing = nullptr;
  in_converter->convert(&area_end, area + area_size, &nothing, nothing, false);
  this->setg(area, area + kept, area_end);
  source_ = {};
}

/// Makes the get area of all of a direct read, of which one unit is left to step back to. Returns whether it is there.
template <class From, class To, class FromTraits, class ToTraits>
bool streambuf_adaptorT<From, To, FromTraits, ToTraits>::convert_again() {
  const auto [from, end] = std::exchange(source_, {});
  const auto [given_begin, given_end] = detail::given_by(*underlying);
  if (from == nullptr || end != given_end || std::less<>()(from, given_begin)) {
    return false;  // Or somebody else has read there since.
  }
  From* const area = read_area();
  From* to = area;
  const To* at = from;
  // The converter is between characters before and behind it, and goes on as if nothing had been. It must not be told
  // that this is the end of the text, behind which it would take a mark for the one of another text's start.
  in_converter->convert(&to, area + area_size, &at, end, false);
  if (to - area < 2) {
    return false;
  }
  to[-1] = last_read_;  // Which may have been put back as another one.
  this->setg(area, to - 1, to);
  return true;
}

/// Converts of what the buffer beneath has ready, as much as a refill at most. Returns how much that gave: nothing also
/// if there is too little to be worth it.
template <class From, class To, class FromTraits, class ToTraits>
std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::read_directly(From* to, std::streamsize n) {
  const auto [begin, end] = ready();
  if (end - begin < block / 2) {
    return 0;
  }
  read_area();
  const To* from = begin;
  From* written = to;
  in_converter->convert(&written, to + n, &from, begin + std::min<std::ptrdiff_t>(end - begin, block), false);
  detail::skip_in(*underlying, from - begin);
  return written - to;
}

/// Before anything is removed from the buffer beneath, so that what fails here loses nothing.
template <class From, class To, class FromTraits, class ToTraits>
From* streambuf_adaptorT<From, To, FromTraits, ToTraits>::read_area() {
  if (!scratch) {
    scratch.reset(new char[areas::of_refill]);
  }
  return reinterpret_cast<From*>(scratch.get());
}

template <class From, class To, class FromTraits, class ToTraits>
auto streambuf_adaptorT<From, To, FromTraits, ToTraits>::underflow() -> int_type {
  const auto is_at_end = [this] { return ToTraits::eq_int_type(underlying->sgetc(), ToTraits::eof()); };
  read_buffer.clear();
  if (!in_converter || is_at_end()) {
    return FromTraits::eof();
  }
  read_area();
  std::streamsize left = block;
  for (;;) {
    // More than is ready would have to be waited for, while there may be a line to answer.
    const std::streamsize available = underlying->in_avail();
    const std::streamsize wanted = available > 0 ? std::min(available, left) : left;
    int_type first = FromTraits::eof();
    const std::streamsize got = read_block(wanted, first);
    left -= got;
    const bool gave_nothing = FromTraits::eq_int_type(first, FromTraits::eof()) && read_buffer.empty();
    const bool is_inside_character = gave_nothing && got == wanted && left > 0;
    if (!is_inside_character || is_at_end()) {
      return first;
    }
  }
}

/// Takes as much from the buffer beneath, or less if there is no more, and returns how much. From where it lies, if it
/// lies in memory.
template <class From, class To, class FromTraits, class ToTraits>
std::streamsize streambuf_adaptorT<From, To, FromTraits, ToTraits>::read_block(std::streamsize wanted,
                                                                               int_type& first) {
  const auto [begin, end] = ready();
  if (end - begin >= wanted) {
    detail::skip_in(*underlying, wanted);
    first = refill(begin, begin + wanted);
    return wanted;
  }
  To input[block];
  const std::streamsize got = underlying->sgetn(input, wanted);
  first = refill(input, input + got);
  return got;
}

/// Makes the get area of what the input gives. The last call of the converter alone decides whether there is any: one
/// that gives nothing is the end of the file, also after calls that gave something, which then is lost.
template <class From, class To, class FromTraits, class ToTraits>
auto streambuf_adaptorT<From, To, FromTraits, ToTraits>::refill(const To* from, const To* end) -> int_type {
  From* const begin = read_area();
  From* const limit = begin + area_size;
  for (;;) {
    From* to = begin;
    const std::size_t more = in_converter->convert(&to, limit, &from, end, false);
    if (more == 0 && to == begin) {
      return FromTraits::eof();
    }
    source_ = {};
    if (more == 0 && read_buffer.empty()) {
      this->setg(begin, begin, to);
      return FromTraits::to_int_type(*begin);
    }
    this->setg(nullptr, nullptr, nullptr);  // It lies in the storage that is about to change.
    read_buffer.insert(read_buffer.end(), begin, to);
    if (more == 0) {
      break;
    }
  }
  From* const text = read_buffer.data();
  this->setg(text, text, text + read_buffer.size());
  return FromTraits::to_int_type(*text);
}

/// Steps back within the get area, and only there.
template <class From, class To, class FromTraits, class ToTraits>
auto streambuf_adaptorT<From, To, FromTraits, ToTraits>::pbackfail(int_type c) -> int_type {
  const bool is_at_begin = this->gptr() == this->eback();  // Both null, if there is no get area.
  if (is_at_begin && !convert_again()) {
    return FromTraits::eof();
  }
  this->gbump(-1);
  if (FromTraits::eq_int_type(c, FromTraits::eof())) {
    // Within a get area the base class steps back by itself.
    return is_at_begin ? FromTraits::to_int_type(*this->gptr()) : FromTraits::eof();
  }
  *this->gptr() = FromTraits::to_char_type(c);
  return c;
}

}  // namespace foundation::core::io
