// How numbers are written: as in the C locale, whatever the native locale is. The templates of the run-time library
// keep this in a cache object, which a `numpunct` makes for itself and owns.
#include <cpp11compat/char16_streams.hpp>

#include <algorithm>
#include <string_view>

namespace {

constexpr std::u16string_view true_name = u"true";
constexpr std::u16string_view false_name = u"false";

void widen_ascii(const char* text, std::size_t size, char16_t* units) {
  std::transform(text, text + size, units, [](char each) { return static_cast<char16_t>(each); });
}

}  // namespace

namespace std {

template <>
void numpunct<char16_t>::_M_initialize_numpunct(__c_locale) {
  if (_M_data == nullptr) {
    _M_data = new __numpunct_cache<char16_t>;
  }
  _M_data->_M_grouping = "";
  _M_data->_M_grouping_size = 0;
  _M_data->_M_use_grouping = false;
  _M_data->_M_decimal_point = u'.';
  _M_data->_M_thousands_sep = u',';
  _M_data->_M_truename = true_name.data();
  _M_data->_M_truename_size = true_name.size();
  _M_data->_M_falsename = false_name.data();
  _M_data->_M_falsename_size = false_name.size();
  widen_ascii(__num_base::_S_atoms_out, __num_base::_S_oend, _M_data->_M_atoms_out);
  widen_ascii(__num_base::_S_atoms_in, __num_base::_S_iend, _M_data->_M_atoms_in);
}

template <>
numpunct<char16_t>::~numpunct() {
  delete _M_data;  // The texts are constants: the cache does not own them.
}

}  // namespace std
