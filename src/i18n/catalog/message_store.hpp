// Where texts are looked for, and what has been read.
//
// Thread safety: everything may be called from every thread. One lock, held for moments only and shared by those who
// look something up. No lock is held while a file is read, which may wait for a network; of several who read the same
// file at once the first to finish puts down what all others use from then on.
#pragma once

#include <i18n/ustring.hpp>
#include <resource_core/msg_id.hpp>

#include "catalog/catalog_file.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fl::i18n::detail {

/// What `MessageCatalog` is, as an object; the functions keep its contract.
class message_store {
 public:
  /// With the directories and the language that the environment gives.
  message_store();

  ustring text_of(const resource_core::BaseMsgID& id);
  void add_directory(const ustring& path);
  void add_catalog(const std::string& language, const std::string& catalog, std::string_view json);
  void set_language(const std::string& tag);
  std::string language() const;
  void reload();

 private:
  using shared_texts = std::shared_ptr<const catalog_texts>;
  struct search {
    std::vector<ustring> directories;    ///< in the order of the search
    std::vector<std::string> languages;  ///< likewise; the first is the one in force
  };

  std::shared_ptr<const search> current_search() const;
  template <class Change>
  void change_search(Change change);
  shared_texts texts_in_memory(const std::string& language, const ustring& file) const;
  shared_texts texts_in(const ustring& directory, const ustring& path);
  shared_texts read_texts(const ustring& path, std::uint64_t reloads);
  void pass_over(const ustring& directory, const std::string& reason, std::uint64_t reloads);

  mutable std::shared_mutex mutex_;                                    ///< guards all of these
  std::shared_ptr<const search> search_;                               ///< not null; what it points to does not change
  std::map<std::pair<std::string, ustring>, shared_texts> in_memory_;  ///< by language and name of file, not null
  std::map<ustring, shared_texts> files_;         ///< by path, not null; without a text for a file that is not there
  std::map<ustring, std::uint64_t> unreachable_;  ///< directories, each passed over until that value of `milliseconds`
  std::uint64_t reloads_ = 0;  ///< how often `reload` was called; what was read before the last one is not kept
};

}  // namespace fl::i18n::detail
