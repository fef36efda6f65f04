// The file for a report, which is made when the process dies: by the kernel alone, past the part of the system that
// turns names into the kernel's and allocates for it, since the heap may be what is damaged.
#pragma once

#include <fl/util/ustring.hpp>

#include <string_view>

namespace foundation::kit {

using foundation::core::ustring;

/// Writes all of it. False if the system refuses. Any thread.
bool write_whole(void* file, std::string_view text) noexcept;

/// Belongs to one thread at a time.
class report_file {
 public:
  /// An empty name stands for no file. Throws boost::system::system_error if the name cannot be one.
  explicit report_file(const ustring& name);
  report_file(const report_file&) = delete;
  report_file& operator=(const report_file&) = delete;
  ~report_file();

  bool wanted() const noexcept { return !name_.empty(); }
  /// Appends to the file, which is made, or emptied, by the first call. False if that or the writing has failed.
  bool write(std::string_view text) noexcept;

 private:
  bool make() noexcept;

  ustring name_;          ///< as the kernel has it; empty for none
  void* file_ = nullptr;  ///< null until it has been made
};

}  // namespace foundation::kit
