#include "catalog/message_store.hpp"

#include <i18n/convert.hpp>
#include <i18n/errors.hpp>

#include "catalog/language_tag.hpp"
#include "catalog/message_platform.hpp"
#include "catalog/message_text.hpp"

#include <boost/throw_exception.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace fl::i18n::detail {
namespace {

/// In milliseconds. A server that does not answer may let each question to it wait for most of a minute.
constexpr std::uint64_t pause_for_unreachable = 60'000;

std::vector<ustring> split_path(const ustring& text) {
  std::vector<ustring> directories;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(u';', begin), text.size());
    if (end != begin) {
      directories.push_back(text.substr(begin, end - begin));
    }
    begin = end + 1;
  }
  return directories;
}

/// `directory` is not empty.
ustring path_of(const ustring& directory, const std::string& language, const ustring& file) {
  const bool ended = directory.back() == u'\\' || directory.back() == u'/';
  return directory + (ended ? u"" : u"\\") + ustring(language.begin(), language.end()) + u'\\' + file;
}

[[noreturn]] void throw_missing(const resource_core::BaseMsgID& id, const std::string& why) {
  const std::string text = "no message \"" + id.mnemonic() + "\" in the catalog \"" + id.catalog() + "\": " + why;
  boost::throw_exception(missing_message(text, id), BOOST_CURRENT_LOCATION);
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) {
    result += (result.empty() ? "" : ", ") + text;
  }
  return result;
}

std::string joined(const std::vector<ustring>& texts) {
  std::vector<std::string> converted;
  converted.reserve(texts.size());
  for (const ustring& text : texts) {
    converted.push_back(ustring_to_utf8(text));
  }
  return joined(converted);
}

}  // namespace

message_store::message_store()
    : search_(std::make_shared<const search>(
          search{split_path(message_path_variable()), fallback_chain(tag_of_locale(display_language()))})) {
  // That of winpthreads is made when it is first locked, and keeps out nobody while several threads do that at once.
  const std::unique_lock make_it_now(mutex_);
}

ustring message_store::text_of(const resource_core::BaseMsgID& id) {
  const auto where = current_search();
  const auto file = catalog_file_name(id.catalog());
  if (!file) {
    throw_missing(id, "no catalog can have that name");
  }
  for (const std::string& language : where->languages) {
    for (const ustring& directory : where->directories) {
      const shared_texts texts = texts_in(directory, path_of(directory, language, *file));
      if (const auto found = texts->find(id.mnemonic()); found != texts->end()) {
        return insert_arguments(found->second, id.arguments());
      }
    }
    if (const shared_texts added = texts_in_memory(language, *file)) {
      if (const auto found = added->find(id.mnemonic()); found != added->end()) {
        return insert_arguments(found->second, id.arguments());
      }
    }
  }
  throw_missing(id, "languages tried: " + joined(where->languages) +
                        (where->directories.empty() ? "; no directory of catalogs is known (QX_MESSAGE_PATH is empty)"
                                                    : "; directories tried: " + joined(where->directories)));
}

void message_store::add_directory(const ustring& path) {
  if (path.empty() || path.find(u'\0') != ustring::npos) {
    boost::throw_exception(std::invalid_argument("\"" + ustring_to_utf8(path) + "\" is no directory of catalogs"),
                           BOOST_CURRENT_LOCATION);
  }
  change_search([&](search& changed) {
    std::erase(changed.directories, path);
    changed.directories.insert(changed.directories.begin(), path);
  });
}

void message_store::add_catalog(const std::string& language, const std::string& catalog, std::string_view json) {
  const std::string tag = canonical_tag(language);
  const auto file = catalog_file_name(catalog);
  if (!file) {
    boost::throw_exception(std::invalid_argument("no catalog can have the name \"" + catalog + "\""),
                           BOOST_CURRENT_LOCATION);
  }
  auto texts = std::make_shared<catalog_texts>(
      parse_catalog(json, ustring(tag.begin(), tag.end()) + u'\\' + *file + u" (in memory)"));
  const std::unique_lock lock(mutex_);
  shared_texts& kept = in_memory_[{tag, *file}];
  if (kept) {
    texts->insert(kept->begin(), kept->end());  // What is in it already stays.
  }
  kept = std::move(texts);
}

void message_store::set_language(const std::string& tag) {
  auto chain = fallback_chain(tag.empty() ? tag_of_locale(display_language()) : canonical_tag(tag));
  change_search([&](search& changed) { changed.languages = std::move(chain); });
}

std::string message_store::language() const {
  return current_search()->languages.front();
}

void message_store::reload() {
  const std::unique_lock lock(mutex_);
  ++reloads_;
  files_.clear();
  for (auto& [directory, until] : unreachable_) {
    until = 0;
  }
}

std::shared_ptr<const message_store::search> message_store::current_search() const {
  const std::shared_lock lock(mutex_);
  return search_;
}

template <class Change>
void message_store::change_search(Change change) {
  const std::unique_lock lock(mutex_);
  auto changed = std::make_shared<search>(*search_);
  change(*changed);
  search_ = std::move(changed);
}

/// Null if there are none.
message_store::shared_texts message_store::texts_in_memory(const std::string& language, const ustring& file) const {
  const std::shared_lock lock(mutex_);
  const auto found = in_memory_.find({language, file});
  return found != in_memory_.end() ? found->second : nullptr;
}

/// Not null; without a text if the directory cannot be reached.
message_store::shared_texts message_store::texts_in(const ustring& directory, const ustring& path) {
  std::uint64_t reloads;
  {
    const std::shared_lock lock(mutex_);
    if (const auto found = files_.find(path); found != files_.end()) {
      return found->second;
    }
    if (const auto found = unreachable_.find(directory);
        found != unreachable_.end() && milliseconds() < found->second) {
      return std::make_shared<const catalog_texts>();
    }
    reloads = reloads_;
  }
  try {
    return read_texts(path, reloads);
  } catch (const unreachable_directory& error) {
    pass_over(directory, error.what(), reloads);
    return std::make_shared<const catalog_texts>();
  }
}

message_store::shared_texts message_store::read_texts(const ustring& path, std::uint64_t reloads) {
  const auto content = read_catalog_file(path);
  auto texts = std::make_shared<const catalog_texts>(content ? parse_catalog(*content, path) : catalog_texts());
  const std::unique_lock lock(mutex_);
  if (reloads == reloads_) {
    files_.emplace(path, texts);
  }
  return texts;
}

void message_store::pass_over(const ustring& directory, const std::string& reason, std::uint64_t reloads) {
  bool is_new;
  {
    const std::unique_lock lock(mutex_);
    const std::uint64_t until = reloads == reloads_ ? milliseconds() + pause_for_unreachable : 0;
    is_new = unreachable_.insert_or_assign(directory, until).second;
  }
  if (is_new) {
    log_unreachable(directory, reason);
  }
}

}  // namespace fl::i18n::detail
