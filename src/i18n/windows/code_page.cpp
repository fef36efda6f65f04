// The system's code pages. Thread safety: pure functions.
//
// The system's own treatment of ill-formed bytes differs from page to page (it guesses, drops bits or inserts a default
// character), so decoding asks it to refuse them, and what it refused is taken apart character by character.
#include "code_page.hpp"

#include "encoding_names.hpp"
#include "utf_step.hpp"

#include <boost/system/system_error.hpp>
#include <boost/throw_exception.hpp>

#include <stdexcept>

#include <windows.h>

namespace fl::i18n::detail {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// The system writes and reads units of its own type, which have the same representation. Only the system's functions
// look through these pointers.
wchar_t* native(char16_t* units) {
  return reinterpret_cast<wchar_t*>(units);
}
const wchar_t* native(const char16_t* units) {
  return reinterpret_cast<const wchar_t*>(units);
}

[[noreturn]] void throw_system_error(DWORD code, const char* call, boost::source_location location) {
  boost::throw_exception(boost::system::system_error(static_cast<int>(code), boost::system::system_category(), call),
                         location);
}

int counted(std::size_t length) {
  if (length > code_page_limit) {
    boost::throw_exception(std::length_error("text too long for a conversion by the system"), BOOST_CURRENT_LOCATION);
  }
  return static_cast<int>(length);
}

bool in_range(char c, unsigned char first, unsigned char last) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= first && byte <= last;
}

/// Length in bytes that the character at the start of `bytes` has if it is well-formed. At most `bytes.size()`, which
/// is not 0.
std::size_t character_length(std::string_view bytes, unsigned page) {
  std::size_t length = 1;
  if (page == code_page::gb18030) {
    if (in_range(bytes[0], 0x81, 0xFE)) {
      length = bytes.size() > 1 && in_range(bytes[1], '0', '9') ? 4 : 2;
    }
  } else if (IsDBCSLeadByteEx(page, static_cast<BYTE>(bytes[0])) != FALSE) {
    length = 2;
  }
  return length < bytes.size() ? length : bytes.size();
}

ustring decode_with_replacement(std::string_view bytes, unsigned page) {
  ustring result;
  while (!bytes.empty()) {
    char16_t units[4];  // More than any character has.
    const std::size_t length = character_length(bytes, page);
    const int count = MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(length),
                                          native(units), static_cast<int>(std::size(units)));
    if (count > 0) {
      result.append(units, static_cast<std::size_t>(count));
    } else {
      result += static_cast<char16_t>(replacement_character);
    }
    bytes.remove_prefix(count > 0 ? length : 1);
  }
  return result;
}

}  // namespace

unsigned active_code_page() {
  return GetACP();
}

bool has_code_page(unsigned page) {
  return IsValidCodePage(page) != FALSE;
}

ustring decode_code_page(std::string_view bytes, unsigned page) {
  if (bytes.empty()) {
    return {};
  }
  // No encoding of these gives more units than it has bytes.
  const int length = counted(bytes.size());
  ustring result(bytes.size(), u'\0');
  const int count =
      MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data(), length, native(result.data()), length);
  if (count > 0) {
    result.resize(static_cast<std::size_t>(count));
    return result;
  }
  if (const DWORD error = GetLastError(); error != ERROR_NO_UNICODE_TRANSLATION) {
    throw_system_error(error, "MultiByteToWideChar", BOOST_CURRENT_LOCATION);
  }
  return decode_with_replacement(bytes, page);
}

std::string encode_code_page(const ustring& text, unsigned page) {
  if (text.empty()) {
    return {};
  }
  // GB18030 represents everything, and the system accepts no flag for it.
  const DWORD flags = page == code_page::gb18030 ? 0 : WC_NO_BEST_FIT_CHARS;
  const int length = counted(text.size());
  const auto convert = [&](char* to, int space) {
    const int count = WideCharToMultiByte(page, flags, native(text.data()), length, to, space, nullptr, nullptr);
    if (count <= 0) {
      throw_system_error(GetLastError(), "WideCharToMultiByte", BOOST_CURRENT_LOCATION);
    }
    return count;
  };
  std::string result(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
  convert(result.data(), static_cast<int>(result.size()));
  return result;
}

}  // namespace fl::i18n::detail
