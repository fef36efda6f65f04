// Fault injection without a seam in the product: the import table of one loaded module is patched, so that the calls
// which that module makes to a function of another DLL go elsewhere for as long as an object lives.
//
//   import_patch   redirects one imported function to a plain function pointer.
//   injected<Fn>   counts the calls of one imported function and lets chosen ones fail or go to a handler:
//
//     injected<decltype(&CreateProcessW)> fault("libqxfl.dll", "CreateProcessW");
//     fault.fail_at(1, FALSE, ERROR_ACCESS_DENIED);
//     EXPECT_THROW(launch(), std::exception);
//     EXPECT_EQ(fault.calls(), 1u);
//
// Only the named module is affected. The C run-time, libstdc++ and each Boost DLL have import tables of their own: what
// they call on the module's behalf is not seen, nor is a call through a pointer from GetProcAddress. A program that
// links the library statically is the module itself: nullptr. A function that is running when the patch is made may
// have read the table before, and so may a loop of the test itself.
//
// Thread safety: any number of threads may call through a patched import, also while it is set up and removed. Patches
// of different functions may live at once; those of the same function are removed in the reverse order. Patches of one
// module are made and removed by one thread at a time.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// Redirects what one module imports under one name, and undoes it on destruction. The module stays loaded meanwhile.
class import_patch {
 public:
  /// A function pointer without its type.
  using any_function = void (*)();

  /// `module`: the file name of a loaded module ("libqxfl.dll"), or nullptr for the program itself. `original`: gets
  /// what the module called before, and has it when the first call reaches `replacement`. Throws std::runtime_error,
  /// naming module and function, if the module is not loaded or does not import the function by name.
  import_patch(const char* module, const char* function, any_function replacement, std::atomic<any_function>& original);
  import_patch(const import_patch&) = delete;
  import_patch& operator=(const import_patch&) = delete;
  /// Puts the original function back. Does not disturb the last error.
  ~import_patch();

 private:
  any_function* slot_ = nullptr;  ///< the word of the import table
  any_function original_;
};

/// The names that a loaded module imports from `dll`.
std::vector<std::string> imports_of(const char* module, const char* dll);

/// Watches and breaks one imported function of one module. `Function` is its pointer type, such as
/// `decltype(&CloseHandle)`, or spelt out where the compiler complains of ignored attributes.
///
/// The replacement is a plain function, which finds its object through a static member. The second parameter makes each
/// `injected<…>` in a source a type of its own, with its own such member, so that functions of one type can be watched
/// at once. One object of each such type can live at a time, as in a loop, and they are to watch the same function.
///
/// Counting and failing allocate nothing, so that allocation itself can be made to fail. The destructor restores the
/// import and waits for handlers that are still running, but not for calls that were passed on.
template <class Function, class Tag = decltype([]() -> void {})>
class injected;

template <class Result, class... Arguments, class Tag>
class injected<Result (*)(Arguments...), Tag> {
 public:
  using result_type = Result;
  using function_type = Result (*)(Arguments...);
  /// Takes a call over: gets the original function and the arguments, on the thread that makes the call.
  using handler_type = std::function<Result(function_type original, Arguments...)>;

  /// Arguments and failures as import_patch, and std::logic_error if another object of this type lives. Until told
  /// otherwise, calls are counted and passed on.
  injected(const char* module, const char* function)
      : entry_(*this),
        patch_(module, function, reinterpret_cast<import_patch::any_function>(&replacement), original_) {}

  /// Lets the `nth` call (from 1, counted since construction or `reset`) not happen: its caller gets `result`, with
  /// `error` as the last error. Takes the place of a failure set before.
  void fail_at(std::uint64_t nth, Result result, DWORD error) { fail({nth, nth, result, error}); }
  /// Lets every call fail.
  void fail_always(Result result, DWORD error) { fail({1, UINT64_MAX, result, error}); }
  /// Takes over every call that is not made to fail. An empty function ends that.
  void handle_with(handler_type handler) {
    auto shared = handler ? std::make_shared<const handler_type>(std::move(handler)) : nullptr;
    const std::lock_guard lock(mutex_);
    handler_.swap(shared);  // the former one goes after the lock
  }
  /// The calls since construction or `reset`, those that were made to fail included.
  std::uint64_t calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  /// Starts again at call 1, without failure and handler.
  void reset() {
    handle_with(nullptr);
    const std::lock_guard lock(mutex_);
    failure_.reset();
    calls_ = 0;
  }

 private:
  /// Lets the calls `first` to `last` fail.
  struct failure {
    std::uint64_t first, last;
    Result result;
    DWORD error;
  };
  /// Makes the object known to the replacement, and on destruction waits until no call uses it any more.
  struct entry {
    explicit entry(injected& object) {
      injected* nobody = nullptr;
      if (!object_.compare_exchange_strong(nobody, &object)) {
        throw std::logic_error("injected: another object of this type lives");
      }
    }
    ~entry() {
      object_ = nullptr;
      while (inside_ != 0) {
        ::SwitchToThread();
      }
    }
  };
  /// A call that may be using the object.
  struct visit {
    visit() noexcept { ++inside_; }
    ~visit() { --inside_; }
  };

  static Result replacement(Arguments... arguments) {
    const auto original = reinterpret_cast<function_type>(original_.load());
    {
      const visit here;
      if (injected* const object = object_) {
        const auto [failure, handler] = object->arrive();
        if (failure) {
          ::SetLastError(failure->error);
          return failure->result;
        }
        if (handler) {
          return (*handler)(original, arguments...);
        }
      }
    }
    return original(arguments...);  // may block for long: nobody waits for it
  }

  /// Counts a call and says whether it fails, or else who handles it.
  std::pair<std::optional<failure>, std::shared_ptr<const handler_type>> arrive() {
    const std::lock_guard lock(mutex_);
    ++calls_;
    if (failure_ && failure_->first <= calls_ && calls_ <= failure_->last) {
      return {failure_, nullptr};
    }
    return {std::nullopt, handler_};
  }
  void fail(const failure& which) {
    const std::lock_guard lock(mutex_);
    failure_ = which;
  }

  static inline std::atomic<injected*> object_{nullptr};                     ///< null when calls are passed on
  static inline std::atomic<unsigned> inside_{0};                            ///< how many calls may be using it
  static inline std::atomic<import_patch::any_function> original_{nullptr};  ///< kept, for calls that arrive late

  mutable std::mutex mutex_;                     ///< guards the next three
  std::uint64_t calls_ = 0;                      ///< since construction or `reset`
  std::optional<failure> failure_;               ///< the one that is set
  std::shared_ptr<const handler_type> handler_;  ///< or null
  // Behind the others, in this order: the import is restored, calls inside are waited for, then the state goes.
  entry entry_;
  import_patch patch_;
};

}  // namespace test_support
