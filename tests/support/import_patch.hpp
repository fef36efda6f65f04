// Fault injection without a seam in the product: the import table of one loaded module is patched, so that the calls
// which that module makes to a function of another DLL go elsewhere for as long as an object lives.
//
//   import_patch   redirects one imported function to a plain function pointer.
//   injected<Fn>   counts the calls of one imported function, records their arguments, and lets chosen ones fail:
//
//     injected<decltype(&CreateProcessW)> fault("libqxfl.dll", "CreateProcessW");
//     fault.fail_at(1, FALSE, ERROR_ACCESS_DENIED);
//     EXPECT_THROW(launch(), std::exception);
//     EXPECT_EQ(fault.calls(), 1u);
//
// Only the named module is affected. The C run-time, libstdc++ and each Boost DLL have import tables of their own: a
// call that they make on the module's behalf is not seen, unless they are named. Nor is a call through a pointer from
// GetProcAddress or through a delayed import. A program that links the library statically is the module itself:
// nullptr. A function that is running when the patch is made may have read the table before, and so may a loop of the
// test itself.
//
// Thread safety: any number of threads may call through a patched slot, also while it is set up and while it is
// removed. Patches of different functions may live at once; patches of the same function are removed in the reverse
// order. Building and destroying patches of one module from several threads at once is not supported.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace test_support {

/// Redirects what one module imports under one name, and undoes it on destruction. The module stays loaded meanwhile.
class import_patch {
 public:
  /// A function pointer without its type.
  using any_function = void (*)();

  /// `module`: the file name of a loaded module ("libqxfl.dll"), or nullptr for the program itself. `from`: the DLL
  /// that is named as the source of the import ("KERNEL32.dll", case does not matter), or nullptr for whichever it is.
  /// Throws std::runtime_error, naming module and function, if the module is not loaded or does not import it by name.
  template <class Function>
  import_patch(const char* module, const char* from, const char* function, Function* replacement)
      : import_patch(module, from, function, reinterpret_cast<any_function>(replacement), untyped{}) {
    static_assert(std::is_function_v<Function>);
  }
  import_patch(const import_patch&) = delete;
  import_patch& operator=(const import_patch&) = delete;
  /// Puts the original function back. Does not disturb the last error.
  ~import_patch();

  /// What the module called before. `Function` is the pointer type: `patch.original<decltype(&CloseHandle)>()`.
  template <class Function>
  Function original() const noexcept {
    return reinterpret_cast<Function>(slots_.front().original);
  }

 private:
  struct untyped {};
  /// One word of an import table and what stood in it.
  struct slot {
    any_function* address;
    any_function original;
  };
  import_patch(const char* module, const char* from, const char* function, any_function replacement, untyped);

  struct unload {
    void operator()(HMODULE module) const noexcept { ::FreeLibrary(module); }
  };
  void restore() noexcept;

  std::unique_ptr<std::remove_pointer_t<HMODULE>, unload> module_;  ///< a reference, so that the slots stay mapped
  std::vector<slot> slots_;  ///< never empty; more than one if several DLLs supply the name
};

namespace detail {

/// What is known and wanted of the calls to one function: the part of `injected` that replacement functions use.
template <class Result, class... Arguments>
class injected_state {
 public:
  /// The result of a call that has none.
  struct nothing {};
  using function_type = Result (*)(Arguments...);
  using result_type = std::conditional_t<std::is_void_v<Result>, nothing, Result>;
  using handler_type = std::function<Result(function_type original, Arguments...)>;

  /// Lets the calls `first` to `last`, counted from 1, fail.
  struct failure {
    std::uint64_t first;
    std::uint64_t last;
    result_type result;
    DWORD error;
  };

  /// What is to become of one call: it fails, or else is handled, or else is passed on.
  struct decision {
    std::optional<failure> fails;
    std::shared_ptr<const handler_type> handler;
  };

