#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>

#include <kit/run_output.hpp>

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

}  // namespace

core::ustring run_output::wide_text(std::string_view encoding) const {
  const std::string_view kept = bytes;
  ustring text;
  text.reserve(kept.size());
  append_with_plain_line_ends(text, fl::i18n::decode(kept.substr(0, truncated() ? gap : kept.size()), encoding));
  if (truncated()) {
    const std::string mark = "\n[... " + std::to_string(dropped) + " bytes left out ...]\n";
    text.append(mark.begin(), mark.end());
    append_with_plain_line_ends(text, fl::i18n::decode(kept.substr(gap), encoding));
  }
  return text;
}

std::string run_output::text(std::string_view encoding) const {
  return fl::i18n::ustring_to_utf8(wide_text(encoding));
}

}  // namespace foundation::kit
