// The system's code pages. Thread safety: pure functions.
//
// Only the mapping of well-formed characters comes from the system. Its treatment of ill-formed bytes differs from
// page to page: it guesses, drops bits or inserts a default character.
#include "codec/code_page.hpp"

#include "common/windows/system_error.hpp"

#include <windows.h>

namespace fl::i18n::detail {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

using foundation::core::sysdep::windows::throw_system_error;

/// Converts `count` characters of one unit each into `units`. Returns false if one of them is none.
bool read_characters(unsigned page, const std::string& bytes, std::size_t count, char16_t* units) {
  const int converted = MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()),
                                            reinterpret_cast<wchar_t*>(units), static_cast<int>(count));
  if (converted == 0) {
    // Too little room is what the system says where a pair gives two units.
    const DWORD error = GetLastError();
    if (error != ERROR_NO_UNICODE_TRANSLATION && error != ERROR_INSUFFICIENT_BUFFER) {
      throw_system_error(error, "MultiByteToWideChar", BOOST_CURRENT_LOCATION);
    }
  }
  return static_cast<std::size_t>(converted) == count;
}

/// Fills the part [first, end) of a lead byte's row: at once if there is a character for each second byte, or by
/// halves.
void read_row(unsigned page, unsigned char lead, std::size_t first, std::size_t end, char16_t* row) {
  std::string pairs;
  for (std::size_t trail = first; trail != end; ++trail) {
    pairs += static_cast<char>(lead);
    pairs += static_cast<char>(trail);
  }
  if (read_characters(page, pairs, end - first, row + first)) {
    return;
  }
  if (end - first == 1) {
    row[first] = code_page_table::no_character;
    return;
  }
  const std::size_t middle = first + (end - first) / 2;
  read_row(page, lead, first, middle, row);
  read_row(page, lead, middle, end, row);
}

bool is_lead_byte(const CPINFO& info, std::size_t byte) {
  for (const BYTE* range = info.LeadByte; range != info.LeadByte + MAX_LEADBYTES && range[0] != 0; range += 2) {
    if (byte >= range[0] && byte <= range[1]) {
      return true;
    }
  }
  return false;
}

void read_units(unsigned page, const CPINFO& info, code_page_table& table) {
  constexpr std::size_t first_trail = 0x20;  // No encoding has control characters for second bytes.
  for (std::size_t byte = 0; byte != code_page_table::row_size; ++byte) {
    if (is_lead_byte(info, byte)) {
      const auto lead = static_cast<unsigned char>(byte);
      read_row(page, lead, first_trail, code_page_table::row_size, table.add_row(lead));
    } else if (!read_characters(page, std::string(1, static_cast<char>(byte)), 1, &table.units[byte])) {
      table.units[byte] = code_page_table::no_character;
    }
  }
}

bool is_surrogate(std::size_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

/// All units but surrogates in the code page, each with a zero behind it, which shows how many bytes it has.
std::string encode_all(unsigned page) {
  std::wstring units;
  for (std::size_t unit = 0; unit != code_page_table::unit_count; ++unit) {
    if (!is_surrogate(unit)) {
      units += static_cast<wchar_t>(unit);
      units += L'\0';
    }
  }
  std::string bytes(units.size() * 2, '\0');
  const int length = WideCharToMultiByte(page, WC_NO_BEST_FIT_CHARS, units.data(), static_cast<int>(units.size()),
                                         bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
  if (length <= 0) {
    throw_system_error(GetLastError(), "WideCharToMultiByte", BOOST_CURRENT_LOCATION);
  }
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

/// The byte or both bytes at `from`, which a zero follows, as `code_page_table::codes` has them. Moves behind the zero.
std::uint16_t next_code(const char*& from) {
  auto code = static_cast<std::uint16_t>(static_cast<unsigned char>(*from++));
  if (*from != '\0') {
    code = static_cast<std::uint16_t>(code << 8 | static_cast<unsigned char>(*from++));
  }
  ++from;
  return code;
}

/// A unit that is not in the page gets the code of the default character, until `drop_codes_that_do_not_come_back`.
void read_codes(unsigned page, const CPINFO& info, code_page_table& table) {
  const unsigned char* const fallback = info.DefaultChar;
  table.default_character.assign(reinterpret_cast<const char*>(fallback), fallback[1] == 0 ? 1 : 2);
  const std::string bytes = encode_all(page);
  const char* from = bytes.data();
  for (std::size_t unit = 0; unit != code_page_table::unit_count; ++unit) {
    if (!is_surrogate(unit)) {
      table.codes[unit] = next_code(from);
    }
  }
}

}  // namespace

unsigned active_code_page() {
  return GetACP();
}

bool has_code_page(unsigned page) {
  return IsValidCodePage(page) != FALSE;
}

code_page_table read_code_page(unsigned page) {
  CPINFO info{};
  if (GetCPInfo(page, &info) == FALSE) {
    throw_system_error(GetLastError(), "GetCPInfo", BOOST_CURRENT_LOCATION);
  }
  code_page_table table;
  read_units(page, info, table);
  read_codes(page, info, table);
  // A byte of a page that stands for nothing may still be what the system makes of some private character.
  table.drop_codes_that_do_not_come_back();
  return table;
}

}  // namespace fl::i18n::detail
