// Out of line, so that each class has one type information and one virtual table, and these lie in the DLL.
#include <fl/process/iopipe_error.hpp>

namespace foundation::core::process {

iopipe_error::iopipe_error(const std::string& message) : std::ios_base::failure(message, std::io_errc::stream) {}
iopipe_error::iopipe_error(const iopipe_error&) = default;
iopipe_error::iopipe_error(iopipe_error&&) noexcept = default;
iopipe_error& iopipe_error::operator=(const iopipe_error&) = default;
iopipe_error& iopipe_error::operator=(iopipe_error&&) noexcept = default;
iopipe_error::~iopipe_error() = default;

iopipe_read_error::iopipe_read_error(const std::string& message) : iopipe_error(message) {}
iopipe_read_error::iopipe_read_error(const iopipe_read_error&) = default;
iopipe_read_error::iopipe_read_error(iopipe_read_error&&) noexcept = default;
iopipe_read_error& iopipe_read_error::operator=(const iopipe_read_error&) = default;
iopipe_read_error& iopipe_read_error::operator=(iopipe_read_error&&) noexcept = default;
iopipe_read_error::~iopipe_read_error() = default;

iopipe_write_error::iopipe_write_error(const std::string& message) : iopipe_error(message) {}
iopipe_write_error::iopipe_write_error(const iopipe_write_error&) = default;
iopipe_write_error::iopipe_write_error(iopipe_write_error&&) noexcept = default;
iopipe_write_error& iopipe_write_error::operator=(const iopipe_write_error&) = default;
iopipe_write_error& iopipe_write_error::operator=(iopipe_write_error&&) noexcept = default;
iopipe_write_error::~iopipe_write_error() = default;

iopipe_close_error::iopipe_close_error(const std::string& message) : iopipe_error(message) {}
iopipe_close_error::iopipe_close_error(const iopipe_close_error&) = default;
iopipe_close_error::iopipe_close_error(iopipe_close_error&&) noexcept = default;
iopipe_close_error& iopipe_close_error::operator=(const iopipe_close_error&) = default;
iopipe_close_error& iopipe_close_error::operator=(iopipe_close_error&&) noexcept = default;
iopipe_close_error::~iopipe_close_error() = default;

}  // namespace foundation::core::process
