#include "diag/symbol_lookup.hpp"

#include <fl/diag/symbols.hpp>

#include "diag/windows/memory_region.hpp"
#include "diag/windows/symbol_engine.hpp"
#include "diag/windows/symbol_service.hpp"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace foundation::core::diag {

namespace {

constexpr std::size_t longest_variable = 256;  ///< Of the name of a module's variable, in characters.

/// What the module exports under "<stem>_relative_path", or null.
const char* relative_path_of(const void* module, std::string_view file) noexcept try {
  constexpr std::string_view suffix = "_relative_path";
  std::string_view stem = file.substr(file.rfind('\\') + 1);
  stem = stem.substr(0, stem.find('.'));
  if (stem.size() + suffix.size() > longest_variable) {
    return nullptr;
  }
  char name[longest_variable + 1];
  *std::copy(suffix.begin(), suffix.end(), std::copy(stem.begin(), stem.end(), name)) = '\0';
  const void* const variable = symbols::getSymbolAddress(module, name);
  return variable != nullptr ? *static_cast<const char* const*>(variable) : nullptr;
} catch (...) {
  return nullptr;
}

bool name_module(const void* base, frame_description& known) noexcept {
  const auto module = static_cast<HMODULE>(const_cast<void*>(base));
  if (GetModuleFileNameA(module, known.file, sizeof known.file) == 0) {
    return false;
  }
  known.file[sizeof known.file - 1] = '\0';
  known.module = base;
  known.relative_path = relative_path_of(base, known.file);
  return true;
}

void forget_module(frame_description& known) noexcept {
  known.module = known.code_begin = known.code_end = nullptr;
  known.relative_path = nullptr;
  known.file[0] = '\0';
}

}  // namespace

void find_module(const void* frame, frame_description& known) noexcept {
  if (known.code_begin <= frame && frame < known.code_end) {
    return;
  }
  MEMORY_BASIC_INFORMATION region;
  const void* const base = find_committed_region(frame, region) ? region.AllocationBase : nullptr;
  if (base == nullptr || (base != known.module && !name_module(base, known))) {
    forget_module(known);
    return;
  }
  known.code_begin = region.BaseAddress;
  known.code_end = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
}

void keep_symbols() noexcept {
  symbol_engine::reserve();
}

void let_symbols_go() noexcept {
  if (symbol_engine::unreserve()) {
    with_symbol_engine([](symbol_engine& engine) { engine.stop_if_unused(); });
  }
}

symbol_lookup::symbol_lookup() noexcept
    : holding_(symbol_service::loader_is_free() &&
               with_symbol_engine([](symbol_engine& engine) { engine.acquire(); })) {}

symbol_lookup::~symbol_lookup() {
  // If that cannot be done any more, the service goes on running.
  if (holding_) {
    with_symbol_engine([](symbol_engine& engine) { engine.release(); });
  }
}

bool symbol_lookup::find_symbol(const void* frame, frame_description& known) const noexcept {
  known.symbol[0] = '\0';
  return holding_ && with_symbol_engine([&](symbol_engine& engine) {
           engine.find_symbol(frame, known.symbol, sizeof known.symbol, known.displacement);
         });
}

}  // namespace foundation::core::diag
