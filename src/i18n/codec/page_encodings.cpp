// Thread safety: as in the header. A plain page that is known is found without a lock, in a list that only grows. One
// lock is held while a page is read, so that each is read once; the compiler's guards of local objects do that for the
// others.
#include "codec/page_encodings.hpp"

#include "codec/code_page.hpp"
#include "codec/eucjp_codec.hpp"
#include "codec/gb18030_codec.hpp"
#include "codec/immortal.hpp"
#include "codec/owned_codecs.hpp"

#include <atomic>
#include <mutex>

namespace fl::i18n::detail {
namespace {

code_page_table read_existing_page(unsigned page) {
  if (!has_code_page(page)) {
    throw missing_code_page();
  }
  return read_code_page(page);
}

struct known_page {
  known_page(unsigned its_number, const known_page* older)
      : number(its_number), codecs(read_existing_page(its_number)), next(older) {}

  const unsigned number;
  const owned_table_codecs codecs;
  const known_page* const next;  ///< null at the end
};

struct known_pages {
  mutable std::mutex lock;  ///< held by who adds one
  mutable std::atomic<const known_page*> newest{nullptr};
};

/// Null if it is not in the list.
const known_page* find_page(const known_page* list, unsigned number) {
  while (list != nullptr && list->number != number) {
    list = list->next;
  }
  return list;
}

const known_page& add_page(const known_pages& known, unsigned number) {
  const std::lock_guard guard(known.lock);
  const known_page* const newest = known.newest.load();
  if (const known_page* const found = find_page(newest, number)) {
    return *found;
  }
  const known_page* const added = new known_page(number, newest);  // Lives until the process ends.
  known.newest.store(added);
  return *added;
}

}  // namespace

text_encoding page_encoding(unsigned page) {
  const auto& known = immortal<known_pages>();
  const known_page* const found = find_page(known.newest.load(), page);
  return (found != nullptr ? *found : add_page(known, page)).codecs.encoding();
}

text_encoding euc_jp() {
  constexpr unsigned page = 20932;
  using codecs = owned_codecs<code_page_table, eucjp_decoder, eucjp_encoder>;
  static const codecs& made = *new codecs(read_existing_page(page));
  return made.encoding();
}

text_encoding gb18030() {
  constexpr unsigned page_of_pairs = 936;
  using codecs = owned_codecs<gb18030_table, gb18030_decoder, gb18030_encoder>;
  static const codecs& made = *new codecs(read_existing_page(page_of_pairs));
  return made.encoding();
}

}  // namespace fl::i18n::detail
