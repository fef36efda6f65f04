#include <fl/process/mock_process.hpp>
#include <fl/process/open_mode.hpp>

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>

#include <stdexcept>

namespace foundation::core::process {

namespace {

boost::thread run(const boost::function<int()>& function, const boost::shared_ptr<boost::mutex>& mutex,
                  const boost::shared_ptr<boost::optional<unsigned>>& status) {
  return boost::thread([=] {
    const int result = function();
    const boost::lock_guard<boost::mutex> lock(*mutex);
    *status = static_cast<unsigned>(result);
  });
}

}  // namespace

mock_process::mock_process(const boost::function<int()>& function)
    : mutex(boost::make_shared<boost::mutex>()),
      status(boost::make_shared<boost::optional<unsigned>>()),
      thread(run(function, mutex, status)) {}

mock_process::mock_process(const boost::function<int()>& function, const context& ctx) : mock_process(function) {
  // A launch would close these ends, since its child has handles of its own; the function uses the very same ones.
  for (const auto& [device, mode] : ctx.inherited_pipes()) {
    if ((mode & open_mode::read) != 0) {
      device.release_read_handle();
    }
    if ((mode & open_mode::write) != 0) {
      device.release_write_handle();
    }
  }
}

mock_process::mock_process(const boost::tuples::tuple<const boost::function<int()>, const context>& what)
    : mock_process(boost::tuples::get<0>(what), boost::tuples::get<1>(what)) {}

mock_process::~mock_process() = default;

void mock_process::throw_if_detached() {
  const boost::lock_guard<boost::mutex> lock(*mutex);
  if (detached) {
    throw std::logic_error("mock_process is detached");
  }
}

void mock_process::join() {
  throw_if_detached();
  thread.join();
}

unsigned mock_process::exit_status() {
  throw_if_detached();
  if (thread.joinable()) {
    thread.join();
  }
  return status->value();
}

bool mock_process::exited() {
  throw_if_detached();
  const boost::lock_guard<boost::mutex> lock(*mutex);
  return status->has_value();
}

void mock_process::detach() {
  {
    const boost::lock_guard<boost::mutex> lock(*mutex);
    detached = true;
  }
  thread.detach();
}

}  // namespace foundation::core::process
