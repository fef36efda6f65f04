// The calls that modules make of the system and of the allocator: counted on one thread, and made to fail by a plan. It
// lies below refusals.hpp, which tests use, and below `./dev soak faults`.
//
// Everything is process-wide: one set of modules is watched at a time, and one run on one thread. Calls of other
// threads go through; only the count of living allocations sees them.
#pragma once

#include "every_test.hpp"
#include "import_patch.hpp"

#include <windows.h>

namespace test_support {

/// The last error of a refused call.
inline constexpr DWORD refused_code = ERROR_NOT_ENOUGH_QUOTA;

/// What is to go wrong in a run.
struct planned_fault {
  enum class kind {
    none,
    allocation,  ///< malloc, calloc, realloc; operator new by itself or as its malloc, whichever is watched
    call,        ///< the calls of `function`
    any_call,    ///< all calls of the system but those that give something back
    short_count  ///< the calls of `function` that say how many bytes they took or gave
  };
  kind what = kind::none;
  std::string function;
  int nth = 1;              ///< from 1
  bool persistent = false;  ///< all later ones, too
  int share = 0;            ///< of a short count, the divisor of what was asked for; one_byte and no_byte besides
  std::string spared = {};  ///< none of the calls that `any_call` means
};
inline constexpr int one_byte = -1;
inline constexpr int no_byte = 0;

/// What a run came to make.
struct seen_function {
  std::string name;
  int calls = 0;
  bool counts_bytes = false;  ///< has short counts
};

/// Watches modules as long as it lives.
class watched_calls {
 public:
  watched_calls();
  watched_calls(const watched_calls&) = delete;
  watched_calls& operator=(const watched_calls&) = delete;
  ~watched_calls();

  /// The calls of the system that the module imports, but for those that cannot fail.
  void add_system_calls(const char* module);
  /// One function by name; a module that does not import it is left as it is.
  void add_system_call(const char* module, const char* function);
  /// Its operator new, which throws, with the name "new".
  void add_operator_new(const char* module);
  /// What the module imports of malloc and its family. Unless those can fail, they only count as living.
  void add_allocator(const char* module, bool can_fail);

  /// Begins a run on this thread: counts from 0 with a new plan, and watches nothing until `resume`.
  void begin(const planned_fault& plan);
  void resume() noexcept;
  void suspend() noexcept;

  /// How many calls the plan let fail since `begin`.
  int refused() const noexcept;
  int allocations() const noexcept;
  /// How often a handle was closed that was not open.
  int bad_closes() const noexcept;
  /// The functions that were called since `begin`.
  std::vector<seen_function> functions() const;
  /// Allocations of all watched modules, on all threads, that were not given back.
  long long living_allocations() const noexcept;

 private:
  void add(const char* module, const std::string& import, const std::string& name);

  std::vector<std::unique_ptr<import_patch>> patches_;
};

}  // namespace test_support
