// Thread safety: as in the header.
#include "codec/find_encoding.hpp"

#include <i18n/errors.hpp>

#include "codec/encoding_table.hpp"
#include "codec/page_encodings.hpp"

#include <boost/throw_exception.hpp>

#include <algorithm>
#include <string>

namespace fl::i18n::detail {
namespace {

constexpr std::string_view active_name = "SYSTEM";

/// Before the number of a code page, as in IBM850, cp850, windows-1252, ms932.
constexpr std::string_view number_prefixes[] = {"ccsid", "cp", "ibm", "ms", "windows"};

/// The text says the name. `problem` stands before it.
[[noreturn]] void throw_unknown(const std::string& problem, std::string_view name, boost::source_location location) {
  boost::throw_exception(unknown_encoding(problem + " \"" + std::string(name) + "\""), location);
}

/// As the table has names.
std::string normalised(std::string_view name) {
  constexpr std::string_view ignored = "-_.: ";
  std::string result;
  for (const char c : name) {
    if (ignored.find(c) == std::string_view::npos) {
      result += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
  }
  return result;
}

/// The digits that `name` is, or is behind a prefix, as the table has numbers; empty if it is none.
std::string_view number_in(std::string_view name) {
  for (const std::string_view prefix : number_prefixes) {
    if (name.substr(0, prefix.size()) == prefix) {
      name.remove_prefix(prefix.size());
      break;
    }
  }
  if (name.find_first_not_of("0123456789") != std::string_view::npos) {
    return {};
  }
  return name.substr(std::min(name.find_first_not_of('0'), name.size()));
}

const encoding_row* find_normalised(std::string_view name) {
  const encoding_row* const found = find_row(name);
  return found != nullptr ? found : find_row(number_in(name));
}

/// Null if the name is unknown.
const encoding_row* find_named(std::string_view name) {
  const std::string key = normalised(name);
  const encoding_row* const found = find_normalised(key);
  if (found != nullptr || key.substr(0, 2) != "cs") {
    return found;
  }
  // Most registered names have an alias of their own that begins with "cs".
  return find_normalised(std::string_view(key).substr(2));
}

}  // namespace

text_encoding find_encoding(std::string_view name) {
  const encoding_row* const found = find_named(name);
  if (found == nullptr) {
    throw_unknown("unknown encoding", name, BOOST_CURRENT_LOCATION);
  }
  try {
    return encoding_of(*found);
  } catch (const missing_code_page&) {
    throw_unknown("this system has no code page for the encoding", name, BOOST_CURRENT_LOCATION);
  }
}

text_encoding active_encoding() {
  return find_encoding(active_name);
}

}  // namespace fl::i18n::detail
