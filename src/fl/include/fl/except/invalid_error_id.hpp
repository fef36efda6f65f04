// The name of an error is not one. Thrown as `detail::AnonymousInternalException<InvalidErrorID>`.
#pragma once

#include <fl/except/anonymous_internal_exception.hpp>
#include <fl/export.hpp>

#include <stdexcept>
#include <string>

namespace foundation::core::except {

/// `what()` is the offending name and nothing else. Copies share the text; moving is copying.
class FL_API InvalidErrorID : public std::runtime_error {
 public:
  /// `id`: the offending name.
  explicit InvalidErrorID(const std::string& id);
  InvalidErrorID(const InvalidErrorID& other) noexcept;
  InvalidErrorID& operator=(const InvalidErrorID& other) noexcept;
  ~InvalidErrorID() override;
};

extern template class FL_API Exception<IInternalException, InvalidErrorID, void>;
extern template class FL_API detail::AnonymousInternalException<InvalidErrorID>;

}  // namespace foundation::core::except
