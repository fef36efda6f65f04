// Ending the process. On the way from `terminate` to the final stage nothing is allocated: text is built in arrays of
// fixed size, in the engine or on the stack of the thread that terminates.
#include <fl/diag/terminate.hpp>

#include "diag/final_stage.hpp"
#include "diag/report/escaped_message.hpp"
#include "diag/stack_pointer.hpp"
#include "diag/symbol_lookup.hpp"
#include "diag/terminate_engine.hpp"
#include "util/built_once.hpp"

#include <boost/format.hpp>

#include <cstdlib>
#include <exception>
#include <sstream>
#include <string_view>

namespace foundation::core::diag {

namespace {

constexpr const char* this_file = "src/fl/diag/terminate";
constexpr const char* failure_on_the_way = "exception during abnormal termination";

constinit util::built_once<terminate_impl> engine;

/// The line that a report shows for each function of the engine that could not do its work. These numbers are what
/// readers of reports look for: they stay, whatever line the function stands on.
enum class shown_line : int {
  log_of_context = 252,
  log_of_fault = 266,
  log = 279,
  called = 292,
  building = 435,
};

/// The end of a function of the engine that could not do its work.
[[noreturn]] void give_up(shown_line line, const char* function) noexcept {
  final_stage(failure_on_the_way, this_file, static_cast<int>(line), function);
}

const char* text_or_empty(const char* text) noexcept {
  return text != nullptr ? text : "";
}

const char* text_or_unknown(const char* text) noexcept {
  return text != nullptr && *text != '\0' ? text : "<unknown>";
}

bool is(const char* value, std::string_view expected) noexcept {
  return value == expected;
}

/// Whether the environment asks for standard error in place of a dialog.
bool dialog_is_unwanted() noexcept {
  if (const char* const disable = std::getenv("QX_DISABLE_TERMINATE_DIALOG")) {
    return !is(disable, "0");
  }
  const char* const mode = text_or_empty(std::getenv("QX_CRASH_MODE"));
  return !is(mode, "") && !is(mode, "default") && !is(mode, "continue");
}

}  // namespace

terminate_impl::terminate_impl() : observer_(default_observer) {
  if (dialog_is_unwanted()) {
    write_failures_to_standard_error();
  }
}

// Not part of the building: a fault in the loader is reported by the engine, which must be there.
void terminate_impl::prepare() noexcept {
  if (!prepared_ && !prepared_.exchange(true)) {
    prepare_symbols();
  }
}

terminate_impl& term() noexcept try {
  terminate_impl& built = engine.get();
  built.prepare();
  return built;
} catch (...) {
  give_up(shown_line::building, __PRETTY_FUNCTION__);
}

bool terminate_impl::append(const report_event& event, const thread_context& context) noexcept {
  // From before the wait, so that threads which end at once need the symbol service started only once.
  keep_symbols();
  if (lock_.acquire(stack_pointer_of(context)) != util::checked_lock::outcome::acquired) {
    return false;  // The process is about to end. The service may be where the other thread has stopped: it stays.
  }
  write_report(log_buffer_.stream(), event, context);
  was_called_ = was_called_ || event.assertion;
  lock_.unlock();
  let_symbols_go();
  return true;
}

bool terminate_impl::wait_for_reports() noexcept {
  const auto outcome = lock_.acquire_last();
  if (outcome == util::checked_lock::outcome::acquired) {
    lock_.unlock();
  }
  return outcome != util::checked_lock::outcome::interrupted;
}

const char* terminate_impl::log(const char* message, const thread_context& context) noexcept {
  if (!append({false, text_or_empty(message), nullptr, 0, nullptr}, context)) {
    give_up(shown_line::log_of_context, __PRETTY_FUNCTION__);
  }
  return log_buffer_.text();
}

const char* terminate_impl::log(const char* message, const _EXCEPTION_POINTERS* fault) noexcept {
  if (!append({false, text_or_empty(message), nullptr, 0, nullptr}, fault)) {
    give_up(shown_line::log_of_fault, __PRETTY_FUNCTION__);
  }
  return log_buffer_.text();
}

const char* terminate_impl::log() noexcept {
  if (!wait_for_reports()) {
    give_up(shown_line::log, __PRETTY_FUNCTION__);
  }
  return log_buffer_.text();
}

bool terminate_impl::called() noexcept {
  if (!wait_for_reports()) {
    give_up(shown_line::called, __PRETTY_FUNCTION__);
  }
  return was_called_;
}

void terminate_impl::default_observer(const char* message, const char* file, int line, const char* function) noexcept {
  term().append({true, message, file, line, function}, thread_context(false));
}

void terminate_impl::notify(const char* message, const char* file, int line, const char* function) noexcept {
  try {
    observer_.load()(message, file, line, function);
  } catch (...) {
    // The report may be lost; the termination is not.
  }
  wait_for_reports();
}

terminate_impl::observer_type terminate_impl::exchange_observer(observer_type observer) noexcept {
  const observer_type former = observer_.exchange(observer != nullptr ? observer : default_observer);
  if (lock_.acquire() == util::checked_lock::outcome::acquired) {
    log_buffer_.wipe();
    lock_.unlock();
  }
  return former;
}

namespace {

/// The message of one termination where that is text already. Making a stream takes the run-time's lock of the global
/// locale, once the program has set one, and another thread may have stopped with it.
class copied_message {
 public:
  explicit copied_message(std::string_view message) noexcept { message.copy(text_, text_buffer::capacity); }
  const char* text() const noexcept { return text_; }

