// Thread safety: as in the header. One lock guards all plain pages and is held while one is read, so that each is read
// once; the compiler's guards of local objects do that for the others.
#include "codec/page_encodings.hpp"

#include "codec/code_page.hpp"
#include "codec/eucjp_codec.hpp"
#include "codec/gb18030_codec.hpp"
#include "codec/immortal.hpp"
#include "codec/owned_codecs.hpp"

#include <map>
#include <mutex>

namespace fl::i18n::detail {
namespace {

code_page_table read_existing_page(unsigned page) {
  if (!has_code_page(page)) {
    throw missing_code_page();
  }
  return read_code_page(page);
}

struct known_pages {
  mutable std::mutex lock;
  mutable std::map<unsigned, const owned_table_codecs> codecs;  ///< by number
};

}  // namespace

text_encoding page_encoding(unsigned page) {
  const auto& known = immortal<known_pages>();
  const std::lock_guard guard(known.lock);
  auto found = known.codecs.find(page);
  if (found == known.codecs.end()) {
    found = known.codecs.try_emplace(page, read_existing_page(page)).first;
  }
  return found->second.encoding();
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
