// What printing and parsing add to those of the handles, which stand in iopipe_descriptor.cpp.
#include <fl/process/iopipe_descriptor_impl.hpp>

#include <boost/numeric/conversion/cast.hpp>

#include <istream>
#include <locale>
#include <ostream>
#include <sstream>

namespace foundation::core::sysdep::windows {

iopipe_descriptor_impl::iopipe_descriptor_impl(const process::iopipe_handles& handles, bool text_mode,
                                               bool has_pending_char, char pending_char, bool overlapped) noexcept
    : iopipe_descriptor_impl_base(handles),
      text_mode_(text_mode),
      has_pending_char_(has_pending_char),
      pending_char_(pending_char),
      overlapped_(overlapped) {}

iopipe_descriptor_impl::iopipe_descriptor_impl(const std::string& text) {
  std::istringstream in(text);
  in.exceptions(std::ios_base::badbit);  // Or it would swallow the std::bad_alloc of its buffer.
  in.imbue(std::locale::classic());
  parse(in);
}

void iopipe_descriptor_impl::serialize(std::ostream& out) const {
  iopipe_descriptor_impl_base::serialize(out);
  const int pending = static_cast<signed char>(pending_char_);  // NOLINT(bugprone-signed-char-misuse): -128 to 127
  out << ' ' << text_mode_ << ' ' << has_pending_char_ << ' ' << pending << ' ' << overlapped_;
}

void iopipe_descriptor_impl::parse(std::istream& in) {
  iopipe_descriptor_impl_base::parse(in);
  int pending = 0;
  in >> text_mode_ >> has_pending_char_ >> pending >> overlapped_;
  pending_char_ = static_cast<char>(boost::numeric_cast<signed char>(pending));
}

}  // namespace foundation::core::sysdep::windows
