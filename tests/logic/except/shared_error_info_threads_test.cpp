// What threads share without knowing of each other: texts of exceptions, catalogs, channels of the log, code pages, the
// lookup's directories of PATH. Natively with ThreadSanitizer alone, which is what finds anything here.
#include <fl/except.hpp>
#include <foundation_log/control.hpp>
#include <foundation_log/logger.hpp>
#include <i18n/encoding.hpp>
#include <i18n/message_catalog.hpp>

#include "catalog/message_platform.hpp"
#include "host/log_records.hpp"
#include "util/kept_for_text.hpp"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <thread>

// The system beneath the catalogs, which threads share as well: files that say where they lie.
namespace fl::i18n::detail {

ustring message_path_variable() {
  return u"first;second";
}
std::string display_language() {
  return "en";
}
std::optional<std::string> read_catalog_file(const ustring& path) {
  return path.find(u"en") != ustring::npos ? std::optional<std::string>(R"({"known": "text"})") : std::nullopt;
}
std::uint64_t milliseconds() noexcept {
  return 0;
}
void log_unreachable(const ustring&, const std::string&) noexcept {}

}  // namespace fl::i18n::detail

namespace {

namespace except = foundation::core::except;
namespace log = foundation::log;
using error = except::detail::AnonymousInternalException<std::runtime_error>;
using fl::i18n::MessageCatalog;

constexpr int turns = 1500;
std::vector<error> errors(turns, error(std::runtime_error("text")));

void use_exceptions(int turn) {
  const error& shared = errors[static_cast<std::size_t>(turn)];
  EXPECT_STREQ(shared.what(), "text");
  const error copy(shared);
  EXPECT_EQ(copy.what(), shared.what());
}

using fact = boost::error_info<struct of_threads, int>;
std::vector<error> errors_with_facts = [] {
  std::vector<error> all;
  for (int number = 0; number != turns; ++number) {
    all.emplace_back(std::runtime_error("text"));  // Not a copy: copies share their facts.
    all.back() << fact(number);
  }
  return all;
}();

/// One thread is the first to ask for the text while others read the facts, copy them and tell all of them.
void use_facts(int turn) {
  const error& shared = errors_with_facts[static_cast<std::size_t>(turn)];
  EXPECT_EQ(*boost::get_error_info<fact>(shared), turn);
  const auto copy = boost::copy_exception(shared);
  EXPECT_STREQ(shared.what(), "text");
  EXPECT_THAT(boost::diagnostic_information(shared), testing::HasSubstr(" = " + std::to_string(turn)));
}

void use_catalogs(int turn) {
  EXPECT_EQ(MessageCatalog::get_message({"CATALOG:file", "known"}), u"text");
  switch (turn % 50) {
    case 0:
      MessageCatalog::reload();
      break;
    case 10:
      MessageCatalog::set_language(turn % 100 == 10 ? "en-GB" : "en");
      break;
    case 20:
      MessageCatalog::add_directory(turn % 100 == 20 ? u"first" : u"third");
      break;
    case 30:
      MessageCatalog::add_catalog("en", "OTHER:memory", R"({"m": "in memory"})");
      break;
    default:
      EXPECT_TRUE(MessageCatalog::language().starts_with("en"));
  }
}

void use_channels(int turn) {
  log::basic_diagnostic_logger<char> own("shared.channel");
  own.log(log::severity::note, "a record");
  switch (turn % 4) {
    case 0:
      log::set_level("shared.*", static_cast<unsigned>(turn));
      break;
    case 1:
      own.level(4);
      break;
    case 2:
      log::enable_logging(turn % 8 == 2);
      break;
    default:
      EXPECT_LE(1u, log::channels("shared.*").size());
  }
  test_support::drain_log_records();
}

void use_code_pages(int turn) {
  static constexpr const char* names[] = {"windows-1252", "Shift_JIS", "GBK", "EUC-JP", "GB18030", "ISO-8859-1"};
  const char* const name = names[turn % 6];
  EXPECT_EQ(fl::i18n::decode(fl::i18n::encode(u"x", name), name), u"x");
}

/// As the lookup has them, but for the conversion into paths, which is Boost's.
void use_directories(int turn) {
  static foundation::core::util::kept_for_text<std::vector<std::wstring>> kept;
  const std::wstring path = turn % 3 == 0 ? L"C:/one" : L"C:/another";
  const auto list = kept.get(path, [](const std::wstring& text) { return std::vector<std::wstring>{text, text}; });
  EXPECT_EQ(*list, (std::vector<std::wstring>{path, path}));
}

TEST(SharedState, IsReadAndChangedByAllThreadsAtOnce) {
  std::vector<std::jthread> threads;
  for (unsigned number = 0; number != 8; ++number) {
    threads.emplace_back([number] {
      void (*uses[])(int turn) = {use_exceptions, use_facts,      use_catalogs,
                                  use_channels,   use_code_pages, use_directories};
      std::shuffle(std::begin(uses), std::end(uses), std::minstd_rand(number / 2));  // Two at a time do the same.
      for (void (*const use)(int turn) : uses) {
        for (int turn = 0; turn != turns; ++turn) {
          use(turn);
        }
      }
    });
  }
}

}  // namespace
