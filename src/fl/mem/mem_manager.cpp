// The memory manager: the sequence in which options become settings of the process, and the new handler.
#include <fl/diag/terminate.hpp>
#include <fl/except/bad_alloc.hpp>
#include <fl/mem/aligned_heap.hpp>
#include <fl/mem/manager.hpp>

#include "loggers.hpp"
#include "mem/aligned_heap_create.hpp"
#include "mem/assertion_paths.hpp"
#include "mem/crt_heap_tuning.hpp"
#include "mem/feature_set.hpp"
#include "mem/option_string.hpp"
#include "mem/option_words.hpp"
#include "mem/plugin.hpp"
#include "util/built_once.hpp"
#include "util/keep_loaded.hpp"
#include "util/thread_slot.hpp"
#include "util/whole_text.hpp"

#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>

namespace foundation::core::mem {

namespace {

using detail::log_startup;

// What the new handler needs stands outside of the manager: it may run while that is being made.

std::new_handler next_new_handler = nullptr;  ///< Written once, before dispatch_new_handler is installed; may be null.

/// Of each thread: a std::new_handler that comes before all others, or null. Built before dispatch_new_handler is
/// installed.
constinit util::built_once<util::thread_slot> thread_new_handler;

[[noreturn]] void throw_bad_alloc_handler() {
  throw except::bad_alloc();
}

[[noreturn]] void terminate_oom_handler() {
  diag::terminate("Out of memory", nullptr, 0, nullptr);
}

/// The process's new handler. There is no memory left when it runs.
void dispatch_new_handler() {
  if (void* const handler = thread_new_handler.get().get()) {
    return reinterpret_cast<std::new_handler>(handler)();
  }
  if (next_new_handler != nullptr) {
    return next_new_handler();
  }
  throw std::bad_alloc();
}

void install_new_handler(bool throwing) {
  util::keep_library_loaded();
  thread_new_handler.get();
  const std::new_handler former = std::get_new_handler();
  if (former == dispatch_new_handler) {
    return;  // An attempt at making the manager got this far and then failed. It must not become its own successor.
  }
  next_new_handler = throwing ? throw_bad_alloc_handler : former;
  std::set_new_handler(dispatch_new_handler);
}

/// The plug-in is asked once, even if the manager is made in several attempts.
bool start_observation() {
  static const bool observed = sysdep::windows::load_and_run_plugin(true) != 0;
  return observed;
}

class manager_impl final : public manager {
 public:
  manager_impl();

  void write_startup_log_impl(std::ostream& os) const override { os << startup_log.view(); }
  const std::vector<feature::type>& get_feature_types_impl() const override { return feature_types; }
  const feature& get_feature_impl(feature::type type) const override { return *features_by_type[type]; }
  bool set_thread_terminate_on_oom_impl(bool terminate) const override;
  void reinit_new_handler_impl() const override;

 private:
  void set_features(const std::string& options);

  std::vector<feature::type> feature_types;  ///< All six, in ascending order.
  detail::feature_set features;              ///< What is in force, of all types.
  std::ostringstream startup_log;
  std::unique_ptr<sysdep::windows::crt_heap_tuning> crt_heap_tuning;
  boost::shared_ptr<void> aligned_heap_holder;
  loggers::logger logger;
  std::array<const feature*, detail::feature_types.size()> features_by_type;  ///< The entries of `features`.
};

manager_impl::manager_impl()
    : feature_types(detail::feature_types.begin(), detail::feature_types.end()),
      logger("foundation::core::mem::manager"),
      features_by_type() {
  startup_log << util::throw_failures;  // Who gets a manager gets the whole log.
  set_features(sysdep::windows::read_option_string());
  const auto is_on = [&](feature::type type) { return features_by_type[type]->is_enabled(); };
  crt_heap_tuning = std::make_unique<sysdep::windows::crt_heap_tuning>(is_on(feature::integrity_checking));
  install_new_handler(is_on(feature::new_handler));
  aligned_heap_holder = detail::aligned_heap_create(is_on(feature::alignment_checking));
  const std::size_t alignment = aligned_heap_access::made_heap().alignment();
  if (alignment != detail::default_alignment) {
    log_startup(startup_log, util::filled("aligned_heap alignment is %1% bytes", std::to_string(alignment)));
  }
}

void manager_impl::set_features(const std::string& options) {
  if (!options.empty()) {
    log_startup(startup_log, util::filled("using options '%1%'", options));
  }
  const detail::feature_set requested = detail::requested_features(options, startup_log);
  detail::merge_features(features, requested);
  const bool observed = features.at(feature::observation).is_enabled() && start_observation();
  detail::merge_features(features, detail::get_features(feature::observation, observed));
  detail::report_features(features, requested, startup_log);
  for (const auto type : feature_types) {
    features_by_type[type] = &features.at(type);
  }
}

bool manager_impl::set_thread_terminate_on_oom_impl(bool terminate) const {
  util::thread_slot& handler = thread_new_handler.get();
  const bool former = handler.get() != nullptr;
  if (former != terminate) {
    handler.set(terminate ? reinterpret_cast<void*>(terminate_oom_handler) : nullptr);
  }
  return former;
}

void manager_impl::reinit_new_handler_impl() const {
  const std::new_handler found = std::set_new_handler(dispatch_new_handler);
  if (found != dispatch_new_handler) {
    logger.check_failed(detail::manager_path, __LINE__, __PRETTY_FUNCTION__,
                        "NEW HANDLER CLOBBERED: expected=", reinterpret_cast<const void*>(dispatch_new_handler),
                        "  actual=", reinterpret_cast<const void*>(found));
  }
}

constinit std::atomic<const manager_impl*> existing_manager = nullptr;  ///< Never destroyed.

/// The first call that does not throw makes it. Kept apart, so that asking for a feature costs little more than a load
/// and a test.
[[gnu::noinline]] const manager_impl& make_manager() {
  static const manager_impl* const made = new manager_impl;
  existing_manager.store(made, std::memory_order_release);
  return *made;
}

const manager_impl& the_manager() {
  const manager_impl* const existing = existing_manager.load(std::memory_order_acquire);
  return existing != nullptr ? *existing : make_manager();
}

}  // namespace

manager::manager() = default;
manager::~manager() = default;

const manager& manager::instance() {
  return the_manager();
}

void manager::initialize() {
  the_manager();
}

const manager::feature& manager::get_feature(feature::type type) {
  return the_manager().get_feature_impl(type);
}

std::vector<manager::feature::type> manager::get_feature_types() {
  return the_manager().get_feature_types_impl();
}

void manager::reinit_new_handler() {
  the_manager().reinit_new_handler_impl();
}

void manager::write_startup_log(std::ostream& os) {
  the_manager().write_startup_log_impl(os);
}

}  // namespace foundation::core::mem
