// How memory behaves in this process, settled once by an option string in the environment. Implemented in
// src/fl/mem/mem_manager.cpp; the features, in feature_set.cpp and option_words.cpp beside it.
//
//     set TESSEL_MEM_MGR=release,aligncheck
//
//     foundation::core::mem::manager::initialize();                  // as early as possible
//     foundation::core::mem::manager::write_startup_log(std::cout);  // MEMORY MANAGEMENT: using options …
//     if (foundation::core::mem::manager::get_feature(manager::feature::pooling)) …
//
// The string is a list of words, separated by commas without blanks. The first may be a profile: "debug", "release"
// (also "default", and what holds without options) or "off". Each other word switches one feature on, or off with "no"
// before it; the last one counts. A single feature in the first place starts from "off".
//
//     word            feature              what it does                                         debug  release  off
//     aligncheck      alignment_checking   checks each pointer of the aligned heap *            on     off      off
//     integcheck      integrity_checking   the system ends a process whose heap is corrupt *    on     off      off
//     newhandler      new_handler          a failed `new` throws except::bad_alloc()            on     off      off
//     observation     observation          loads libqxtools_mobservation.dll                    on     off      off
//     pooling         pooling              managed pools carve chunks from large blocks         off    on       off
//     leaksanitizer   leak_sanitizer       nothing here: for those who ask                      off    off      off
//
// * and, together with pooling, each chunk that comes back to a managed pool
//
// A word that is not known is left out and stands in the start-up log; it stops nothing. The variable is read once and
// then removed, so that children do not inherit the options; TESSEL_MEM_MGR_VALUE keeps what it was.
//
// The first use of anything here makes the manager: it tunes the run-time's heap, installs the new handler, reads
// QX_ALIGNED_HEAP_ALIGNMENT and makes the aligned heap (aligned_heap.hpp). It lives until the process ends. If making
// it throws (`std::bad_alloc`, or `boost::bad_lexical_cast` for an alignment that is no number), the exception leaves
// the function that was called, and the next use tries again.
//
// Thread safety: any thread, at any time.
#pragma once

#include <fl/export.hpp>

#include <boost/core/noncopyable.hpp>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace foundation::core::mem {

/// What the options of this process are. Everything that clients need is static.
class FL_API manager : private boost::noncopyable {
 public:
  /// One switch. References to features stay valid until the process ends, and nothing about them changes.
  class FL_API feature : private boost::noncopyable {
   public:
    /// Which one: each stands for the word of the table above.
    enum type : std::uint32_t {
      alignment_checking = 0,  ///< aligncheck
      integrity_checking = 1,  ///< integcheck
      new_handler = 2,         ///< newhandler
      observation = 3,         ///< observation; on only if the plug-in has agreed
      pooling = 4,             ///< pooling
      leak_sanitizer = 5,      ///< leaksanitizer
    };

    /// Which one it is.
    virtual type get_type() const = 0;
    /// Whether it is on.
    virtual bool is_enabled() const = 0;
    /// The name of the enumerator.
    virtual std::string get_name() const = 0;

    /// The same as `is_enabled`.
    explicit operator bool() const;

   protected:
    feature();
    virtual ~feature();
  };

  /// Makes the manager unless it is there already.
  static void initialize();

  /// `type` is one of the six; nothing else is defined.
  static const feature& get_feature(feature::type type);

  /// The six, in ascending order.
  static std::vector<feature::type> get_feature_types();

  /// Writes what was noticed while the options were read: each line begins with "MEMORY MANAGEMENT: ". Empty if nothing
  /// differs from the release profile.
  static void write_startup_log(std::ostream& os);

  /// Puts the manager's new handler back in force, whatever handler another component has set meanwhile. If there was
  /// another one and the logger "foundation::core::mem::manager" has a severity for checks, that is reported; with the
  /// severity fatal, the process ends.
  static void reinit_new_handler();

  /// For the calling thread: from now on a failed `new` ends the process ("Out of memory"), or with false goes to the
  /// process's new handler again. Returns what held before. Throws `std::bad_alloc` if the system has no memory to note
  /// it.
  static bool set_thread_terminate_on_oom(bool terminate) {
    return instance().set_thread_terminate_on_oom_impl(terminate);
  }

 protected:
  manager();
  virtual ~manager();

 private:
  static const manager& instance();

  virtual void write_startup_log_impl(std::ostream& os) const = 0;
  virtual const std::vector<feature::type>& get_feature_types_impl() const = 0;
  virtual const feature& get_feature_impl(feature::type type) const = 0;
  virtual bool set_thread_terminate_on_oom_impl(bool terminate) const = 0;
  virtual void reinit_new_handler_impl() const = 0;
};

}  // namespace foundation::core::mem
