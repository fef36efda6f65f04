#include <fl/io/streambuf_adaptor.hpp>

#include "console/input_buffer.hpp"
#include "console/output_buffer.hpp"
#include "console/windows/standard_handle.hpp"

#include <boost/smart_ptr/make_shared.hpp>
#include <common/windows/keep_loaded.hpp>
#include <kit/console.hpp>

#include <windows.h>

#include <cstdlib>

namespace foundation::kit {

struct console_streams::state {
  standard_handle in_device{STD_INPUT_HANDLE}, out_device{STD_OUTPUT_HANDLE}, err_device{STD_ERROR_HANDLE};

  input_buffer in_buffer{in_device};
  output_buffer out_buffer{out_device, buffering::lines}, err_buffer{err_device, buffering::none};

  std::istream in{&in_buffer};
  std::ostream out{&out_buffer}, err{&err_buffer};
  // A share that owns nothing: the state outlives the stream.
  io::uistream uin{io::make_ustreambuf_adaptor({boost::shared_ptr<void>(), &in_buffer}, "UTF-8")};
  io::uostream uout{boost::make_shared<utf16_output_buffer>(out_buffer)};
  io::uostream uerr{boost::make_shared<utf16_output_buffer>(err_buffer)};
};

console_streams::console_streams() : state_(std::make_unique<state>()) {
  state_->in.tie(&state_->out);
  state_->err.tie(&state_->out);
  state_->uin.tie(&state_->uout);
  state_->uerr.tie(&state_->uout);
}

console_streams::~console_streams() = default;

std::istream& console_streams::in() {
  return state_->in;
}
std::ostream& console_streams::out() {
  return state_->out;
}
std::ostream& console_streams::err() {
  return state_->err;
}
io::uistream& console_streams::uin() {
  return state_->uin;
}
io::uostream& console_streams::uout() {
  return state_->uout;
}
io::uostream& console_streams::uerr() {
  return state_->uerr;
}

console_streams& console() {
  // Never destroyed, so that destructors of all modules may write. This module's own exit handlers run when the system
  // lets go of it, which is after those of everybody who uses it.
  static console_streams& instance = []() -> console_streams& {
    core::sysdep::windows::keep_module_loaded();
    console_streams& made = *new console_streams;  // first: an exit handler must not be the one that makes them
    std::atexit([] {
      console().state_->out_buffer.finish();
      console().state_->err_buffer.finish();
    });
    return made;
  }();
  return instance;
}

}  // namespace foundation::kit
