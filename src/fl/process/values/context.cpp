#include <fl/process/context.hpp>
#include <fl/process/iopipe.hpp>
#include <fl/process/open_mode.hpp>
#include <i18n/convert.hpp>
#include <safe_env/environment.hpp>

#include "process/values/environment_entries.hpp"

#include <boost/smart_ptr/make_shared.hpp>

#include <utility>

namespace foundation::core::process {

context::context()
    : environment_(environment_from_entries(safe_env::get_environment_copy())),
      inherited_handles_(boost::make_shared<inherited_handles_type>()) {}

context::context(const context& other)
    : environment_(other.environment_),
      std_in_(other.std_in_),
      std_out_(other.std_out_),
      std_err_(other.std_err_),
      directory_(other.directory_),
      user_(other.user_),
      inherited_handles_(boost::make_shared<inherited_handles_type>(*other.inherited_handles_)),
      inherited_pipes_(other.inherited_pipes_),
      detached_process_(other.detached_process_),
      explicitly_inherit_handles_(other.explicitly_inherit_handles_),
      create_no_window_(other.create_no_window_),
      hide_windows_(other.hide_windows_),
      elevation_level_(other.elevation_level_),
      launch_attributes_(other.launch_attributes_) {}

context& context::operator=(const context& other) {
  context copy(other);
  swap(copy);
  return *this;
}

context::~context() = default;

void context::swap(context& other) {
  environment_.swap(other.environment_);
  std_in_.swap(other.std_in_);
  std_out_.swap(other.std_out_);
  std_err_.swap(other.std_err_);
  directory_.swap(other.directory_);
  user_.swap(other.user_);
  inherited_handles_.swap(other.inherited_handles_);
  inherited_pipes_.swap(other.inherited_pipes_);
  detached_process_.swap(other.detached_process_);
  explicitly_inherit_handles_.swap(other.explicitly_inherit_handles_);
  create_no_window_.swap(other.create_no_window_);
  hide_windows_.swap(other.hide_windows_);
  std::swap(elevation_level_, other.elevation_level_);
  launch_attributes_.swap(other.launch_attributes_);
}

environment_map& context::environment() {
  return environment_;
}
const environment_map& context::environment() const {
  return environment_;
}

context& context::std_in(const std_in_type& value) {
  std_in_ = value;
  return *this;
}

context& context::std_out(const std_out_type& value) {
  std_out_ = value;
  return *this;
}

context& context::std_err(const std_err_type& value) {
  std_err_ = value;
  return *this;
}

const std_in_type& context::std_in() const {
  return std_in_;
}
const std_out_type& context::std_out() const {
  return std_out_;
}
const std_err_type& context::std_err() const {
  return std_err_;
}

context& context::directory(const boost::optional<std::string>& value) {
  directory_ = value;
  return *this;
}

context& context::directory(const boost::optional<ustring>& value) {
  directory_ = fl::i18n::ustring_to_utf8(*value);
  return *this;
}

context& context::directory(const char* value) {
  directory_ = std::string(value);
  return *this;
}

context& context::directory(const char16_t* value) {
  directory_ = fl::i18n::ustring_to_utf8(value);
  return *this;
}

const boost::optional<std::string>& context::directory() const {
  return directory_;
}

context& context::user(const std::string& name, const std::string& password) {
  user_ = User{name, password};
  return *this;
}

context& context::user(const ustring& name, const ustring& password) {
  user_ = User{fl::i18n::ustring_to_utf8(name), fl::i18n::ustring_to_utf8(password)};
  return *this;
}

context& context::user(const boost::optional<User>& value) {
  user_ = value;
  return *this;
}

const boost::optional<context::User>& context::user() const {
  return user_;
}

void context::hide_windows(bool value) {
  hide_windows_ = value;
}
void context::hide_windows(const boost::optional<bool>& value) {
  hide_windows_ = value;
}
boost::optional<bool> context::hide_windows() const {
  return hide_windows_;
}

void context::create_no_window(bool value) {
  create_no_window_ = value;
}
void context::create_no_window(const boost::optional<bool>& value) {
  create_no_window_ = value;
}
boost::optional<bool> context::create_no_window() const {
  return create_no_window_;
}

void context::detached_process(bool value) {
  detached_process_ = value;
}
void context::detached_process(const boost::optional<bool>& value) {
  detached_process_ = value;
}
boost::optional<bool> context::detached_process() const {
  return detached_process_;
}

void context::explicitlyInheritHandles(bool value) {
  explicitly_inherit_handles_ = value;
}
void context::explicitlyInheritHandles(const boost::optional<bool>& value) {
  explicitly_inherit_handles_ = value;
}
boost::optional<bool> context::explicitlyInheritHandles() const {
  return explicitly_inherit_handles_;
}

void context::elevationLevel(ElevationLevel value) {
  elevation_level_ = value;
}
ElevationLevel context::elevationLevel() const {
  return elevation_level_;
}
void context::elevated(bool value) {
  elevation_level_ = value ? ElevationLevel::Elevated : ElevationLevel::Unset;
}
bool context::elevated() const {
  return elevation_level_ == ElevationLevel::Elevated;
}

inherited_handles_type& context::inherited_handles() {
  return *inherited_handles_;
}
const inherited_handles_type& context::inherited_handles() const {
  return *inherited_handles_;
}

const std::map<iopipe_device, int>& context::inherited_pipes() const {
  return inherited_pipes_;
}

iopipe_descriptor context::inherit_pipe(iopipe& pipe, int mode) {
  if ((mode & (open_mode::read | open_mode::write)) == 0) {
    inherited_pipes_.erase(pipe.device());
    return iopipe_descriptor();
  }
  // Through the buffer: `flush` does nothing on a stream that is not good, and the child would wait for what is in it.
  if (std::streambuf* const buffer = pipe.rdbuf(); buffer != nullptr && buffer->pubsync() != 0) {
    pipe.setstate(std::ios_base::badbit);
  }
  const iopipe_device device = pipe.device();
  iopipe_descriptor told = device.descriptor(mode);  // Before the pipe is in the list: there may be no memory for it.
  inherited_pipes_[device] = mode;
  return told;
}

}  // namespace foundation::core::process
