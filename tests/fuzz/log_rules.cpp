// The rules of the log's environment variable, cut in a slow way, and which of them a channel goes by.
#include <foundation_log/level.hpp>

#include "environment_rules.hpp"
#include "fuzzing.hpp"
#include "pattern.hpp"

#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using namespace foundation::log;

std::string without_blanks_around(std::string text) {
  text.erase(0, text.find_first_not_of(" \t"));
  return text.erase(text.find_last_not_of(" \t") + 1);
}

/// For each beginning of the name, whether the pattern as far as it has been read matches that.
bool slowly_matches(const std::string& pattern, const std::string& name) {
  std::vector<bool> reached(name.size() + 1);
  reached[0] = true;
  for (const char c : pattern) {
    std::vector<bool> next(name.size() + 1);
    for (std::size_t at = 0; at <= name.size(); ++at) {
      next[at] = c == '*' ? reached[at] || (at != 0 && next[at - 1]) : at != 0 && reached[at - 1] && name[at - 1] == c;
    }
    reached = next;
  }
  return reached[name.size()];
}

/// A level by itself: within its bits, checks of one severity, and the same when it is written as a number.
bool is_level(const std::string& text, unsigned& word) {
  try {
    word = parse_level(text);
  } catch (const std::invalid_argument&) {
    return false;
  }
  const unsigned of_checks = word >> check_shift;
  fuzzing::require(word <= level_word_mask && (of_checks & (of_checks - 1)) == 0);
  fuzzing::require(parse_level(std::to_string(word)) == word);
  std::ostringstream parted;
  parted << " 0X" << std::hex << (word & severity_mask) << "\t: 0x" << of_checks;
  fuzzing::require(parse_level(parted.str()) == word);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  const std::string channel = in.ConsumeRandomLengthString(40), text = in.ConsumeRemainingBytesAsString();
  const environment_rules parsed = parse_environment_rules(text);
  std::size_t complaints = 0;
  unsigned expected = default_level;
  std::istringstream pairs(text);
  for (std::string part; std::getline(pairs, part, ';');) {
    const std::string pair = without_blanks_around(part);
    const std::size_t sign = pair.find('=');
    const std::string pattern = without_blanks_around(pair.substr(0, sign));
    unsigned word = 0;
    if (pair.empty()) {
      continue;
    }
    if (sign == std::string::npos || pattern.empty() || !is_level(pair.substr(sign + 1), word)) {
      fuzzing::require(parsed.complaints.at(complaints++).starts_with("QX_LOG: \"" + pair + "\" is left out: "));
      continue;
    }
    const bool is_match = slowly_matches(pattern, channel);
    fuzzing::require(matches(pattern, channel) == is_match);
    expected = is_match ? word : expected;
  }
  fuzzing::require(complaints == parsed.complaints.size());
  fuzzing::require(parsed.rules.level_of(channel) == expected);
  return 0;
}
