// The memory manager's option string, from its words to the features and the lines of the start-up log.
#include "mem/option_words.hpp"

#include "every_test.hpp"

namespace {

using namespace foundation::core::mem::detail;

constexpr const char* words[] = {"aligncheck", "integcheck", "newhandler", "observation", "pooling", "leaksanitizer"};
constexpr const char* names[] = {"alignment_checking", "integrity_checking", "new_handler", "observation", "pooling",
                                 "leak_sanitizer"};

/// The features' states, '1' for on and '0' for off, in ascending order, and the log.
std::string parsed(const std::string& options) {
  std::ostringstream log;
  std::string states;
  for (const auto& [key, feature] : requested_features(options, log)) {
    EXPECT_EQ(feature.get_type(), key);
    EXPECT_EQ(static_cast<bool>(feature), feature.is_enabled());
    EXPECT_EQ(feature.get_name(), names[key]);
    states += feature ? '1' : '0';
  }
  return states + "\n" + log.str();
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

TEST(MemOptions, EachFeatureHasAWordThatSwitchesItOnAndOneThatSwitchesItOff) {
  EXPECT_EQ(make_option_table().size(), 16u);
  for (const auto which : feature_types) {
    const std::string word = words[which], none = "000000\n";
    std::string only = none;
    only[which] = '1';
    EXPECT_EQ(parsed(word), only);
    EXPECT_EQ(parsed("off,no" + word), none);
    EXPECT_EQ(parsed(word + ",no" + word), none);
  }
}

}  // namespace
