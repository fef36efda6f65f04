#include "mem/option_words.hpp"

#include "util/whole_text.hpp"

#include <boost/tokenizer.hpp>

#include <ostream>

namespace foundation::core::mem::detail {

namespace {

bool is_profile(const feature_set& option) {
  return option.size() == feature_types.size();
}

const char* state_to_log(bool enabled, bool requested, bool by_default) {
  if (enabled != requested) {
    return "NOT AVAILABLE";
  }
  if (enabled == by_default) {
    return nullptr;
  }
  return enabled ? "ENABLED" : "DISABLED";
}

}  // namespace

option_table make_option_table() {
  option_table table = {{"debug", profile_features(profile::debug)},
                        {"default", profile_features(profile::release)},
                        {"off", profile_features(profile::off)},
                        {"release", profile_features(profile::release)}};
  for (const auto type : feature_types) {
    const std::string word = option_word(type);
    table.emplace(word, get_features(type, true));
    table.emplace("no" + word, get_features(type, false));
  }
  return table;
}

void log_startup(std::ostream& startup_log, const boost::format& text) {
  startup_log << "MEMORY MANAGEMENT: " << text << std::endl;
}

feature_set requested_features(const std::string& options, std::ostream& startup_log) {
  const option_table table = make_option_table();
  feature_set requested = profile_features(profile::release);
  bool first = true;
  for (const std::string& word : boost::tokenizer(options, boost::char_separator<char>(","))) {
    const auto option = table.find(word);
    if (option == table.end()) {
      log_startup(startup_log, util::filled("unrecognized option '%1%'", word));
    } else if (!first && is_profile(option->second)) {
      log_startup(startup_log, util::filled("option '%1%' must be listed first", word));
    } else {
      if (first) {
        merge_features(requested, profile_features(profile::off));  // A profile sets all six anyhow.
      }
      merge_features(requested, option->second);
    }
    first = false;  // Also behind a word that is not known.
  }
  return requested;
}

void report_features(const feature_set& features, const feature_set& requested, std::ostream& startup_log) {
  const feature_set defaults = profile_features(profile::release);
  for (const auto& [type, feature] : features) {
    if (const char* const state =
            state_to_log(feature.is_enabled(), requested.at(type).is_enabled(), defaults.at(type).is_enabled())) {
      log_startup(startup_log, util::filled("%1% is %2%", feature.get_name(), state));
    }
  }
}

}  // namespace foundation::core::mem::detail
