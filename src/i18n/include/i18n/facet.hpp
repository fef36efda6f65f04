// The locale of `char16_t` streams.
//
// The standard library's own locales cannot format or classify `char16_t`: `stream << 42` and `stream >> number` fail
// with `std::bad_cast`. The streams of fl/io.hpp are imbued with this one.
#pragma once

#include <cpp11compat/char16_streams.hpp>
#include <i18n/export.hpp>

#include <locale>

namespace fl::i18n::facet {

/// The classic locale with the facets that `char16_t` streams need beside its own: classification (`std::ctype`),
/// formatting and reading of numbers (`std::num_put`, `std::num_get`, `std::numpunct`). Numbers look as in the C locale
/// whatever the user's language, so that what one machine writes another one reads.
///
/// The same object at each call, made at the first and never destroyed. May be called from every thread. Throws
/// `std::bad_alloc` if the first call finds no memory.
I18N_API const std::locale& get_global_std_locale();

}  // namespace fl::i18n::facet
