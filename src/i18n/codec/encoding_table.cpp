// The tables of names. Thread safety: pure functions over constant tables.
#include "codec/encoding_table.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <string>

namespace fl::i18n::detail {
namespace {

struct named_page {
  std::string_view name;  // Lower case, letters and digits only.
  unsigned page;
};

// Sorted by name. Names that are a prefix and a number stand in the next table instead.
constexpr named_page named_pages[] = {
    {"ansix341968", code_page::ascii},
    {"ansix341986", code_page::ascii},
    {"arabic", 28596},
    {"ascii", code_page::ascii},
    {"asmo708", 28596},
    {"big5", 950},
    {"chinese", code_page::gbk},
    {"cyrillic", 28595},
    {"ecma114", 28596},
    {"ecma118", code_page::iso_8859_7},
    {"elot928", code_page::iso_8859_7},
    {"euccn", code_page::gbk},
    {"eucjp", code_page::euc_jp},
    {"euckr", 949},
    {"eucpkdfmtjapanese", code_page::euc_jp},
    {"extendedunixcodepackedformatforjapanese", code_page::euc_jp},
    {"gb18030", code_page::gb18030},
    {"gb2312", code_page::gbk},
    {"gb231280", code_page::gbk},
    {"gbk", code_page::gbk},
    {"greek", code_page::iso_8859_7},
    {"greek8", code_page::iso_8859_7},
    {"hebrew", code_page::iso_8859_8},
    {"iso58gb231280", code_page::gbk},
    {"iso646irv1991", code_page::ascii},
    {"iso646us", code_page::ascii},
    {"iso88591", 28591},
    {"iso885910", code_page::iso_8859_10},
    {"iso8859101992", code_page::iso_8859_10},
    {"iso885911", code_page::iso_8859_11},
    {"iso885911987", 28591},
    {"iso885913", 28603},
    {"iso885914", code_page::iso_8859_14},
    {"iso8859141998", code_page::iso_8859_14},
    {"iso885915", 28605},
    {"iso885916", code_page::iso_8859_16},
    {"iso8859162001", code_page::iso_8859_16},
    {"iso88592", 28592},
    {"iso885921987", 28592},
    {"iso88593", 28593},
    {"iso885931988", 28593},
    {"iso88594", 28594},
    {"iso885941988", 28594},
    {"iso88595", 28595},
    {"iso885951988", 28595},
    {"iso88596", 28596},
    {"iso885961987", 28596},
    {"iso88596e", 28596},
    {"iso88596i", 28596},
    {"iso88597", code_page::iso_8859_7},
    {"iso885971987", code_page::iso_8859_7},
    {"iso88598", code_page::iso_8859_8},
    {"iso885981988", code_page::iso_8859_8},
    {"iso88598e", code_page::iso_8859_8},
    {"iso88598i", code_page::iso_8859_8},
    {"iso88599", 28599},
    {"iso885991989", 28599},
    {"isoceltic", code_page::iso_8859_14},
    {"isoir100", 28591},
    {"isoir101", 28592},
    {"isoir109", 28593},
    {"isoir110", 28594},
    {"isoir126", code_page::iso_8859_7},
    {"isoir127", 28596},
    {"isoir138", code_page::iso_8859_8},
    {"isoir144", 28595},
    {"isoir148", 28599},
    {"isoir149", 949},
    {"isoir157", code_page::iso_8859_10},
    {"isoir199", code_page::iso_8859_14},
    {"isoir226", code_page::iso_8859_16},
    {"isoir58", code_page::gbk},
    {"isoir6", code_page::ascii},
    {"isolatin1", 28591},
    {"isolatin2", 28592},
    {"isolatin3", 28593},
    {"isolatin4", 28594},
    {"isolatin5", 28599},
    {"isolatin6", code_page::iso_8859_10},
    {"isolatinarabic", 28596},
    {"isolatincyrillic", 28595},
    {"isolatingreek", code_page::iso_8859_7},
    {"isolatinhebrew", code_page::iso_8859_8},
    {"johab", 1361},
    {"koi8r", 20866},
    {"koi8u", 21866},
    {"korean", 949},
    {"ksc5601", 949},
    {"ksc56011987", 949},
    {"ksc56011989", 949},
    {"l1", 28591},
    {"l10", code_page::iso_8859_16},
    {"l2", 28592},
    {"l3", 28593},
    {"l4", 28594},
    {"l5", 28599},
    {"l6", code_page::iso_8859_10},
    {"l7", 28603},
    {"l8", code_page::iso_8859_14},
    {"latin1", 28591},
    {"latin10", code_page::iso_8859_16},
    {"latin2", 28592},
    {"latin3", 28593},
    {"latin4", 28594},
    {"latin5", 28599},
    {"latin6", code_page::iso_8859_10},
    {"latin7", 28603},
    {"latin8", code_page::iso_8859_14},
    {"latin9", 28605},
    {"mac", 10000},
    {"macintosh", 10000},
    {"mskanji", 932},
    {"pc850multilingual", 850},
    {"pc862latinhebrew", 862},
    {"pc8codepage437", 437},
    {"pcmultilingual850euro", 858},
    {"pcp852", 852},
    {"pcp855", 855},
    {"shiftjis", 932},
    {"sjis", 932},
    {"system", code_page::active},
    {"tis620", 874},
    {"uhc", 949},
    {"ujis", code_page::euc_jp},
    {"us", code_page::ascii},
    {"usascii", code_page::ascii},
    {"utf16", code_page::utf16_by_mark},
    {"utf16be", code_page::utf16_big},
    {"utf16le", code_page::utf16_little},
    {"utf32", code_page::utf32_by_mark},
    {"utf32be", code_page::utf32_big},
    {"utf32le", code_page::utf32_little},
    {"utf8", code_page::utf8},
    {"utf8bom", code_page::utf8_by_mark},
    {"utf8sig", code_page::utf8_by_mark},
    {"windows31j", 932},
    {"xeucjp", code_page::euc_jp},
    {"xgbk", code_page::gbk},
    {"xmaccyrillic", 10007},
    {"xmacgreek", 10006},
    {"xmacroman", 10000},
    {"xmacturkish", 10081},
    {"xsjis", 932},
};

struct numbered_page {
  unsigned number;  // As in IBM850, cp850, windows-1252, ms932.
  unsigned page;
};

// Sorted by number.
constexpr numbered_page numbered_pages[] = {
    {37, 37},       {273, 20273}, {277, 20277}, {278, 20278}, {280, 20280}, {284, 20284},   {285, 20285},
    {297, 20297},   {367, 20127}, {420, 20420}, {423, 20423}, {424, 20424}, {437, 437},     {500, 500},
    {737, 737},     {775, 775},   {819, 28591}, {850, 850},   {852, 852},   {855, 855},     {857, 857},
    {858, 858},     {860, 860},   {861, 861},   {862, 862},   {863, 863},   {864, 864},     {865, 865},
    {866, 866},     {869, 869},   {870, 870},   {871, 20871}, {874, 874},   {880, 20880},   {905, 20905},
    {932, 932},     {936, 936},   {949, 949},   {950, 950},   {1026, 1026}, {1047, 1047},   {1140, 1140},
    {1141, 1141},   {1142, 1142}, {1143, 1143}, {1144, 1144}, {1145, 1145}, {1146, 1146},   {1147, 1147},
    {1148, 1148},   {1149, 1149}, {1250, 1250}, {1251, 1251}, {1252, 1252}, {1253, 1253},   {1254, 1254},
    {1255, 1255},   {1256, 1256}, {1257, 1257}, {1258, 1258}, {1361, 1361}, {51932, 20932}, {54936, 54936},
    {65001, 65001},
};

constexpr std::string_view number_prefixes[] = {"ccsid", "cp", "ibm", "ms", "windows"};

static_assert(std::is_sorted(std::begin(named_pages), std::end(named_pages),
                             [](const named_page& a, const named_page& b) { return a.name < b.name; }));
static_assert(std::is_sorted(std::begin(numbered_pages), std::end(numbered_pages),
                             [](const numbered_page& a, const numbered_page& b) { return a.number < b.number; }));

std::string normalised(std::string_view name) {
  constexpr std::string_view ignored = "-_.: ";
  std::string result;
  for (const char c : name) {
    if (ignored.find(c) == std::string_view::npos) {
      result += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
  }
  return result;
}

std::optional<unsigned> find_named(std::string_view name) {
  const auto found = std::lower_bound(std::begin(named_pages), std::end(named_pages), name,
                                      [](const named_page& row, std::string_view key) { return row.name < key; });
  return found != std::end(named_pages) && found->name == name ? std::optional(found->page) : std::nullopt;
}

/// For the digits behind a prefix, or a bare number.
std::optional<unsigned> find_numbered(std::string_view digits) {
  unsigned number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stopped, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc() || stopped != end) {
    return std::nullopt;
  }
  const auto found = std::lower_bound(std::begin(numbered_pages), std::end(numbered_pages), number,
                                      [](const numbered_page& row, unsigned key) { return row.number < key; });
  return found != std::end(numbered_pages) && found->number == number ? std::optional(found->page) : std::nullopt;
}

std::optional<unsigned> find_normalised(std::string_view name) {
  if (const auto page = find_named(name)) {
    return page;
  }
  for (const std::string_view prefix : number_prefixes) {
    if (name.substr(0, prefix.size()) == prefix) {
      return find_numbered(name.substr(prefix.size()));
    }
  }
  return find_numbered(name);
}

}  // namespace

std::optional<unsigned> find_code_page(std::string_view name) {
  const std::string key = normalised(name);
  if (const auto page = find_normalised(key)) {
    return page;
  }
  // Most registered names have an alias of their own that begins with "cs".
  return key.substr(0, 2) == "cs" ? find_normalised(std::string_view(key).substr(2)) : std::nullopt;
}

}  // namespace fl::i18n::detail
