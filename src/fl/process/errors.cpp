// The special members of the exceptions stand here, so that their one copy lies in the DLL.
#include <fl/process/errors.hpp>

namespace foundation::core::process {

process_init_error::process_init_error(const std::string& reason)
    : std::runtime_error("An error occurred while initializing child process: " + reason) {}
process_init_error::process_init_error(const process_init_error&) noexcept = default;
process_init_error::process_init_error(process_init_error&&) noexcept = default;
process_init_error& process_init_error::operator=(const process_init_error&) noexcept = default;
process_init_error& process_init_error::operator=(process_init_error&&) noexcept = default;
process_init_error::~process_init_error() = default;

process_kill_error::process_kill_error(const std::string& reason)
    : std::runtime_error("An error occurred while trying to kill child process: " + reason) {}
process_kill_error::process_kill_error(const process_kill_error&) noexcept = default;
process_kill_error::process_kill_error(process_kill_error&&) noexcept = default;
process_kill_error& process_kill_error::operator=(const process_kill_error&) noexcept = default;
process_kill_error& process_kill_error::operator=(process_kill_error&&) noexcept = default;
process_kill_error::~process_kill_error() = default;

process_bad_user::process_bad_user(const std::string& reason) : std::runtime_error(reason) {}
process_bad_user::process_bad_user(const process_bad_user&) noexcept = default;
process_bad_user::process_bad_user(process_bad_user&&) noexcept = default;
process_bad_user& process_bad_user::operator=(const process_bad_user&) noexcept = default;
process_bad_user& process_bad_user::operator=(process_bad_user&&) noexcept = default;
process_bad_user::~process_bad_user() = default;

namespace {

constexpr int file_not_found = 2;  // ERROR_FILE_NOT_FOUND

}  // namespace

command_not_found::command_not_found(const std::string& text)
    // NOLINTNEXTLINE(bugprone-throw-keyword-missing): the base passes for a temporary
    : boost::system::system_error(file_not_found, boost::system::system_category(), text) {}
command_not_found::command_not_found(const command_not_found&) = default;
command_not_found::command_not_found(command_not_found&&) noexcept = default;
command_not_found& command_not_found::operator=(const command_not_found&) = default;
command_not_found& command_not_found::operator=(command_not_found&&) noexcept = default;
command_not_found::~command_not_found() noexcept = default;

}  // namespace foundation::core::process
