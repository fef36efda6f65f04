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
  const struct {
    const char* options;
    outcome expected;
  } cases[] = {
      {"", {"000010", ""}},
      {",,debug", {"111100", ""}},
      {"off", {"000000", ""}},
      {"default", {"000010", ""}},
      {"aligncheck", {"100000", ""}},
      {"noaligncheck", {"000000", ""}},
      {"release,aligncheck", {"100010", ""}},
      {"aligncheck,noaligncheck", {"000000", ""}},
      {"leaksanitizer,pooling", {"000011", ""}},
      {"debug,noobservation,nonewhandler,pooling,", {"110010", ""}},
      {"bogus,debug", {"000010", line("unrecognized option 'bogus'") + line("option 'debug' must be listed first")}},
      {"bogus,aligncheck", {"100010", line("unrecognized option 'bogus'")}},
      {"debug,debug", {"111100", line("option 'debug' must be listed first")}},
      {"debug, pooling", {"111100", line("unrecognized option ' pooling'")}},
      {"DEBUG", {"000010", line("unrecognized option 'DEBUG'")}},
      {"%1%;%", {"000010", line("unrecognized option '%1%;%'")}},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(parsed(each.options), each.expected) << each.options;
    EXPECT_EQ(slowly_parsed(each.options), each.expected) << "the reference, of " << each.options;
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
  EXPECT_EQ(states(table.at("debug")) + states(table.at("default")) + states(table.at("off")), "111100000010000000");
  EXPECT_EQ(states(table.at("release")), "000010");
  for (const auto which : feature_types) {
    const feature_set& on = table.at(words[which]);
    const feature_set& off = table.at("no" + words[which]);
    EXPECT_EQ(states(on) + states(off), "10");
    EXPECT_TRUE(on.count(which) == 1 && off.count(which) == 1) << words[which];
  }
}

TEST(FeatureSet, MergingPutsTheSourceOverTheDestination) {
  for (unsigned before = 0; before != 64; ++before)
    for (const auto which : feature_types)
      for (const bool on : {false, true}) {
        std::string expected;
        for (const auto each : feature_types)
          expected += (before >> each & 1) != 0 ? '1' : '0';
        feature_set merged = set_of(expected);
        merge_features(merged, get_features(which, on));
        expected[which] = on ? '1' : '0';
        ASSERT_EQ(states(merged), expected);
        feature_set empty;
        merge_features(empty, merged);
        ASSERT_EQ(states(empty), expected);
      }
}

TEST(FeatureSet, KnowsNoSeventhType) {
  const auto seventh = static_cast<type>(6);
  EXPECT_TRUE(get_features(seventh, true).empty());
  EXPECT_EQ(feature_impl(seventh, true).get_name(), "");
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
