// Modules and their exported symbols, by address. Thread safety: any thread.
#pragma once

#include <fl/export.hpp>

namespace foundation::core::diag::symbols {

/// The start of the allocation that holds `address`, which for an address in a module is the module's base; null if
/// the memory is not committed. Memory that belongs to no module gives the start of its allocation too.
FL_API const void* getModuleAddress(const void* address) noexcept;

/// The exported symbol `name` of the module that contains `moduleAddress`; null if there is no such module or symbol.
/// The module is not kept loaded.
FL_API const void* getSymbolAddress(const void* moduleAddress, const char* name);

}  // namespace foundation::core::diag::symbols
