// The way of a record through Boost.Log to the standard error stream or the log file.
//
// The core's own attributes stay untouched, so that other users of the core in this process do not find ours on their
// records; each of our records brings its attributes along. Our sink accepts only records that have "ScopeIndent".

#include "record_pipeline.hpp"

#include <foundation_log/indent_attribute.hpp>

#include "platform.hpp"
#include "record_format.hpp"

#include <boost/log/attributes/attribute_set.hpp>
#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/attributes/constant.hpp>
#include <boost/log/attributes/function.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/frontend_requirements.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <atomic>
#include <mutex>

namespace foundation::log {

namespace {

namespace logging = boost::log;

constexpr const char* channel_name = "Channel";
constexpr const char* severity_name = "Severity";
constexpr const char* message_name = "Message";
constexpr const char* thread_name = "ThreadID";
constexpr const char* time_name = "TimeStamp";
constexpr const char* indent_name = "ScopeIndent";

template <class T>
T value_of(const logging::record_view& record, const char* name) {
  return logging::extract_or_default<T>(name, record, T());
}

/// The value of a text attribute without a copy; the record keeps it alive.
std::string_view text_of(const logging::record_view& record, const char* name) {
  const auto value = logging::extract<std::string>(name, record);
  return value ? std::string_view(value.get()) : std::string_view();
}

std::string line_of(const logging::record_view& record) {
  return format_record({value_of<calendar_time>(record, time_name), platform::process_id(),
                        value_of<unsigned long>(record, thread_name), text_of(record, channel_name),
                        value_of<unsigned>(record, severity_name), value_of<unsigned>(record, indent_name),
                        text_of(record, message_name)});
}

/// Where QX_LOG_FILE says, or null for the standard error stream. Says in `complaint` why a file cannot be had.
void* open_log_file(std::string& complaint) {
  const auto path = platform::environment_variable("QX_LOG_FILE");
  if (!path || path->empty()) {
    return nullptr;
  }
  std::string reason;
  void* const file = platform::open_for_append(*path, reason);
  if (file == nullptr) {
    complaint = "QX_LOG_FILE: \"" + *path + "\" cannot be opened: " + reason +
                " (expected the path of a file that can be made or appended to); the log goes to standard error\n";
  }
  return file;
}

/// Boost.Log would lock around the sink with a mutex that a thread ended at the end of the process can leave locked;
/// this one says that it copes alone. Nor does it accept a line that Boost.Log has formatted, which without memory is
/// cut.
class line_writer : public logging::sinks::basic_sink_backend<logging::sinks::concurrent_feeding> {
 public:
  line_writer() : file_(open_log_file(complaint_)) {}
  line_writer(const line_writer&) = delete;
  line_writer& operator=(const line_writer&) = delete;
  /// Only if it never came into the core.
  ~line_writer() {
    if (file_ != nullptr) {
      platform::close_file(file_);
    }
  }

  /// Once nothing can throw any more, so that nothing is said twice.
  void complain() const noexcept {
    if (!complaint_.empty()) {
      platform::write_standard_error(complaint_);
    }
  }

  void consume(const logging::record_view& record) {
    const std::string line = line_of(record);
    const platform::ending_aware_lock hold(mutex_);
    // Without the lock too: one call a record keeps the line whole, and the process is ending.
    if (file_ != nullptr) {
      platform::append(file_, line);
    } else {
      platform::write_standard_error(line);
    }
  }

 private:
  std::mutex mutex_;       ///< One line at a time, for destinations that do not see to it themselves.
  std::string complaint_;  ///< Why the log file is not to be had, or empty.
  void* file_;             ///< Null for the standard error stream.
};

/// A share, so that the core outlives the static objects of its own library.
logging::core& core() {
  static const logging::core_ptr& share = *new logging::core_ptr(logging::core::get());
  return *share;
}

/// Our sink in the core, and the attributes that are the same for all records. Never destroyed: loggers in other
/// libraries may write while those are unloaded.
class pipeline {
 public:
  /// Null if the process ends while a thread that is gone was making it, perhaps opening a file on a slow server: the
  /// guard of a static object would wait for that for ever.
  static pipeline* get() {
    static constinit std::atomic<pipeline*> instance = nullptr;
    if (pipeline* const made = instance.load(std::memory_order_acquire)) {
      return made;
    }
    static std::mutex& making = *new std::mutex;
    const platform::ending_aware_lock hold(making);
    if (hold && instance.load() == nullptr) {
      instance = new pipeline;
    }
    return instance.load();
  }

  bool push(const std::string& channel, unsigned severity, const std::string& text) const {
    logging::attribute_set attributes;
    for (const auto& [name, attribute] : common_) {  // A copy of the whole set, cut short by std::bad_alloc, leaks.
      attributes.insert(name, attribute);
    }
    attributes.insert(channel_name, logging::attributes::constant<std::string>(channel));
    attributes.insert(severity_name, logging::attributes::constant<unsigned>(severity));
    logging::record record = core().open_record(attributes);
    if (!record) {
      return false;
    }
    record.attribute_values().insert(message_name, logging::attributes::make_attribute_value(text));
    core().push_record(std::move(record));
    return true;
  }

 private:
  pipeline() {
    common_.insert(time_name, logging::attributes::make_function(&platform::local_time));
    common_.insert(thread_name, logging::attributes::make_function(&platform::thread_id));
    common_.insert(indent_name, logging::attributes::make_function(&detail::indent_attribute::current));
    const auto writer = boost::make_shared<line_writer>();
    const auto sink = boost::make_shared<logging::sinks::unlocked_sink<line_writer>>(writer);
    sink->set_filter([](const logging::attribute_value_set& values) { return values.count(indent_name) != 0; });
    platform::stay_loaded();  // From now on the core refers to code of this library.
    core().add_sink(sink);
    writer->complain();
  }

  logging::attribute_set common_;
};

}  // namespace

bool push_record(const std::string& channel, unsigned severity, const std::string& text) {
  const pipeline* const made = pipeline::get();
  return made != nullptr && made->push(channel, severity, text);
}

bool core_enabled() noexcept {
  try {
    return core().get_logging_enabled();
  } catch (...) {
    return false;
  }
}

}  // namespace foundation::log
