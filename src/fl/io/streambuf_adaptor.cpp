// The factories: which converters make which adaptor.
#include "io/streambuf_adaptor.hpp"

#include <fl/io/streambuf_adaptor.hpp>

#include <boost/core/null_deleter.hpp>
#include <boost/smart_ptr/make_shared.hpp>

namespace foundation::core::io {
namespace {

using namespace fl::i18n;

/// Replaces what cannot be converted.
constexpr bool lenient = true;

template <class Adaptor, class Out, class In, class Underlying>
boost::shared_ptr<Adaptor> make_adaptor(const Underlying& underlying, const std::string& encoding) {
  return boost::make_shared<Adaptor>(underlying, boost::make_shared<Out>(encoding, lenient),
                                     boost::make_shared<In>(encoding, lenient));
}

/// The stream's buffer, owned by somebody else.
boost::shared_ptr<std::basic_streambuf<char>> borrowed(std::basic_streambuf<char>* buffer) {
  return {buffer, boost::null_deleter()};
}

}  // namespace

boost::shared_ptr<std::basic_streambuf<char>> make_streambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char16_t>>& underlying, const std::string& encoding) {
  return make_adaptor<streambuf_adaptorT<char, char16_t>, stream_codecvt_string_to_ustring,
                      stream_codecvt_ustring_to_string>(underlying, encoding);
}

boost::shared_ptr<std::basic_streambuf<char16_t>> make_ustreambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char>>& underlying, const std::string& encoding) {
  return make_adaptor<streambuf_adaptorT<char16_t, char>, stream_codecvt_ustring_to_string,
                      stream_codecvt_string_to_ustring>(underlying, encoding);
}

boost::shared_ptr<std::basic_streambuf<char>> make_utf8streambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char>>& underlying, const std::string& encoding) {
  return make_adaptor<streambuf_adaptorT<char, char>, stream_codecvt_utf8string_to_string,
                      stream_codecvt_string_to_utf8string>(underlying, encoding);
}

uistream make_uistream_adaptor(std::basic_istream<char>& bytes, const std::string& encoding) {
  return uistream(make_ustreambuf_adaptor(borrowed(bytes.rdbuf()), encoding));
}

uostream make_uostream_adaptor(std::basic_ostream<char>& bytes, const std::string& encoding) {
  return uostream(make_ustreambuf_adaptor(borrowed(bytes.rdbuf()), encoding));
}

namespace test_helper {

boost::shared_ptr<std::basic_streambuf<char>> make_streambuf_adaptor(
    const boost::shared_ptr<std::basic_streambuf<char16_t>>& underlying,
    const boost::shared_ptr<fl::i18n::stream_converter<char16_t, char>>& converter) {
  return boost::make_shared<streambuf_adaptorT<char, char16_t>>(underlying, converter, nullptr);
}

}  // namespace test_helper
}  // namespace foundation::core::io
