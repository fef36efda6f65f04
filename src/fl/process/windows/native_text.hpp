// Text of the process interface on its way to the system and back. It is UTF-8 there, whatever the active code page is;
// the system's narrow calls read that code page. Which form of a call a text goes to is decided here, and only here.
// Text that is not valid UTF-8 is read in the active code page, as the narrow calls would: programs that pass on such
// text, from the C run-time for instance, go on working. Only what a creating call needs, or is merged into another
// user's environment, must be UTF-8. Pure functions.
#pragma once

#include <fl/process/environment_map.hpp>

#include <initializer_list>
#include <string>
#include <string_view>

namespace foundation::core::sysdep::windows {

/// Whether the narrow calls of the system read each of these texts as what it says, byte for byte: all is ASCII, or
/// the active code page is UTF-8. Otherwise the wide ones are to be called, with `to_native`.
bool fits_narrow_calls(std::initializer_list<std::string_view> texts);

/// The same for all names and values of an environment.
bool fits_narrow_calls(const process::environment_map& environment);

/// The text in the system's UTF-16. No copy is left behind, so that who passes a secret can wipe it. Throws
/// boost::numeric::bad_numeric_cast for more than 2 GB.
std::wstring to_native(std::string_view text);

/// The same for text that must be UTF-8. Throws std::range_error "bad conversion" if it is not.
std::wstring utf8_to_native(std::string_view text);

/// The system's text in UTF-8. A lone surrogate, which a file's name may hold, becomes U+FFFD.
std::string from_native(std::wstring_view text);

/// `to_native` in the units of the rules that are free of the system.
std::u16string to_utf16(std::string_view text);

/// `utf8_to_native` in these units.
std::u16string utf8_to_utf16(std::string_view text);

/// One unit in upper case, as the C run-time has it.
char16_t to_upper(char16_t unit);

}  // namespace foundation::core::sysdep::windows
