#include "diag/windows/symbol_engine.hpp"

#include "diag/windows/readable_symbol.hpp"
#include "diag/windows/symbol_service.hpp"
#include "util/built_once.hpp"

#include <windows.h>

#include <cstring>

namespace foundation::core::diag {

namespace {

constexpr DWORD options = SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS | SYMOPT_DEBUG;
static_assert(options == 0x80000006);

constexpr ULONG longest_name = 2000;
static_assert(sizeof(SYMBOL_INFO) == 88);

constinit util::built_once<symbol_engine> engine;

/// A symbol as the service wants to write it: its name stands behind the record.
struct symbol_record {
  SYMBOL_INFO info;
  char more_name[longest_name];

  symbol_record() noexcept {
    std::memset(&info, 0, sizeof info);
    info.SizeOfStruct = sizeof info;
    info.MaxNameLen = longest_name;
  }
};

}  // namespace

symbol_engine& symbol_engine::instance() noexcept {
  return engine.get();
}

symbol_engine::symbol_engine() noexcept : process_(GetCurrentProcess()), search_path_{} {
  GetModuleFileNameA(nullptr, search_path_, sizeof search_path_);
  search_path_[sizeof search_path_ - 1] = '\0';
  if (char* const backslash = std::strrchr(search_path_, '\\')) {
    *backslash = '\0';
  }
}

void symbol_engine::acquire() noexcept {
  if (!has_options_) {
    has_options_ = symbol_service::set_options(symbol_service::get_options() | options) != 0;
  }
  if (!running_) {
    running_ = symbol_service::initialize(process_, search_path_, TRUE) == TRUE;
  }
  ++holders_;
}

void symbol_engine::release() noexcept {
  --holders_;
  stop_if_unused();
}

void symbol_engine::stop_if_unused() noexcept {
  if (holders_ != 0 || reservations_ != 0 || !running_) {
    return;
  }
  running_ = false;
  symbol_service::cleanup(process_);
}

bool symbol_engine::find_symbol(const void* address, char* name, std::size_t size,
                                std::uint64_t& displacement) noexcept {
  symbol_record record;
  DWORD64 distance = 0;
  if (!running_ ||
      symbol_service::from_address(process_, reinterpret_cast<DWORD64>(address), &distance, &record.info) != TRUE) {
    return false;
  }
  displacement = distance;
  write_readable_symbol(record.info.Name, name, size);
  return true;
}

}  // namespace foundation::core::diag
