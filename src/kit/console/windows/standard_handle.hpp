// A standard handle of this process as the device of a stream.
#pragma once

#include "console/standard_device.hpp"

#include <atomic>

namespace foundation::kit {

class standard_handle final : public standard_device {
 public:
  /// `which`: STD_INPUT_HANDLE and so on.
  explicit constexpr standard_handle(unsigned long which) noexcept : which_(which) {}

  device_kind kind() override;
  bool wants_lines() override;
  std::size_t write_bytes(const char* bytes, std::size_t count) override;
  std::size_t write_units(const char16_t* units, std::size_t count) override;
  std::size_t read_bytes(char* bytes, std::size_t count) override;
  std::size_t read_units(char16_t* units, std::size_t count) override;

 private:
  const unsigned long which_;
  std::atomic<void*> no_console_{nullptr};  // what the handle was when `kind` last saw that it is none
};

}  // namespace foundation::kit
