// The companion libraries: text, catalogs of messages, paths, the log, the environment.

#include <fl/util/ustring.hpp>
#include <foundation_log/control.hpp>
#include <foundation_log/exception_chain.hpp>
#include <foundation_log/level.hpp>
#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>
#include <foundation_log/termination.hpp>
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>
#include <i18n/errors.hpp>
#include <i18n/facet.hpp>
#include <i18n/filebuf.hpp>
#include <i18n/filesystem.hpp>
#include <i18n/message_catalog.hpp>
#include <i18n/path.hpp>
#include <i18n/stream_converter.hpp>
#include <safe_env/environment.hpp>

#include "operation.hpp"
#include "support.hpp"

namespace faults {
namespace {

using fl::ustring;
using fl::i18n::MessageCatalog;
using resource_core::BaseMsgID;

const std::string long_text(40, 'x');
const ustring wide(40, u'\u00e4');

const test_support::temp_dir& folder() {
  static const test_support::temp_dir made;
  return made;
}

ustring widened(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

void convert_unicode(trial& t) {
  t.act([&] {
    const std::string bytes = fl::i18n::ustring_to_utf8(wide);
    t.expect(fl::i18n::utf8_to_ustring(bytes) == wide, "another text");
  });
}

void convert_others(trial& t) {
  for (const char* const name : {"windows-1252", "Shift_JIS", "UTF-16LE", "GB18030"}) {
    t.act([&] {
      const ustring text = fl::i18n::decode(fl::i18n::encode(u"abc\u3042", name), name);
      t.expect(text.starts_with(u"abc"), "another text");
      t.see(std::to_string(text.size()));
    });
  }
  t.act([&] { t.see(fl::i18n::to_string(wide)); });
}

void convert_streams(trial& t) {
  for (const char* const name : {"UTF-8", "windows-1252", "Shift_JIS"}) {
    t.act([&] {
      using namespace fl::i18n;
      const stream_codecvt_string_to_ustring in(name, true);
      const stream_codecvt_ustring_to_string out(name, true);
      const stream_codecvt_string_to_utf8string to_utf8(name, true);
      const stream_codecvt_utf8string_to_string from_utf8(name, true);
      const char bytes[] = "abc";
      char16_t units[9];
      char made[9], *made_end = made;
      char16_t* units_end = units;
      const char* from = bytes;
      in.convert(&units_end, units + 9, &from, bytes + 3, true);
      const char16_t* units_from = units;
      out.convert(&made_end, made + 9, &units_from, units_end, true);
      t.see(std::string(made, made_end));
      from = bytes, made_end = made;
      to_utf8.convert(&made_end, made + 9, &from, bytes + 3, true);
      from = bytes, made_end = made;
      from_utf8.convert(&made_end, made + 9, &from, bytes + 3, true);
      t.see(std::string(made, made_end));
    });
  }
}

void make_errors(trial& t) {
  t.act([&] {
    fl::i18n::missing_message made(long_text, BaseMsgID(long_text, long_text)), other(made);
    other = made;
    fl::i18n::conversion_error place(long_text, 5), copy(place);
    copy = place;
    const fl::i18n::bad_catalog bad(long_text);
    const fl::i18n::unknown_encoding unknown(long_text);
    t.expect(other.catalog() == long_text && other.mnemonic() == long_text && copy.position() == 5, "another text");
  });
}

void get_message(trial& t) {
  const auto write = [](const std::string& language, const std::string& text) {
    ::CreateDirectoryA(folder().file(language).c_str(), nullptr);
    test_support::write_file(folder().file(language + "\\sweep_file.json"), text);
  };
  write("en", R"({"NAME": "a text {0} that is longer than most"})");
  write("de", R"({"OTHER": "noch etwas"})");
  const BaseMsgID id("sweep_file", "NAME", {long_text, 1.5, wide, std::int64_t{7}});
  MessageCatalog::set_language("de-AT");
  MessageCatalog::add_directory(widened(folder().path()));
  MessageCatalog::reload();
  for (int i = 0; i < 2; ++i) {  // The second one finds what the first one kept.
    t.act([&] { t.see(fl::i18n::ustring_to_utf8(MessageCatalog::get_message(id))); });
  }
  t.act([&] { t.see(fl::i18n::ustring_to_utf8(MessageCatalog::get_message(BaseMsgID("sweep_file", "OTHER")))); });
}

void set_catalogs(trial& t) {
  const ustring directory = widened(folder().path());
  MessageCatalog::set_language("en");
  t.act([&] { MessageCatalog::add_directory(directory); });
  t.act([&] { MessageCatalog::reload(); });
  t.act_or_nothing([] { return MessageCatalog::language(); }, [&] { MessageCatalog::set_language("zh-hant-tw"); });
  t.act([&] { t.see(MessageCatalog::language()); });
  MessageCatalog::set_language("en");
}

void add_catalog(trial& t) {
  static int added = 0;
  const std::string name = "added" + std::to_string(added++);
  const bool done =
      t.act([&] { MessageCatalog::add_catalog("en", name, R"({"NAME": "a text that is longer than most"})"); });
  MessageCatalog::set_language("en");
  try {
    MessageCatalog::get_message(BaseMsgID(name, "NAME"));
    t.expect(done, "was added though it failed");
  } catch (const fl::i18n::missing_message&) {
    t.expect(!done, "was not added");
  }
}

void display_language(trial& t) {
  t.act([&] {
    MessageCatalog::set_language("");
    t.see(MessageCatalog::language());
  });
}

void paths(trial& t) {
  const std::wstring name(40, L'\u00e4');
  t.act([&] {
    const fl::filesystem::path path(u"C:\\" + wide + u"\\" + std::u16string(300, u'y'));
    t.expect(path.native_access_form().size() > 300, "is cut");
    t.expect(!fl::filesystem::path(u"C:a\\..\\b").native_access_form().empty(), "is empty");
    t.expect(fl::filesystem::codecvt_filesystem_to_ustring(true).convert(name) == wide, "another name");
  });
}

void file_buffer(trial& t) {
  const ustring path = widened(folder().file("buffer"));
  bool wrote = false;
  t.act([&] {
    fl::filesystem::basic_filebuf<char> file;
    if (file.open(path, std::ios_base::out | std::ios_base::binary) != nullptr) {
      wrote = file.sputn(long_text.data(), 40) == 40 && file.pubsync() == 0;
      wrote = file.close() != nullptr && wrote;
    }
  });
  const std::string came = test_support::read_file(folder().file("buffer"));
  t.expect(wrote ? came == long_text : long_text.starts_with(came), "wrote: " + came);
  test_support::write_file(folder().file("buffer"), "");
  t.see(wrote ? "written" : "refused");
}

void locale(trial& t) {
  t.act([&] { t.see(fl::i18n::facet::get_global_std_locale().name()); });
}

void environment(trial& t) {
  t.act([&] { t.expect(safe_env::get_environment_copy().size() > 3, "lacks variables"); });
}

// ---- the log ----

using logger_type = foundation::log::basic_diagnostic_logger<char>;

void make_logger(trial& t) {
  std::optional<logger_type> made;
  t.act([&] { made.emplace("sweep::made"); });
  if (made) {
    t.act([&] { t.see(std::to_string(made->level()) + made->channel()); });
    t.act([&] { made->level(foundation::log::parse_level("note")); });
  }
  t.act([&] { t.see(std::to_string(foundation::log::set_level("sweep::ma*", 0))); });
  t.act([&] { t.see(std::to_string(foundation::log::channels("sweep::*").size())); });
  t.act([&] { made.reset(); });
}

// Records go to standard error, which is redirected into a file by whoever runs this.
void write_record(trial& t) {
  static logger_type log("sweep::log");
  log.level(foundation::log::severity_mask);
  t.act([&] { log.log(foundation::log::severity::error, "a record ", long_text, 5, long_text); });
  t.act([&] {
    foundation::log::scope_trace scope(log, "a function");
    const int result = 5;
    scope.result("result", result);
  });
  t.act([&] { log.check_failed("file", 1, "function", long_text); });
  log.level(0);
}

void log_switches(trial& t) {
  static logger_type log("sweep::switches");
  t.act([&] {
    foundation::log::enable_logging(foundation::log::logging_enabled());
    foundation::log::detail::indent_attribute::increase();
    foundation::log::detail::indent_attribute::decrease();
    t.expect(foundation::log::detail::indent_attribute::current() == 0, "is indented");
    log.level(0);
    t.expect(!log.enabled(foundation::log::severity::note), "is on");
  });
}

void log_end(trial& t) {
  t.act([&] {
    const foundation::log::detail::termination_handler handler([](const auto&, auto, int, auto) { throw 1; });
    std::ostringstream text;
    try {
      foundation::log::detail::terminate(text, "file", 1, "function");
    } catch (int) {
      t.see("called");
    }
  });
}

void exception_chain(trial& t) {
  t.act([&] {
    try {
      try {
        throw std::runtime_error(long_text);
      } catch (...) {
        std::throw_with_nested(std::runtime_error("outer"));
      }
    } catch (...) {
      t.see(foundation::log::detail::current_exception_chain_as_string());
    }
  });
}

}  // namespace

std::vector<operation> companion_operations() {
  return {{"text: UTF-8 and UTF-16", convert_unicode},
          {"text: other encodings", convert_others},
          {"text: converters of streams", convert_streams},
          {"text: errors", make_errors},
          {"messages: get", get_message, "not a file on a disk|incomplete JSON"},
          {"messages: where from, language", set_catalogs},
          {"messages: the user's language", display_language, "^done en;$"},
          {"messages: add a catalog", add_catalog, "", true},
          {"paths", paths},
          {"file buffer", file_buffer, "refused"},
          {"locale", locale},
          {"environment: copy", environment},
          {"log: channels", make_logger},
          {"log: records", write_record},
          {"none: log: switches", log_switches},
          {"log: handler of its end", log_end},
          {"log: chain of exceptions", exception_chain,
           "^done (\\(no memory\\)|std::bad_alloc|std::_Nested_exception|St17_Nested_exception)"}};
}

}  // namespace faults
