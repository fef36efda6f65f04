// All living loggers, the rules for their levels and the switch for all of them.
//
// Thread safety: may be called from every thread; one mutex. While the process is ending an operation whose mutex is
// held by a thread that is gone does nothing.
#pragma once

#include <foundation_log/control.hpp>
#include <foundation_log/logger.hpp>

#include "level_rules.hpp"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace foundation::log::detail {

class registry {
 public:
  using logger = basic_diagnostic_logger<char>;

  /// Made by the first logger and never destroyed, since loggers of other libraries may go after everything else.
  static registry& get();

  void add(logger& entry);
  void remove(logger& entry) noexcept;

  /// Reads the environment and gives all loggers their levels, if that has not been done yet. Without memory nothing
  /// changes and the next call tries again.
  void configure() noexcept;

  void set_level(logger& entry, unsigned word) noexcept;
  std::size_t set_level(std::string_view pattern, unsigned word);
  std::vector<channel_level> list(std::string_view pattern);

  void enable(bool on) noexcept;
  bool enabled() const noexcept { return enabled_.load(std::memory_order_relaxed); }

 private:
  registry() = default;

  void read_environment();
  void assign(logger& entry, unsigned word) const noexcept;
  static bool is_unassigned(const logger& entry) noexcept;

  std::mutex mutex_;                                    ///< Guards everything below; `enabled_` may be read without it.
  std::unordered_map<logger*, std::uint64_t> loggers_;  ///< Each with its number in the order of creation.
  std::uint64_t created_ = 0;                           ///< How many loggers there have been.
  level_rules rules_;                                   ///< The environment's, then those of calls.
  bool configured_ = false;                             ///< Whether the environment has been read.
  std::atomic<bool> enabled_{true};
};

}  // namespace foundation::log::detail
