// What the startup data of a child carry beside the handles that it inherits: for libraries on top of this one which
// extend a launch, such as by a job that the child starts in. No interface for programs.
//
// A context carries the attributes along when it is copied, assigned or swapped. They have no part in its comparisons,
// its order and its printed form. Every way of launching passes them but the elevated one, which fails instead: the
// system's shell cannot give them to its child. Thread safety: as that of the context.
#pragma once

#include <fl/export.hpp>
#include <fl/process/context.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace foundation::core::detail {

/// The value of an attribute for one launch.
struct launch_attribute {
  const void* address;
  std::size_t size;                   ///< bytes
  std::shared_ptr<const void> owner;  ///< of what the address refers to; kept until the creating call has returned
};

/// Asked at each launch, on its thread, before the child is created. What it throws fails the launch, with that reason.
using launch_attribute_source = std::function<launch_attribute()>;

/// An attribute as a context holds it.
struct launch_attribute_entry {
  std::uintptr_t number;  ///< the system's name of the attribute, PROC_THREAD_ATTRIBUTE_…; no two entries have the same
  launch_attribute_source source;  ///< never empty
};

/// Lets children that are launched with `how`, and with later copies of it, have the attribute. Takes the place of the
/// one of that number; an empty source removes that. Leaves `how` as it was if it throws std::bad_alloc.
FL_API void set_launch_attribute(process::context& how, std::uintptr_t number, launch_attribute_source source);

/// Those that were set, in the order in which their numbers first came. Valid until `how` changes.
FL_API const std::vector<launch_attribute_entry>& launch_attributes(const process::context& how);

}  // namespace foundation::core::detail
