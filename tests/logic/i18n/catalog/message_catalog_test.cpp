// Which catalogs are searched for a message, when their files are read, and what is said of those that cannot be.
// Directories cannot be taken away again, so each test has catalogs of its own.
#include <i18n/message_catalog.hpp>

#include "catalog/message_platform.hpp"
#include "catalog/message_store.hpp"
#include "every_test.hpp"
#include "host/message_platform.hpp"

#include <future>

namespace {

using fl::ustring;
using fl::i18n::MessageCatalog;
using namespace testing;
using test_support::messages;

// Before the first use of the library.
const bool has_path = (messages().path = u"first;;second/", true);

ustring text(const char* catalog, const char* mnemonic) {
  return MessageCatalog::get_message({catalog, mnemonic, {std::int64_t{5}, "\xC3\xBC", u"\u4E2D"}});
}

TEST(MessageCatalog, TakesEachMessageFromTheNearestLanguageAndInItFromTheNewestDirectory) {
  messages().files.insert({
      {u"older\\de-AT\\ORDER.x.json", R"({"a": "J\u00e4nner {0}"})"},
      {u"newer\\de\\ORDER.x.json", R"({"a": "newer", "b": "newer"})"},
      {u"older\\de\\ORDER.x.json", R"({"a": "older", "b": "older", "c": "older"})"},
      {u"first\\de\\ORDER.x.json", R"({"b": "first", "c": "first", "d": "first"})"},
      {u"second/de\\ORDER.x.json", "{\"d\": \"second\", \"e\": \"\xE2\x82\xAC {0}: {1}, {2}\"}"},
      {u"newer\\en\\ORDER.x.json", R"({"a": "English", "e": "English", "f": "only {0}"})"},
  });
  MessageCatalog::add_directory(u"older");
  MessageCatalog::add_directory(u"newer");
  MessageCatalog::set_language("DE-at");
  ustring all;
  for (const char* const mnemonic : {"a", "b", "c", "d", "e", "f"}) {
    all += text("ORDER:x", mnemonic) + u'|';
  }
  EXPECT_EQ(all, u"J\u00E4nner 5|newer|older|first|\u20AC 5: \u00FC, \u4E2D|only 5|");
  MessageCatalog::add_directory(u"older");
  EXPECT_EQ(text("ORDER:x", "b"), u"older");
  for (const ustring& none : {ustring(), ustring(u"a\0b", 3)}) {
    EXPECT_THROW(MessageCatalog::add_directory(none), std::invalid_argument);
  }
  EXPECT_THROW(MessageCatalog::set_language("../de"), std::invalid_argument);
  EXPECT_EQ(MessageCatalog::language(), "de-AT");
  messages().language = "pt-BR";
  MessageCatalog::set_language("");
  EXPECT_EQ(MessageCatalog::language(), "pt-BR");
  EXPECT_EQ(text("ORDER:x", "a"), u"English");
}

TEST(MessageCatalog, AMissingMessageSaysWhatWasTriedAndABadFileWhatIsWrong) {
  MessageCatalog::add_directory(u"own");
  MessageCatalog::add_directory(u"own");
  MessageCatalog::set_language("de-AT");
  using fl::i18n::missing_message;
  const auto says = AllOf(
      StartsWith(
          "no message \"name\" in the catalog \"NO:such\": languages tried: de-AT, de, en; directories tried: own, "),
      Not(HasSubstr(", own")), HasSubstr(", first, second/"));
  EXPECT_THAT([] { text("NO:such", "name"); },
              Throws<missing_message>(AllOf(Property(&missing_message::catalog, "NO:such"),
                                            Property(&missing_message::mnemonic, "name"),
                                            Property(&missing_message::what, says))));
  messages().reads = 0;
  EXPECT_THAT([] { text("..\\X", "a"); }, ThrowsMessage<missing_message>(HasSubstr("no catalog can have that name")));
  EXPECT_EQ(messages().reads, 0);
  messages().files[u"own\\de\\BAD.json"] = "{\n\"a\": 1}";
  EXPECT_THAT([] { text("BAD", "a"); }, ThrowsMessage<fl::i18n::bad_catalog>(StartsWith(
                                            "the message catalog own\\de\\BAD.json cannot be used: line 2, column ")));
  messages().files[u"own\\de\\BAD.json"] = R"({"a": "mended"})";
  EXPECT_EQ(text("BAD", "a"), u"mended");
}

TEST(MessageCatalog, TextsInMemoryComeAfterAllFilesOfTheirLanguageAndBeforeThatToFallBackOn) {
  MessageCatalog::add_directory(u"disk");
  MessageCatalog::set_language("de-AT");
  messages().files[u"disk\\de\\OWN.x.json"] = R"({"a": "mended"})";
  messages().files[u"disk\\en\\OWN.x.json"] = R"({"b": "English", "d": "English"})";
  MessageCatalog::add_catalog("en", "OWN:x", R"({"d": "in memory", "e": "in memory"})");
  MessageCatalog::add_catalog("DE", "OWN:x", "\xEF\xBB\xBF{\"a\": \"in memory\", \"b\": \"older\", \"c\": \"{0}\"}");
  MessageCatalog::add_catalog("de", "OWN:x", R"({"b": "newer"})");
  const std::tuple<const char*, const char*, const char*> refused[] = {
      {"", "OWN:x", "{}"}, {"../de", "OWN:x", "{}"}, {"de", "OWN.x", "{}"}};
  for (const auto& [language, catalog, json] : refused) {
    EXPECT_THROW(MessageCatalog::add_catalog(language, catalog, json), std::invalid_argument) << language << catalog;
  }
  EXPECT_THAT([] { MessageCatalog::add_catalog("de", "OWN:x", "{\"c\": \"lost\",\n\"b\": 1}"); },
              ThrowsMessage<fl::i18n::bad_catalog>(
                  StartsWith("the message catalog de\\OWN.x.json (in memory) cannot be used: line 2, column ")));
  for (int round = 0; round != 2; ++round) {
    ustring all;
    for (const char* const mnemonic : {"a", "b", "c", "d", "e"}) {
      all += text("OWN:x", mnemonic) + u'|';
    }
    EXPECT_EQ(all, u"mended|newer|5|English|in memory|");
    MessageCatalog::reload();
  }
}

TEST(MessageCatalog, ReadsAFileOnceUntilItIsToldToForgetAndHoldsNobodyUpMeanwhile) {
  MessageCatalog::add_directory(u"once");
  MessageCatalog::set_language("en");
  const auto write = [](const ustring& name, const char* json) { messages().files[u"once\\en\\" + name] = json; };
  write(u"ONCE.json", R"({"a": "first"})");
  EXPECT_EQ(text("ONCE", "a"), u"first");
  EXPECT_THROW(text("ONCE", "b"), fl::i18n::missing_message);
  write(u"ONCE.json", R"({"a": "second"})");
  messages().reads = 0;
  EXPECT_THROW(text("ONCE", "b"), fl::i18n::missing_message);
  EXPECT_EQ(messages().reads, 0) << "that a file is not there is kept as well";
  write(u"OTHER.json", R"({"a": "old"})");
  write(u"THIRD.json", R"({"a": "third"})");
  messages().reading = [is_first = true](const ustring&) mutable {
    if (std::exchange(is_first, false)) {
      EXPECT_EQ(std::async(std::launch::async, text, "THIRD", "a").get(), u"third");
      MessageCatalog::reload();  // What is being read now is not kept.
    }
  };
  EXPECT_EQ(text("OTHER", "a"), u"old");
  write(u"OTHER.json", R"({"a": "new"})");
  EXPECT_EQ(text("ONCE", "a") + text("OTHER", "a"), u"secondnew");
}

TEST(MessageCatalog, PassesOverADirectoryOutOfReachForAWhileAndSaysSoOnce) {
  messages().files[u"near\\en\\NEAR.json"] = R"({"a": "near"})";
  MessageCatalog::add_directory(u"near");
  MessageCatalog::add_directory(u"\\\\far\\share");
  MessageCatalog::set_language("en");
  messages().reading = [](const ustring& path) {
    if (path.starts_with(u"\\\\far")) {
      throw fl::i18n::detail::unreachable_directory("no answer");
    }
  };
  const auto asks = [] {
    messages().reads = 0;
    EXPECT_EQ(text("NEAR", "a"), u"near");
    return messages().reads;
  };
  for (int round = 0; round != 2; ++round) {
    MessageCatalog::reload();
    EXPECT_EQ(asks(), 2);
    messages().milliseconds += 59'999;
    EXPECT_EQ(asks(), 0);
    ++messages().milliseconds;
    EXPECT_EQ(asks(), 1);
  }
  EXPECT_EQ(messages().log, "\\\\far\\share: no answer\n");
  messages().reading = nullptr;
}

// A shared mutex of one run-time for Windows let two writers in at once while it was used for the first time.
TEST(MessageCatalog, NothingIsLostWhereSeveralThreadsAreTheFirstToUseIt) {
  for (int round = 0; round != 100; ++round) {
    fl::i18n::detail::message_store store;
    const std::string names[] = {"A", "B", "C", "D"};
    std::atomic<unsigned> arrived{0};
    std::vector<std::jthread> threads;
    for (const std::string& name : names) {
      threads.emplace_back([&] {
        for (++arrived; arrived != std::size(names);) {
          std::this_thread::yield();
        }
        store.add_catalog("en", name, R"({"a": "b"})");
      });
    }
    threads.clear();
    for (const std::string& name : names) {
      EXPECT_EQ(store.text_of({name, "a"}), u"b");
    }
  }
}

}  // namespace
