#include "catalog/bad_catalog.hpp"

#include <i18n/convert.hpp>
#include <i18n/errors.hpp>

#include <boost/throw_exception.hpp>

namespace fl::i18n::detail {

void throw_bad_catalog(const ustring& path, const std::string& reason) {
  boost::throw_exception(bad_catalog("the message catalog " + ustring_to_utf8(path) + " cannot be used: " + reason),
                         BOOST_CURRENT_LOCATION);
}

}  // namespace fl::i18n::detail
