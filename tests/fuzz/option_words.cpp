// The memory manager's option string, against the rule word by word.
#include "mem/option_words.hpp"

#include "fuzzing.hpp"

#include <algorithm>
#include <array>
#include <sstream>
#include <string>

namespace {

using namespace foundation::core::mem::detail;

using states = std::array<bool, 6>;
constexpr std::string_view words[] = {"aligncheck",  "integcheck", "newhandler",
                                      "observation", "pooling",    "leaksanitizer"};
constexpr std::pair<std::string_view, states> profiles[] = {{"debug", {true, true, true, true, false, false}},
                                                            {"default", {false, false, false, false, true, false}},
                                                            {"off", {}},
                                                            {"release", {false, false, false, false, true, false}}};

/// Follows one word; returns what is to be said of it.
std::string follow(std::string_view word, bool is_first, states& on) {
  for (const auto& [name, states_of_profile] : profiles) {
    if (word == name) {
      on = is_first ? states_of_profile : on;
      return is_first ? "" : "option '" + std::string(word) + "' must be listed first";
    }
  }
  for (std::size_t i = 0; i != on.size(); ++i) {
    const bool is_no = word == "no" + std::string(words[i]);
    if (is_no || word == words[i]) {
      on = is_first ? states() : on;
      on[i] = !is_no;
      return "";
    }
  }
  return "unrecognized option '" + std::string(word) + "'";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string options(reinterpret_cast<const char*>(data), size);
  states expected = {false, false, false, false, true, false};
  std::string expected_log;
  bool is_first = true;
  std::istringstream parts(options);
  for (std::string word; std::getline(parts, word, ',');) {
    if (!word.empty()) {
      const std::string said = follow(word, is_first, expected);
      expected_log += said.empty() ? "" : "MEMORY MANAGEMENT: " + said + "\n";
      is_first = false;
    }
  }
  std::ostringstream log;
  const feature_set requested = requested_features(options, log);
  fuzzing::require(requested.size() == expected.size());
  for (const auto& [type, feature] : requested) {
    fuzzing::require(feature.is_enabled() == expected.at(type));
  }
  fuzzing::require(log.str() == expected_log);
  return 0;
}
