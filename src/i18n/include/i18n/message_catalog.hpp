// The texts of messages for users, looked up in catalogs in the user's language.
//
// A catalog is a file for each language, <directory>/<language>/<catalog>.json, in UTF-8: one object from mnemonics to
// texts. So "de-AT/PLANNER.solver.json" in one of the directories may hold, for the catalog "PLANNER:solver",
//
//     { "tooManySteps": "Zu viele Schritte: {0} von {1}" }
//
// Names. A colon in a catalog's name is a dot in the file's. A name with anything but ASCII letters, digits, "_" and
// ":" names no catalog.
//
// Texts. {0}, {1} and so on stand for the arguments; {{ and }} give one brace. A mark without an argument stays as it
// is, and so does anything else with a brace. Numbers are written without regard to any locale: whole ones in decimal,
// others in the shortest form that reads back as the same value. Ill-formed UTF-8 in an argument becomes U+FFFD.
//
// Languages are BCP 47 tags, whose letter case does not matter. A message is looked for in the language in force, then
// in that without its last part and so on, and at last in English: de-AT, de, en. The first that has it gives the text,
// so a catalog need not be complete.
//
// Directories. Within a language, those given by call come first, the newest first, then those of the environment
// variable QX_MESSAGE_PATH, which are separated by ";" and read once, at the first use. They may be of any length. A
// file that is not there is no error. Nor is a directory that cannot be reached, on a server that does not answer for
// one: it is passed over for a minute, and the first time the channel "fl::i18n::messages" of the log says so.
//
// Texts in memory. A program may bring its catalogs along (`add_catalog`, which the CMake function
// `qxfl_add_message_catalog` writes the calls of). Within a language they come after all directories: a file has the
// last word, so that a text can be mended without a new program.
//
// Files are read when they are first needed and kept. So is the knowledge that one is not there, or a directory out of
// reach. `reload` forgets all of that. One of more than 64 MiB is a file at fault.
//
// Thread safety: everything may be called from every thread at any time. Nobody waits for a file that another thread
// reads.
#pragma once

#include <i18n/errors.hpp>
#include <i18n/export.hpp>
#include <i18n/ustring.hpp>
#include <resource_core/msg_id.hpp>

#include <string>
#include <string_view>

namespace fl::i18n {

/// The catalogs of this process.
class I18N_API MessageCatalog {
 public:
  MessageCatalog() = delete;

  /// The text of the message in the language in force, with the arguments inserted.
  ///
  /// Throws `missing_message`; and `bad_catalog` if a file at fault was met before the message was found. Such a file
  /// is read again the next time that it is needed.
  static ustring get_message(const resource_core::BaseMsgID& id);

  /// Puts a directory before all others; one that is known already moves there. It need not exist. A relative path
  /// counts from the current directory of the moment in which a file is read. Throws `std::invalid_argument` for an
  /// empty path and one with a zero.
  static void add_directory(const ustring& path);

  /// Adds the texts of a catalog in one language from memory: `json` is what a file of it would hold. Where texts for
  /// that catalog and language were added before, those that come now go before them. `reload` does not forget them.
  ///
  /// Throws `std::invalid_argument`, which quotes it, for a tag that `set_language` refuses, an empty one and a name
  /// that no catalog can have, and `bad_catalog` for content at fault; then nothing is added.
  static void add_catalog(const std::string& language, const std::string& catalog, std::string_view json);

  /// Sets the language in force; empty stands for the user's display language, as it is now. Throws
  /// `std::invalid_argument`, which quotes the tag, if that is not made of letters and digits in parts separated by
  /// "-".
  static void set_language(const std::string& tag);

  /// The tag of the language in force, in the usual letter case: de-AT, zh-Hant-TW. If none was set, the user's display
  /// language at the first use.
  static std::string language();

  /// Forgets what has been read, so that changed files are seen: by every `get_message` that begins after it returned.
  static void reload();
};

}  // namespace fl::i18n
