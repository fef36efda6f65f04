// Holders of message ids that know the exception class of their message have the failure declared here in common; the
// holders themselves belong to the components that define such classes.
#pragma once

#include <fl/export.hpp>

#include <exception>

namespace foundation::core::except {

/// No object: the name for what the holders have in common.
class TypedMsgIDHolder {
 public:
  TypedMsgIDHolder() = delete;

  /// What was asked for is not there: the holder is empty.
  class FL_API EmptyTypedMsgIDHolder : public std::exception {
   public:
    EmptyTypedMsgIDHolder() noexcept;
    EmptyTypedMsgIDHolder(const EmptyTypedMsgIDHolder& other) noexcept;
    EmptyTypedMsgIDHolder& operator=(const EmptyTypedMsgIDHolder& other) noexcept;
    ~EmptyTypedMsgIDHolder() override;
    /// "TypedMsgIDHolder object is empty!" and a line end.
    const char* what() const noexcept override;
  };
};

}  // namespace foundation::core::except
