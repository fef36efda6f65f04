// Where texts are looked for, and what has been read.
//
// Thread safety: everything may be called from every thread. Two locks: `mutex_` is held for moments only, shared by
// those who look something up; `reading_` by whoever reads a file, so that each is read once. Nobody takes `reading_`
// who holds `mutex_`.
#pragma once

#include "catalog_file.hpp"

#include <i18n/ustring.hpp>

#include <resource_core/msg_id.hpp>

#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace fl::i18n::detail {

/// What `MessageCatalog` is, as an object; the functions keep its contract.
class message_store {
 public:
  /// With the directories and the language that the environment gives.
  message_store();

  ustring text_of(const resource_core::BaseMsgID& id);
  void add_directory(const ustring& path);
  void set_language(const std::string& tag);
  std::string language() const;
  void reload();

 private:
  struct search {
    std::vector<ustring> directories;    ///< in the order of the search
    std::vector<std::string> languages;  ///< likewise; the first is the one in force
  };
  using shared_texts = std::shared_ptr<const catalog_texts>;

  std::shared_ptr<const search> current_search() const;
  template <class Change>
  void change_search(Change change);
  shared_texts find_read(const ustring& path) const;
  shared_texts texts_in(const ustring& path);

  mutable std::shared_mutex mutex_;        ///< guards the next two
  std::shared_ptr<const search> search_;   ///< not null; what it points to does not change
  std::map<ustring, shared_texts> files_;  ///< by path, not null; without a text for a file that is not there
  std::mutex reading_;
};

}  // namespace fl::i18n::detail
