#include "codec/kernel.hpp"

#include <simdutf.h>

#include <atomic>
#include <cstring>

namespace fl::i18n::detail::kernel {
namespace {

struct choice {
  const simdutf::implementation* functions;  ///< not null
  std::size_t least;                         ///< fewer units take less time step by step
};

choice choice_of(const simdutf::implementation* functions) {
  // The one that masks what lies beyond the end is quick with a few units, too.
  return {functions, functions->name() == "icelake" ? least : 64};
}

// Two threads that meet here store the same.
constinit std::atomic<const simdutf::implementation*> chosen_functions = nullptr;
constinit std::atomic<std::size_t> chosen_least = 0;

choice choose(choice taken) noexcept {
  chosen_least.store(taken.least, std::memory_order_relaxed);
  chosen_functions.store(taken.functions, std::memory_order_release);
  return taken;
}

[[gnu::noinline, gnu::cold]] choice choose_best() noexcept {
  // Not simdutf's own choice, which a variable of the environment can replace by nothing at all.
  return choose(choice_of(simdutf::get_available_implementations().detect_best_supported()));
}

inline choice chosen() noexcept {
  const simdutf::implementation* const functions = chosen_functions.load(std::memory_order_acquire);
  return functions != nullptr ? choice{functions, chosen_least.load(std::memory_order_relaxed)} : choose_best();
}

/// `convert(functions)` tells how far it came, `length(functions, count)` what so many units of input give.
template <class Convert, class Length>
outcome convert_well_formed(std::size_t count, Convert convert, Length length) noexcept {
  const auto [functions, fewest] = chosen();
  if (count < fewest) {
    return {0, 0};
  }
  const simdutf::result done = convert(*functions);
  if (done.error == simdutf::SUCCESS) {
    return {count, done.count};
  }
  return {done.count, done.count == 0 ? 0 : length(*functions, done.count)};
}

constexpr auto same = [](const auto&, std::size_t count) { return count; };

}  // namespace

outcome utf8_to_utf16(const char* from, std::size_t count, char16_t* to) noexcept {
  return convert_well_formed(
      count, [=](const auto& functions) { return functions.convert_utf8_to_utf16le_with_errors(from, count, to); },
      [=](const auto& functions, std::size_t size) { return functions.utf16_length_from_utf8(from, size); });
}

outcome utf16_to_utf8(const char16_t* from, std::size_t count, char* to) noexcept {
  return convert_well_formed(
      count, [=](const auto& functions) { return functions.convert_utf16le_to_utf8_with_errors(from, count, to); },
      [=](const auto& functions, std::size_t size) { return functions.utf8_length_from_utf16le(from, size); });
}

outcome utf16_to_latin1(const char16_t* from, std::size_t count, char* to) noexcept {
  return convert_well_formed(
      count, [=](const auto& functions) { return functions.convert_utf16le_to_latin1_with_errors(from, count, to); },
      same);
}

outcome latin1_to_utf16(const char* from, std::size_t count, char16_t* to) noexcept {
  return {count, chosen().functions->convert_latin1_to_utf16le(from, count, to)};
}

outcome utf16_to_utf16(const char16_t* from, std::size_t count, char16_t* to) noexcept {
  const outcome done = convert_well_formed(
      count, [=](const auto& functions) { return functions.validate_utf16le_with_errors(from, count); }, same);
  std::memcpy(to, from, done.used * sizeof *to);
  return {done.used, done.used};
}

outcome utf16_to_utf16_big(const char16_t* from, std::size_t count, char16_t* to) noexcept {
  const outcome done = convert_well_formed(
      count, [=](const auto& functions) { return functions.validate_utf16le_with_errors(from, count); }, same);
  chosen().functions->change_endianness_utf16(from, done.used, to);
  return {done.used, done.used};
}

outcome utf16_big_to_utf16(const char16_t* from, std::size_t count, char16_t* to) noexcept {
  const outcome done = convert_well_formed(
      count, [=](const auto& functions) { return functions.validate_utf16be_with_errors(from, count); }, same);
  chosen().functions->change_endianness_utf16(from, done.used, to);
  return {done.used, done.used};
}

outcome utf32_to_utf16(const char32_t* from, std::size_t count, char16_t* to) noexcept {
  return convert_well_formed(
      count, [=](const auto& functions) { return functions.convert_utf32_to_utf16le_with_errors(from, count, to); },
      [=](const auto& functions, std::size_t size) { return functions.utf16_length_from_utf32(from, size); });
}

outcome utf16_to_utf32(const char16_t* from, std::size_t count, char32_t* to) noexcept {
  return convert_well_formed(
      count, [=](const auto& functions) { return functions.convert_utf16le_to_utf32_with_errors(from, count, to); },
      [=](const auto& functions, std::size_t size) { return functions.utf32_length_from_utf16le(from, size); });
}

std::size_t utf16_length(const char* utf8, std::size_t count) noexcept {
  return chosen().functions->utf16_length_from_utf8(utf8, count);
}

std::size_t utf8_length(const char16_t* utf16, std::size_t count) noexcept {
  return chosen().functions->utf8_length_from_utf16le(utf16, count);
}

void use(std::size_t turn) noexcept {
  const auto& all = simdutf::get_available_implementations();
  const auto count = static_cast<std::size_t>(all.end() - all.begin());
  // The last one needs nothing of the processor.
  const simdutf::implementation* functions = all.begin()[turn % count];
  if (!functions->supported_by_runtime_system()) {
    functions = all.begin()[count - 1];
  }
  choose(turn / count % 2 == 0 ? choice{functions, least} : choice_of(functions));
}

}  // namespace fl::i18n::detail::kernel
