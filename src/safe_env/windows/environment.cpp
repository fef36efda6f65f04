// The snapshot of the environment. Thread safety: the system copies the block under its own lock, so what is walked
// here belongs to this call alone.
#include <i18n/convert.hpp>
#include <safe_env/environment.hpp>

#include "common/windows/system_error.hpp"

#include <windows.h>

#include <memory>
#include <string_view>

namespace safe_env {
namespace {

struct free_block {
  void operator()(wchar_t* block) const noexcept { FreeEnvironmentStringsW(block); }
};
using environment_block = std::unique_ptr<wchar_t, free_block>;

environment_block copy_block() {
  environment_block block(GetEnvironmentStringsW());
  if (!block) {
    foundation::core::sysdep::windows::throw_system_error(GetLastError(), "GetEnvironmentStringsW",
                                                          BOOST_CURRENT_LOCATION);
  }
  return block;
}

}  // namespace

std::vector<std::string> get_environment_copy() {
  const environment_block block = copy_block();
  std::vector<std::string> entries;
  fl::ustring units;  // of one entry; kept for the next one, which then mostly needs no memory
  // Zero-terminated entries follow each other; an empty one ends the block.
  for (const wchar_t* next = block.get(); *next != L'\0';) {
    const std::wstring_view entry(next);
    units.assign(entry.begin(), entry.end());
    entries.push_back(fl::i18n::ustring_to_utf8(units));
    next += entry.size() + 1;
  }
  return entries;
}

}  // namespace safe_env
