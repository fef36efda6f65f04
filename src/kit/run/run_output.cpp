#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include <kit/run_output.hpp>

#include <algorithm>

namespace foundation::kit {
namespace {

using core::ustring;

void append_with_plain_line_ends(ustring& text, const ustring& added) {
  for (std::size_t i = 0; i != added.size(); ++i) {
    const bool half_a_line_end = added[i] == u'\r' && i + 1 != added.size() && added[i + 1] == u'\n';
    if (!half_a_line_end) {
      text += added[i];
    }
  }
}

/// Bytes.
std::size_t size_of_unit(std::string_view encoding) {
  return fl::i18n::encode(u"\n\n", encoding).size() - fl::i18n::encode(u"\n", encoding).size();  // without a mark
}

/// What comes behind a gap, in the order of bytes that a mark at the very beginning tells, if there is one.
ustring decode_tail(std::string_view beginning, std::string_view tail, std::string_view encoding) {
  const bool is_marked = beginning.size() > 1 && fl::i18n::decode(beginning, encoding).empty();
  return is_marked ? fl::i18n::decode(std::string(beginning).append(tail), encoding) : fl::i18n::decode(tail, encoding);
}

}  // namespace

core::ustring run_output::wide_text(std::string_view encoding) const {
  ustring text;
  text.reserve(bytes.size());
  std::string_view head = bytes;
  if (!truncated()) {
    append_with_plain_line_ends(text, fl::i18n::decode(head, encoding));
    return text;
  }
  std::string_view tail = head.substr(gap);
  head.remove_suffix(tail.size());
  const std::size_t unit = size_of_unit(encoding), begun = gap % unit;
  head.remove_suffix(begun);
  const std::size_t rest = std::min<std::size_t>((unit - (gap + dropped) % unit) % unit, tail.size());
  tail.remove_prefix(rest);
  const std::string mark = "\n[... " + std::to_string(dropped + begun + rest) + " bytes left out ...]\n";
  append_with_plain_line_ends(text, fl::i18n::decode(head, encoding));
  text.append(mark.begin(), mark.end());
  append_with_plain_line_ends(text, decode_tail(head.substr(0, unit), tail, encoding));
  return text;
}

std::string run_output::text(std::string_view encoding) const {
  return fl::i18n::ustring_to_utf8(wide_text(encoding));
}

}  // namespace foundation::kit
