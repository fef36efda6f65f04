// The table, and an index of its names. Thread safety: as in the header.
#include "codec/encoding_table.hpp"

#include "codec/code_page.hpp"
#include "codec/iso_encodings.hpp"
#include "codec/page_encodings.hpp"
#include "codec/utf_encodings.hpp"

#include <algorithm>
#include <array>
#include <iterator>

namespace fl::i18n::detail {
namespace {

text_encoding active();

constexpr encoding_row rows[] = {
    {"system", no_page, active},

    {"utf8 65001", 65001, utf8},
    {"utf8bom utf8sig", no_page, utf8_by_mark},
    {"utf16le", 1200, utf16_little},
    {"utf16be", 1201, utf16_big},
    {"utf16", no_page, utf16_by_mark},
    {"utf32le", 12000, utf32_little},
    {"utf32be", 12001, utf32_big},
    {"utf32", no_page, utf32_by_mark},
    {"usascii ascii us ansix341968 ansix341986 iso646irv1991 iso646us isoir6 367", 20127, ascii},

    {"iso88591 iso885911987 isoir100 isolatin1 latin1 l1 819", 28591, latin1},
    {"iso88592 iso885921987 isoir101 isolatin2 latin2 l2", 28592, nullptr},
    {"iso88593 iso885931988 isoir109 isolatin3 latin3 l3", 28593, nullptr},
    {"iso88594 iso885941988 isoir110 isolatin4 latin4 l4", 28594, nullptr},
    {"iso88595 iso885951988 isoir144 isolatincyrillic cyrillic", 28595, nullptr},
    {"iso88596 iso885961987 iso88596e iso88596i isoir127 isolatinarabic arabic asmo708 ecma114", 28596, nullptr},
    // The system's 28597 and 28598 are not quite these two.
    {"iso88597 iso885971987 isoir126 isolatingreek greek greek8 ecma118 elot928", no_page, iso_8859_7},
    {"iso88598 iso885981988 iso88598e iso88598i isoir138 isolatinhebrew hebrew", no_page, iso_8859_8},
    {"iso88599 iso885991989 isoir148 isolatin5 latin5 l5", 28599, nullptr},
    {"iso885910 iso8859101992 isoir157 isolatin6 latin6 l6", 28600, iso_8859_10},
    {"iso885911", 28601, iso_8859_11},
    {"iso885913 latin7 l7", 28603, nullptr},
    {"iso885914 iso8859141998 isoir199 isoceltic latin8 l8", 28604, iso_8859_14},
    {"iso885915 latin9", 28605, nullptr},
    {"iso885916 iso8859162001 isoir226 latin10 l10", 28606, iso_8859_16},

    {"shiftjis sjis mskanji windows31j xsjis 932", 932, nullptr},
    {"eucjp eucpkdfmtjapanese extendedunixcodepackedformatforjapanese ujis xeucjp 51932", 20932, euc_jp},
    {"gbk gb2312 gb231280 chinese euccn iso58gb231280 isoir58 xgbk 936", 936, nullptr},
    {"gb18030 54936", 54936, gb18030},
    {"big5 950", 950, nullptr},
    {"euckr korean ksc5601 ksc56011987 ksc56011989 isoir149 uhc 949", 949, nullptr},
    {"johab 1361", 1361, nullptr},
    {"tis620 874", 874, nullptr},
    {"koi8r", 20866, nullptr},
    {"koi8u", 21866, nullptr},

    {"1250", 1250, nullptr},
    {"1251", 1251, nullptr},
    {"1252", 1252, nullptr},
    {"1253", 1253, nullptr},
    {"1254", 1254, nullptr},
    {"1255", 1255, nullptr},
    {"1256", 1256, nullptr},
    {"1257", 1257, nullptr},
    {"1258", 1258, nullptr},

    {"437 pc8codepage437", 437, nullptr},
    {"737", 737, nullptr},
    {"775", 775, nullptr},
    {"850 pc850multilingual", 850, nullptr},
    {"852 pcp852", 852, nullptr},
    {"855 pcp855", 855, nullptr},
    {"857", 857, nullptr},
    {"858 pcmultilingual850euro", 858, nullptr},
    {"860", 860, nullptr},
    {"861", 861, nullptr},
    {"862 pc862latinhebrew", 862, nullptr},
    {"863", 863, nullptr},
    {"864", 864, nullptr},
    {"865", 865, nullptr},
    {"866", 866, nullptr},
    {"869", 869, nullptr},

    {"macintosh mac xmacroman", 10000, nullptr},
    {"xmacgreek", 10006, nullptr},
    {"xmaccyrillic", 10007, nullptr},
    {"xmacturkish", 10081, nullptr},

    {"37", 37, nullptr},
    {"273", 20273, nullptr},
    {"277", 20277, nullptr},
    {"278", 20278, nullptr},
    {"280", 20280, nullptr},
    {"284", 20284, nullptr},
    {"285", 20285, nullptr},
    {"297", 20297, nullptr},
    {"420", 20420, nullptr},
    {"423", 20423, nullptr},
    {"424", 20424, nullptr},
    {"500", 500, nullptr},
    {"870", 870, nullptr},
    {"871", 20871, nullptr},
    {"880", 20880, nullptr},
    {"905", 20905, nullptr},
    {"1026", 1026, nullptr},
    {"1047", 1047, nullptr},
    {"1140", 1140, nullptr},
    {"1141", 1141, nullptr},
    {"1142", 1142, nullptr},
    {"1143", 1143, nullptr},
    {"1144", 1144, nullptr},
    {"1145", 1145, nullptr},
    {"1146", 1146, nullptr},
    {"1147", 1147, nullptr},
    {"1148", 1148, nullptr},
    {"1149", 1149, nullptr},
};

struct named_row {
  std::string_view name;
  const encoding_row* row;
};

constexpr std::size_t name_count = [] {
  std::size_t count = 0;
  for (const encoding_row& row : rows) {
    count += 1 + static_cast<std::size_t>(std::count(row.names.begin(), row.names.end(), ' '));
  }
  return count;
}();

/// All names, sorted.
constexpr std::array<named_row, name_count> index = [] {
  std::array<named_row, name_count> result;
  std::size_t at = 0;
  for (const encoding_row& row : rows) {
    for (std::string_view rest = row.names; !rest.empty();) {
      const std::string_view name = rest.substr(0, rest.find(' '));
      result[at++] = {name, &row};
      rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    }
  }
  std::sort(result.begin(), result.end(), [](const named_row& a, const named_row& b) { return a.name < b.name; });
  return result;
}();

static_assert(std::adjacent_find(index.begin(), index.end(), [](const named_row& a, const named_row& b) {
                return a.name == b.name;
              }) == index.end());

/// Whichever is active: also a page that has no name here.
text_encoding active() {
  const unsigned page = active_code_page();
  const auto found =
      std::find_if(std::begin(rows), std::end(rows), [page](const encoding_row& row) { return row.page == page; });
  return found == std::end(rows) ? page_encoding(page) : encoding_of(*found);
}

}  // namespace

const encoding_row* find_row(std::string_view name) {
  const auto found = std::lower_bound(index.begin(), index.end(), name,
                                      [](const named_row& row, std::string_view key) { return row.name < key; });
  return found != index.end() && found->name == name ? found->row : nullptr;
}

text_encoding encoding_of(const encoding_row& row) {
  return row.get != nullptr ? row.get() : page_encoding(row.page);
}

}  // namespace fl::i18n::detail
