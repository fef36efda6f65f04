// The memory manager's option string, from its words to the features and the lines of the start-up log.
#include "mem/options.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "seeded_random.hpp"

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
  for (const auto which : feature_types)
    made.emplace(which, feature_impl(which, states[which] == '1'));
  return made;
}

struct outcome {
  std::string states, log;
  bool operator==(const outcome&) const = default;
};

std::ostream& operator<<(std::ostream& os, const outcome& what) {
  return os << what.states << "\n" << what.log;
}

outcome parsed(const std::string& options) {
  std::ostringstream log;
  const feature_set requested = requested_features(options, log);
  return {states(requested), log.str()};
}

std::string line(const std::string& text) {
  return "MEMORY MANAGEMENT: " + text + "\n";
}

// The rules once more, without any table of options.
outcome slowly_parsed(const std::string& options) {
  outcome made{"000010", ""};
  bool first = true;
  std::istringstream list(options);
  for (std::string word; std::getline(list, word, ',');) {
    if (word.empty())
      continue;
    const bool negated = word.starts_with("no");
    const auto found = std::find(words.begin(), words.end(), negated ? word.substr(2) : word);
    if (word == "debug" || word == "default" || word == "off" || word == "release") {
      if (first)
        made.states = word == "debug" ? "111100" : word == "off" ? "000000" : "000010";
      else
        made.log += line("option '" + word + "' must be listed first");
    } else if (found == words.end()) {
      made.log += line("unrecognized option '" + word + "'");
    } else {
      if (first)
        made.states = "000000";
      made.states[static_cast<std::size_t>(found - words.begin())] = negated ? '0' : '1';
    }
    first = false;
  }
  return made;
}

TEST(MemOptions, KnownStringsGiveTheirFeaturesAndLines) {
  const std::pair<const char*, outcome> cases[] = {
      {"", {"000010", ""}},
      {",,debug", {"111100", ""}},
      {"noaligncheck", {"000000", ""}},
      {"release,aligncheck", {"100010", ""}},
      {"debug,noobservation,pooling,nopooling,", {"111000", ""}},
      {"bogus,off", {"000010", line("unrecognized option 'bogus'") + line("option 'off' must be listed first")}},
      {"%1%, off", {"000010", line("unrecognized option '%1%'") + line("unrecognized option ' off'")}},
  };
  for (const auto& [options, expected] : cases) {
    EXPECT_EQ(parsed(options), expected) << options;
    EXPECT_EQ(slowly_parsed(options), expected) << "the reference, of " << options;
  }
}

TEST(MemOptions, RandomStringsAreReadAsTheRulesSay) {
  test_support::seeded_random random;
  std::vector<std::string> pieces = {"debug", "default", "off",     "release", "",         "",  "no",
                                     "bogus", " debug",  "nodebug", "Pooling", "pooling ", "%s"};
  for (const auto& word : words)
    pieces.insert(pieces.end(), {word, "no" + word, word});
  for (int round = 0; round != 20000; ++round) {
    std::string options;
    for (auto left = random.below(7); left != 0; --left)
      options += random.pick(pieces) + ",";
    if (random.chance(50))
      options += random.pick(pieces);
    ASSERT_EQ(parsed(options), slowly_parsed(options)) << options;
  }
}

TEST(MemOptions, TheTableHasAWordForEachProfileAndTwoForEachFeature) {
  const option_table table = make_option_table();
  EXPECT_EQ(table.size(), 16u);
  for (const auto which : feature_types)
    EXPECT_TRUE(table.at(words[which]).at(which) && !table.at("no" + words[which]).at(which)) << words[which];
  EXPECT_TRUE(get_features(static_cast<type>(6), true).empty());
  EXPECT_EQ(feature_impl(static_cast<type>(6), true).get_name(), "");
}

TEST(FeatureSet, MergingPutsTheSourceOverTheDestination) {
  feature_set merged = profile_features(profile::debug);
  merge_features(merged, {});
  merge_features(merged, get_features(type::pooling, true));
  merge_features(merged, get_features(type::new_handler, false));
  EXPECT_EQ(states(merged), "110110");
  feature_set empty;
  merge_features(empty, merged);
  EXPECT_EQ(states(empty), "110110");
  merge_features(empty, profile_features(profile::release));
  EXPECT_EQ(states(empty), "000010");
}

TEST(StartupLog, TellsWhatIsNotAvailableAndWhatDiffersFromTheReleaseProfile) {
  for (unsigned bits = 0; bits != 4096; ++bits) {
    std::string requested, in_force, expected;
    for (const auto which : feature_types) {
      requested += (bits >> which & 1) != 0 ? '1' : '0';
      in_force += (bits >> which >> 6 & 1) != 0 ? '1' : '0';
      if (requested[which] != in_force[which])
        expected += line(names[which] + " is NOT AVAILABLE");
      else if (in_force[which] != "000010"[which])
        expected += line(names[which] + (in_force[which] == '1' ? " is ENABLED" : " is DISABLED"));
    }
    std::ostringstream log;
    report_features(set_of(in_force), set_of(requested), log);
    ASSERT_EQ(log.str(), expected) << requested << " " << in_force;
  }
}

}  // namespace
