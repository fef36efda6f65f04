// The memory manager's option string, from its words to the features and the lines of the start-up log.
#include "mem/option_words.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace foundation::core::mem::detail;
using foundation::core::mem::manager;
using type = manager::feature::type;

const std::vector<std::string> words = {"aligncheck",  "integcheck", "newhandler",
                                        "observation", "pooling",    "leaksanitizer"};
const std::vector<std::string> names = {
    "alignment_checking", "integrity_checking", "new_handler", "observation", "pooling", "leak_sanitizer"};

/// '1' for each feature that is on, '0' for off, in ascending order; fewer than six if the set has fewer.
std::string states(const feature_set& set) {
  std::string made;
  for (const auto& [key, feature] : set) {
    EXPECT_EQ(feature.get_type(), key);
    EXPECT_EQ(static_cast<bool>(feature), feature.is_enabled());
    EXPECT_EQ(feature.get_name(), names.at(key));
    made += feature ? '1' : '0';
  }
  return made;
}

feature_set set_of(const std::string& states) {
  feature_set made;
  for (const auto which : feature_types) {
    made.emplace(which, feature_impl(which, states[which] == '1'));
  }
  return made;
}

/// The features' states and the log.
std::string parsed(const std::string& options) {
  std::ostringstream log;
  const feature_set requested = requested_features(options, log);
  return states(requested) + "\n" + log.str();
}

std::string line(const std::string& text) {
  return "MEMORY MANAGEMENT: " + text + "\n";
}

std::string unknown(const std::string& word) {
  return line("unrecognized option '" + word + "'");
}

TEST(MemOptions, KnownStringsGiveTheirFeaturesAndLines) {
  const std::pair<const char*, std::string> cases[] = {
      {"", "000010\n"},
      {",,debug", "111100\n"},
      {"noaligncheck", "000000\n"},
      {"pooling,integcheck", "010010\n"},
      {"release,aligncheck", "100010\n"},
      {"debug,noobservation,pooling,nopooling,", "111000\n"},
      {"bogus,off", "000010\n" + unknown("bogus") + line("option 'off' must be listed first")},
      {"nodebug,Pooling,pooling ", "000010\n" + unknown("nodebug") + unknown("Pooling") + unknown("pooling ")},
      {"%1%, off", "000010\n" + unknown("%1%") + unknown(" off")},
  };
  for (const auto& [options, expected] : cases) {
    EXPECT_EQ(parsed(options), expected) << options;
  }
}

TEST(MemOptions, TheTableHasAWordForEachProfileAndTwoForEachFeature) {
  const option_table table = make_option_table();
  EXPECT_EQ(table.size(), 16u);
  for (const auto which : feature_types) {
    EXPECT_TRUE(table.at(words[which]).at(which) && !table.at("no" + words[which]).at(which)) << words[which];
  }
  EXPECT_TRUE(get_features(static_cast<type>(6), true).empty());
  EXPECT_EQ(feature_impl(static_cast<type>(6), true).get_name(), "");
}

TEST(StartupLog, TellsWhatIsNotAvailableAndWhatDiffersFromTheReleaseProfile) {
  for (unsigned bits = 0; bits != 4096; ++bits) {
    std::string requested, in_force, expected;
    for (const auto which : feature_types) {
      requested += (bits >> which & 1) != 0 ? '1' : '0';
      in_force += (bits >> which >> 6 & 1) != 0 ? '1' : '0';
      if (requested[which] != in_force[which]) {
        expected += line(names[which] + " is NOT AVAILABLE");
      } else if (in_force[which] != "000010"[which]) {
        expected += line(names[which] + (in_force[which] == '1' ? " is ENABLED" : " is DISABLED"));
      }
    }
    std::ostringstream log;
    report_features(set_of(in_force), set_of(requested), log);
    ASSERT_EQ(log.str(), expected) << requested << " " << in_force;
  }
}

}  // namespace
