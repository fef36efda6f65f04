#include "catalog/language_tag.hpp"

#include <boost/throw_exception.hpp>

#include <algorithm>
#include <stdexcept>

namespace fl::i18n::detail {
namespace {

constexpr const char* last_resort = "en";

bool is_capital(char c) {
  return c >= 'A' && c <= 'Z';
}
bool is_small(char c) {
  return c >= 'a' && c <= 'z';
}
char small(char c) {
  return is_capital(c) ? static_cast<char>(c - 'A' + 'a') : c;
}
char capital(char c) {
  return is_small(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

bool is_tag(std::string_view text) {
  const auto fits = [](char c) { return is_capital(c) || is_small(c) || (c >= '0' && c <= '9') || c == '-'; };
  return !text.empty() && std::all_of(text.begin(), text.end(), fits) && text.front() != '-' && text.back() != '-' &&
         text.find("--") == std::string_view::npos;
}

/// How many letters of a region (two letters) or a script (four) are capitals in usual writing.
std::size_t capitals_in(std::string_view part) {
  return part.size() == 2 ? 2 : part.size() == 4 ? 1 : 0;
}

}  // namespace

std::string canonical_tag(std::string_view tag) {
  if (!is_tag(tag)) {
    boost::throw_exception(
        std::invalid_argument("\"" + std::string(tag) +
                              "\" is no language tag: letters and digits in parts separated by \"-\" "
                              "are expected, such as de-AT"),
        BOOST_CURRENT_LOCATION);
  }
  std::string result;
  bool ordinary = false;  // A region or script may come: not first, nor anywhere behind a single letter.
  for (std::size_t begin = 0; begin < tag.size(); begin = result.size() + 1) {
    const std::string_view part = tag.substr(begin, tag.find('-', begin) - begin);
    const std::size_t capitals = ordinary ? capitals_in(part) : 0;
    if (begin != 0) {
      result += '-';
    }
    for (std::size_t index = 0; index != part.size(); ++index) {
      result += index < capitals ? capital(part[index]) : small(part[index]);
    }
    ordinary = (begin == 0 || ordinary) && part.size() != 1;
  }
  return result;
}

std::string tag_of_locale(std::string_view name) {
  const std::string_view tag = name.substr(0, name.find('_'));
  return is_tag(tag) ? canonical_tag(tag) : last_resort;
}

std::vector<std::string> fallback_chain(const std::string& tag) {
  std::vector<std::string> chain;
  for (std::size_t length = tag.size(); length != std::string::npos; length = tag.rfind('-', length - 1)) {
    const bool ends_with_single = length == 1 || tag[length - 2] == '-';
    if (!ends_with_single || length == tag.size()) {
      chain.push_back(tag.substr(0, length));
    }
  }
  if (chain.back() != last_resort) {
    chain.emplace_back(last_resort);
  }
  return chain;
}

}  // namespace fl::i18n::detail
