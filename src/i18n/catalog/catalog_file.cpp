// Catalog files. The events of a JSON parser are used rather than its tree: a tree no longer knows that a key stood
// twice, nor on which line a value was.
#include "catalog/catalog_file.hpp"

#include <i18n/convert.hpp>

#include "catalog/bad_catalog.hpp"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/serialize.hpp>
#include <boost/system/error_code.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace fl::i18n::detail {
namespace {

using boost::json::string_view;
using boost::system::error_code;

/// Keeps what the parser finds. A function that returns false ends the parsing with the error that it has set.
class catalog_handler {
 public:
  static constexpr std::size_t max_object_size = std::string::npos;
  static constexpr std::size_t max_array_size = std::string::npos;
  static constexpr std::size_t max_key_size = std::string::npos;
  static constexpr std::size_t max_string_size = std::string::npos;

  bool on_document_begin(error_code&) { return true; }
  bool on_document_end(error_code&) { return true; }
  bool on_object_begin(error_code& error) { return std::exchange(inside_, true) ? not_a_text(error) : true; }
  bool on_object_end(std::size_t, error_code&) { return true; }
  bool on_key_part(string_view part, std::size_t, error_code&) { return append(part); }
  bool on_key(string_view rest, std::size_t, error_code& error) {
    append(rest);
    mnemonic_ = std::exchange(so_far_, {});
    return texts_.count(mnemonic_) == 0 || refuse(error, "the mnemonic " + shown_mnemonic() + " stands here again");
  }
  bool on_string_part(string_view part, std::size_t, error_code& error) {
    return inside_ ? append(part) : not_a_text(error);
  }
  bool on_string(string_view rest, std::size_t, error_code& error) {
    if (!inside_) {
      return not_a_text(error);
    }
    append(rest);
    texts_.emplace(mnemonic_, utf8_to_ustring(so_far_));
    so_far_.clear();
    return true;
  }
  bool on_array_begin(error_code& error) { return not_a_text(error); }
  bool on_array_end(std::size_t, error_code&) { return true; }
  bool on_number_part(string_view, error_code& error) { return not_a_text(error); }
  bool on_int64(std::int64_t, string_view, error_code& error) { return not_a_text(error); }
  bool on_uint64(std::uint64_t, string_view, error_code& error) { return not_a_text(error); }
  bool on_double(double, string_view, error_code& error) { return not_a_text(error); }
  bool on_bool(bool, error_code& error) { return not_a_text(error); }
  bool on_null(error_code& error) { return not_a_text(error); }
  bool on_comment_part(string_view, error_code&) { return true; }
  bool on_comment(string_view, error_code&) { return true; }

  /// Why a function returned false; empty if none did.
  const std::string& complaint() const noexcept { return complaint_; }
  catalog_texts& texts() noexcept { return texts_; }

 private:
  bool append(string_view part) {
    so_far_.append(part.data(), part.size());
    return true;
  }
  bool refuse(error_code& error, std::string why) {
    error = boost::json::error::syntax;
    complaint_ = std::move(why);
    return false;
  }
  /// As in a file, in quotes: with a zero in it the message would end there, and with a line's end go on in the next.
  std::string shown_mnemonic() const { return boost::json::serialize(string_view(mnemonic_)); }
  bool not_a_text(error_code& error) {
    return refuse(error, inside_ ? "the value of " + shown_mnemonic() + " is not a text"
                                 : "one object from mnemonics to texts is expected");
  }

  catalog_texts texts_;
  std::string so_far_;    ///< what has come of the key or text at hand
  std::string mnemonic_;  ///< the key whose value is at hand
  std::string complaint_;
  bool inside_ = false;  ///< the one object has begun
};

/// Where the beginning `text` of a file ends, for people: from 1, in characters.
std::string position_behind(std::string_view text) {
  const auto line = std::count(text.begin(), text.end(), '\n') + 1;
  const std::string_view last = text.substr(text.rfind('\n') + 1);  // All of it, if no line has ended.
  const auto column = std::count_if(last.begin(), last.end(),
                                    [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }) +
                      1;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

std::optional<ustring> catalog_file_name(std::string_view catalog) {
  ustring name;
  for (const char c : catalog) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    if (!plain && c != ':') {
      return std::nullopt;
    }
    name += c == ':' ? u'.' : static_cast<char16_t>(c);
  }
  return name.empty() ? std::nullopt : std::optional(name + u".json");
}

catalog_texts parse_catalog(std::string_view json, const ustring& path) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (json.substr(0, byte_order_mark.size()) == byte_order_mark) {
    json.remove_prefix(byte_order_mark.size());
  }
  boost::json::basic_parser<catalog_handler> parser{boost::json::parse_options()};
  error_code error;
  const std::size_t parsed = parser.write_some(false, json.data(), json.size(), error);
  if (!error && parsed != json.size()) {
    error = boost::json::error::extra_data;
  }
  if (error) {
    const std::string& complaint = parser.handler().complaint();
    throw_bad_catalog(
        path, position_behind(json.substr(0, parsed)) + ": " + (complaint.empty() ? error.message() : complaint));
  }
  return std::move(parser.handler().texts());
}

}  // namespace fl::i18n::detail
