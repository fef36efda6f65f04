// Collected messages, with texts from a catalog.
#include <fl/except/notification.hpp>
#include <fl/io/uostringstream.hpp>
#include <i18n/convert.hpp>
#include <i18n/message_catalog.hpp>

#ifdef _WIN32
#include "support.hpp"
#else
#include "every_test.hpp"
#include "host/message_platform.hpp"
#endif

#include <filesystem>

namespace {

using foundation::core::except::Notification;

/// Two messages, the second of which has an argument.
class NotificationTest : public testing::Test {
 protected:
  NotificationTest() {
    const std::string json = "{\"late\": \"za p\xC3\xB3\xC5\xBAno\", \"count\": \"{0} left\"}";
#ifdef _WIN32
    std::filesystem::create_directory(test_support::widen(folder_.file("en")));
    test_support::write_file(folder_.file("en\\NOTES.json"), json);
    const std::string directory = folder_.path();
#else
    test_support::messages().files[u"notes\\en\\NOTES.json"] = json;
    const std::string directory = "notes";
#endif
    fl::i18n::MessageCatalog::add_directory(fl::i18n::utf8_to_ustring(directory));
    fl::i18n::MessageCatalog::reload();
    notes.append({"NOTES", "late"});
    notes.append({"NOTES", "count", {std::int64_t{3}}});
  }

#ifdef _WIN32
  test_support::temp_dir folder_{"notes"};
#endif
  Notification notes;
};

TEST_F(NotificationTest, KeepsIdsInOrderAndMakesTextsWhenAsked) {
  EXPECT_EQ(notes.size(), 2u);
  EXPECT_TRUE(notes);
  EXPECT_EQ(notes[1].mnemonic(), "count");
  EXPECT_EQ(notes.getMessage(0), u"za p\u00F3\u017Ano");
  EXPECT_EQ(notes.begin()[1].get(), notes[1]);
  EXPECT_THAT([this] { (void)notes[2]; }, testing::ThrowsMessage<std::out_of_range>("invalid vector subscript"));
  EXPECT_THROW((void)notes.getMessage(2), std::out_of_range);
}

TEST_F(NotificationTest, CopiesShareNothingAndMovesLeaveAnEmptyOneThatCanBeUsedAgain) {
  Notification copy = notes;
  EXPECT_NE(&copy[0], &notes[0]);
  Notification moved = std::move(notes);
  EXPECT_TRUE(notes.empty());
  EXPECT_FALSE(notes);
  notes.append({"NOTES", "late"});
  EXPECT_EQ(notes.size(), 1u);
  Notification& alias = notes;
  notes = alias;
  notes = std::move(alias);
  EXPECT_EQ(notes.size(), 1u);
  notes = moved;
  moved.flush();
  moved.flush();
  EXPECT_EQ(moved.begin(), moved.end());
  EXPECT_EQ(notes.getMessage(1), u"3 left");
  copy = std::move(notes);
  EXPECT_EQ(copy.size(), 2u);
  EXPECT_EQ(notes.size(), 0u);
}

TEST_F(NotificationTest, PrintsALineForEachEntryInTheActiveCodePageOrInUtf16) {
  std::ostringstream narrow;
  notes.format(narrow);
  EXPECT_EQ(narrow.str(), fl::i18n::to_string(u"za p\u00F3\u017Ano") + "\n3 left\n");
  foundation::core::io::uostringstream wide;
  notes.format(wide);
  EXPECT_EQ(wide.str(), u"za p\u00F3\u017Ano\n3 left\n");
  EXPECT_EQ(notes.size(), 2u);
  std::ostringstream untouched;
  untouched.setstate(std::ios_base::failbit);
  untouched.exceptions(std::ios_base::badbit);
  Notification().format(untouched);
  EXPECT_EQ(untouched.rdstate(), std::ios_base::failbit);
}

TEST_F(NotificationTest, AMissingMessageStopsWithWhatIsBeforeItPrinted) {
  notes.append({"NOTES", "nobodyKnows"});
  notes.append({"NOTES", "late"});
  std::ostringstream narrow;
  EXPECT_THROW(notes.format(narrow), fl::i18n::missing_message);
  EXPECT_TRUE(narrow.str().ends_with("\n3 left\n"));
}

}  // namespace