  /// Counts a call and decides about it.
  decision arrive(Arguments... arguments) {
    const std::uint64_t number = calls_.fetch_add(1) + 1;
    const std::lock_guard lock(mutex_);
    if (recording_)
      record_.emplace_back(arguments...);
    for (std::size_t at = 0; at != failure_count_; ++at)
      if (failures_[at].first <= number && number <= failures_[at].last)
        return {failures_[at], nullptr};
    return {std::nullopt, handler_};
  }

  void add(const failure& added) {
    const std::lock_guard lock(mutex_);
    if (failure_count_ == failures_.size())
      throw std::runtime_error("injected: too many failures are set");
    failures_[failure_count_++] = added;
  }
  void handle_with(handler_type handler) {
    auto shared = handler ? std::make_shared<const handler_type>(std::move(handler)) : nullptr;
    const std::lock_guard lock(mutex_);
    handler_.swap(shared);  // the former one goes after the lock
  }
  void start_recording() {
    const std::lock_guard lock(mutex_);
    recording_ = true;
  }
  void reset() {
    handle_with(nullptr);
    const std::lock_guard lock(mutex_);
    failure_count_ = 0;
    record_.clear();
    recording_ = false;
    calls_ = 0;
  }
  std::uint64_t calls() const noexcept { return calls_.load(); }
  std::vector<std::tuple<Arguments...>> recorded() const {
    const std::lock_guard lock(mutex_);
    return record_;
  }

 private:
  std::atomic<std::uint64_t> calls_{0};
  mutable std::mutex mutex_;            ///< guards the members below
  std::array<failure, 16> failures_{};  ///< the first that fits decides; no memory of its own, which might be
                                        ///< what the patched function supplies
  std::size_t failure_count_ = 0;
  std::shared_ptr<const handler_type> handler_;   ///< or null
  std::vector<std::tuple<Arguments...>> record_;  ///< in the order of arrival
  bool recording_ = false;                        ///< whether calls are added to record_
};

/// The pool of replacement functions of one function type. A replacement function is a plain function and so can only
/// find its state through a static place; the pool has a few such places, each with a function of its own.
template <class Result, class... Arguments>
class replacement_pool {
  using state = injected_state<Result, Arguments...>;
  using function_type = Result (*)(Arguments...);

 public:
  static constexpr std::size_t size = 8;

  /// One place of the pool and the functions that it redirects to; given back on destruction, when no call is inside.
  class lease {
   public:
    explicit lease(state& owner) : index_(claim()) { places_[index_].owner = &owner; }
    lease(const lease&) = delete;
    lease& operator=(const lease&) = delete;
    ~lease() {
      place& mine = places_[index_];
      mine.owner = nullptr;
      while (mine.inside != 0)
        ::SwitchToThread();
      mine.taken = false;
    }

    function_type replacement() const noexcept { return replacements_[index_]; }
    function_type original() const noexcept { return places_[index_].original; }
    void set_original(function_type real) noexcept { places_[index_].original = real; }

   private:
    std::size_t index_;
  };

 private:
  struct place {
    std::atomic<bool> taken{false};
    std::atomic<state*> owner{nullptr};
    std::atomic<function_type> original{nullptr};  ///< null only while a patch is being made; then kept for late calls
    std::atomic<unsigned> inside{0};               ///< calls that may be using `owner`
  };

  /// Marks that a call may be using the owner's state.
  class presence {
   public:
    explicit presence(place& where) noexcept : where_(where) { ++where_.inside; }
    presence(const presence&) = delete;
    presence& operator=(const presence&) = delete;
    ~presence() { --where_.inside; }

   private:
    place& where_;
  };

  // Takes turns, so that a place is used again as late as possible: a call that has read the patched slot but not yet
  // arrived here then still finds its own original.
  static std::size_t claim() {
    for (std::size_t tries = 0; tries != size; ++tries) {
      const std::size_t index = turn_++ % size;
      if (!places_[index].taken.exchange(true)) {
        places_[index].original = nullptr;
        return index;
      }
    }
    throw std::runtime_error("injected: too many objects of one function type live at once");
  }