 private:
  char text_[text_buffer::capacity + 1] = {};
};

/// The same of what only a stream can write.
class formatted_message {
 public:
  explicit formatted_message(const boost::format& message) {
    try {
      buffer_.stream() << message;
    } catch (const boost::io::too_few_args&) {
      throw;
    } catch (...) {  // Text in columns is put together in memory that there may not be.
      buffer_.stream() << failure_on_the_way;
    }
  }
  const char* text() const noexcept { return buffer_.text(); }

 private:
  text_buffer buffer_;
};

// A message as a string, for tests.
std::string string_of(std::string_view message) {
  return std::string(message);
}
std::string string_of(const boost::format& message) {
  return message.str();
}

template <class Buffer, class Message>
[[noreturn]] void terminate_with(const Message& message, const char* file, int line, const char* function) {
  terminate_impl& self = term();
  if (self.test_mode().get() && std::uncaught_exceptions() == 0) {
    throw terminate_impl::terminate_exception{string_of(message)};
  }
  const Buffer text(message);
  self.notify(text.text(), file, line, function);
  final_stage(text.text(), text_or_unknown(file), line, text_or_unknown(function));
}

}  // namespace

void terminate(const char* message, const char* file, int line, const char* function) {
  terminate_with<copied_message>(std::string_view(text_or_empty(message)), file, line, function);
}

void terminate(const std::string& message, const char* file, int line, const char* function) {
  terminate_with<copied_message>(std::string_view(message), file, line, function);
}

void terminate(const boost::format& message, const char* file, int line, const char* function) {
  terminate_with<formatted_message>(message, file, line, function);
}

void terminate(const std::ostringstream& message, const char* file, int line, const char* function) {
  terminate_with<copied_message>(message.view(), file, line, function);
}

void terminate(const std::stringstream& message, const char* file, int line, const char* function) {
  terminate_with<copied_message>(message.view(), file, line, function);
}

void terminate(const ustring& message, const char* file, int line, const char* function) {
  terminate(escaped_message(message).text, file, line, function);
}

void terminate(const char16_t* message, const char* file, int line, const char* function) {
  terminate(escaped_message(message != nullptr ? message : u"").text, file, line, function);
}

const char* terminate_log(const char* message, const thread_context& context) noexcept {
  return term().log(message, context);
}

const char* terminate_log(const char* message, const _EXCEPTION_POINTERS* fault) noexcept {
  return term().log(message, fault);
}

const char* terminate_log() noexcept {
  return term().log();
}

bool terminate_called() noexcept {
  return term().called();
}

void disable_terminate_dialog() noexcept {
  write_failures_to_standard_error();
}

}  // namespace foundation::core::diag

bool fl_diag_terminate() {
  return true;
}
