// Thread safety: as in the header. One lock guards all tables and is held while one is read, so that each is read once.
#include "codec/page_encodings.hpp"

#include "codec/code_page.hpp"
#include "codec/encoding_table.hpp"
#include "codec/eucjp_codec.hpp"
#include "codec/gb18030_codec.hpp"
#include "codec/immortal.hpp"
#include "codec/iso_encodings.hpp"
#include "codec/table_codec.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace fl::i18n::detail {
namespace {

/// Codecs with the table that they refer to.
class page_codecs {
 public:
  virtual ~page_codecs() = default;
  virtual codec_pair codecs() const noexcept = 0;
};

template <class Table, class Decoder, class Encoder>
class page_codecs_of final : public page_codecs {
 public:
  explicit page_codecs_of(code_page_table&& table) : table_(std::move(table)), decoder_(table_), encoder_(table_) {}
  codec_pair codecs() const noexcept override { return {&decoder_, &encoder_}; }

 private:
  const Table table_;
  const Decoder decoder_;
  const Encoder encoder_;
};

std::unique_ptr<const page_codecs> make_codecs(unsigned page, code_page_table&& table) {
  switch (page) {
    case code_page::euc_jp:
      return std::make_unique<page_codecs_of<code_page_table, eucjp_decoder, eucjp_encoder>>(std::move(table));
    case code_page::gb18030:
      return std::make_unique<page_codecs_of<gb18030_table, gb18030_decoder, gb18030_encoder>>(std::move(table));
    default:
      return std::make_unique<page_codecs_of<code_page_table, table_decoder, table_encoder>>(std::move(table));
  }
}

/// The table that the codecs of the encoding are made from, if it is to be had.
std::optional<code_page_table> find_table(unsigned page) {
  if (auto own = own_table(page)) {
    return own;
  }
  const unsigned source = page == code_page::gb18030 ? code_page::gbk : page;
  return has_code_page(source) ? std::optional(read_code_page(source)) : std::nullopt;
}

struct known_pages {
  mutable std::mutex lock;
  mutable std::map<unsigned, std::unique_ptr<const page_codecs>> codecs;  ///< by number; not null
};

}  // namespace

codec_pair find_page_codecs(unsigned page) {
  const auto& known = immortal<known_pages>();
  const std::lock_guard guard(known.lock);
  auto found = known.codecs.find(page);
  if (found == known.codecs.end()) {
    auto table = find_table(page);
    if (!table) {
      return {};
    }
    found = known.codecs.emplace(page, make_codecs(page, std::move(*table))).first;
  }
  return found->second->codecs();
}

}  // namespace fl::i18n::detail