  static Result enter(place& where, Arguments... arguments) {
    function_type original;
    {
      const presence here(where);
      while ((original = where.original) == nullptr)  // the patch is in place, its maker is about to note the original
        ::SwitchToThread();
      if (state* const owner = where.owner) {
        const auto what = owner->arrive(arguments...);
        if (what.fails) {
          ::SetLastError(what.fails->error);
          if constexpr (std::is_void_v<Result>)
            return;
          else
            return what.fails->result;
        }
        if (what.handler)
          return (*what.handler)(original, arguments...);
      }
    }
    return original(arguments...);  // may block for long: nobody waits for it
  }

  template <std::size_t Index>
  static Result replacement(Arguments... arguments) {
    return enter(places_[Index], arguments...);
  }
  template <std::size_t... Indexes>
  static constexpr std::array<function_type, size> make_replacements(std::index_sequence<Indexes...>) {
    return {&replacement<Indexes>...};
  }

  static inline std::array<place, size> places_;
  static inline std::atomic<std::size_t> turn_{0};
  static constexpr std::array<function_type, size> replacements_ = make_replacements(std::make_index_sequence<size>{});
};

}  // namespace detail

template <class Function>
class injected;

/// Watches and breaks one imported function of one module. `Function` is its pointer type, such as
/// `decltype(&CloseHandle)`, or spelt out, `void* (*)(std::size_t)`, where the compiler complains of ignored
/// attributes. Functions of the same type do not get in each other's way; at most eight objects of one type can live at
/// once, and each can have sixteen failures: one more throws std::runtime_error.
///
/// Counting and failing allocate nothing, so that allocation itself can be made to fail; recording does, and so cannot
/// be used with the function that supplies libstdc++ with memory. The destructor restores the import, and waits for
/// handlers that are still running, but not for calls that were passed on.
template <class Result, class... Arguments>
class injected<Result (*)(Arguments...)> {
  using state = detail::injected_state<Result, Arguments...>;
  using pool = detail::replacement_pool<Result, Arguments...>;

 public:
  using function_type = Result (*)(Arguments...);
  using result_type = typename state::result_type;
  /// Takes a call over: gets the original function and the arguments, on the thread that makes the call.
  using handler_type = typename state::handler_type;

  /// Arguments and failures as import_patch. Until told otherwise, calls are counted and passed on.
  injected(const char* module, const char* function, const char* from = nullptr)
      : lease_(state_), patch_(module, from, function, lease_.replacement()) {
    lease_.set_original(patch_.template original<function_type>());
  }

  /// Lets the `nth` call (from 1, those before this call of `fail_at` included) not happen: its caller gets `result`,
  /// with `error` as the last error. Of several failures that fit a call, the one that was set first counts.
  void fail_at(std::uint64_t nth, result_type result, DWORD error) { state_.add({nth, nth, result, error}); }
  /// Lets the `nth` call and every later one fail.
  void fail_from(std::uint64_t nth, result_type result, DWORD error) { state_.add({nth, UINT64_MAX, result, error}); }
  /// Lets every call fail.
  void fail_always(result_type result, DWORD error) { fail_from(1, result, error); }
  /// Takes over every call that is not made to fail. An empty function ends that.
  void handle_with(handler_type handler) { state_.handle_with(std::move(handler)); }
  /// From now on keeps the arguments of each call, failing ones included. Pointers are kept as they are, and what they
  /// point to may be gone when the call has returned: `handle_with` can look at it in time.
  void start_recording() { state_.start_recording(); }

  /// The calls since construction or `reset`, those that were made to fail included.
  std::uint64_t calls() const noexcept { return state_.calls(); }
  /// A copy of the arguments recorded so far, in the order of the calls.
  std::vector<std::tuple<Arguments...>> recorded() const { return state_.recorded(); }
  /// Starts again at call 1, without failures, handler and recording.
  void reset() { state_.reset(); }
  /// The real function.
  function_type original() const noexcept { return lease_.original(); }

 private:
  // In this order: the import is restored first, then the calls inside are waited for, then the state goes.
  state state_;
  typename pool::lease lease_;
  import_patch patch_;
};

}  // namespace test_support
