// Fault injection without a seam in the product: the import table of one loaded module is patched, so that the calls
// which that module makes to a function of another DLL go elsewhere for as long as an object lives.
//
//   injected<decltype(&CreateProcessW)> fault("CreateProcessW");
//   fault.fail_at(1, FALSE, ERROR_ACCESS_DENIED);
//   EXPECT_THROW(launch(), std::exception);
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

#include "every_test.hpp"

#include <windows.h>

namespace test_support {

/// Redirects what one module imports under one name to a plain function, and undoes it on destruction.
class import_patch {
 public:
  using any_function = void (*)();

  /// `module`: the file name of a loaded module ("libqxfl.dll"), or nullptr for the program itself. `original`: gets
  /// what the module called before, and has it when the first call reaches `replacement`. Throws std::runtime_error if
  /// the module is not loaded or does not import the function by name.
  import_patch(const char* module, const char* function, any_function replacement, std::atomic<any_function>& original);
  import_patch(const import_patch&) = delete;
  import_patch& operator=(const import_patch&) = delete;
  /// Puts the original function back. Does not disturb the last error.
  ~import_patch();

 private:
  any_function* slot_ = nullptr;
  any_function original_;
};

/// The names that a loaded module imports from `dll`. What the module looks up when it is first needed, from whatever
/// DLL, has been looked up then.
std::vector<std::string> imports_of(const char* module, const char* dll);

/// Counts the calls of one imported function and lets chosen ones fail or go to a handler. `Function` is its pointer
/// type, spelt out where the compiler complains of ignored attributes.
///
/// The replacement is a plain function, which finds its object through a static member. The second parameter makes each
/// `injected<…>` in a source a type of its own, with its own such member, so that functions of one type can be watched
/// at once. One object of each such type can live at a time.
///
/// Counting and failing allocate nothing, so that allocation itself can be made to fail. The destructor waits for
/// handlers that are still running, but not for calls that were passed on.
template <class Function, class Tag = decltype([]() -> void {})>
class injected;

template <class Result, class... Arguments, class Tag>
class injected<Result (*)(Arguments...), Tag> {
 public:
  using function_type = Result (*)(Arguments...);
  /// Takes a call over: gets the original function and the arguments, on the thread that makes the call.
  using handler_type = std::function<Result(function_type original, Arguments...)>;

  /// Calls go to `handler`, or are passed on if there is none.
  injected(const char* module, const char* function, handler_type handler = nullptr)
      : handler_(handler ? std::make_shared<const handler_type>(std::move(handler)) : nullptr),
        entry_(*this),
        patch_(module, function, reinterpret_cast<import_patch::any_function>(&replacement), original_) {}
  /// The same in libqxfl.dll.
  explicit injected(const char* function, handler_type handler = nullptr)
      : injected("libqxfl.dll", function, std::move(handler)) {}

  /// Lets the `nth` call (from 1) not happen: its caller gets `result`, with `error` as the last error. Takes the place
  /// of a failure set before.
  void fail_at(std::uint64_t nth, Result result, DWORD error) {
    const std::lock_guard lock(mutex_);
    failure_ = {nth, result, error};
  }
  void fail_always(Result result, DWORD error) { fail_at(every, result, error); }
  /// Takes over every call that is not made to fail.
  void handle_with(handler_type handler) {
    auto shared = handler ? std::make_shared<const handler_type>(std::move(handler)) : nullptr;
    const std::lock_guard lock(mutex_);
    handler_.swap(shared);  // the former one goes after the lock
  }
  /// Those that were made to fail included.
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
  static constexpr std::uint64_t every = 0;
  struct failure {
    std::uint64_t nth;
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
    if (failure_ && (failure_->nth == calls_ || failure_->nth == every)) {
      return {failure_, nullptr};
    }
    return {std::nullopt, handler_};
  }

  static inline std::atomic<injected*> object_;
  static inline std::atomic<unsigned> inside_;                      ///< how many calls may be using it
  static inline std::atomic<import_patch::any_function> original_;  ///< kept, for calls that arrive late

  mutable std::mutex mutex_;  ///< guards the next three
  std::uint64_t calls_ = 0;
  std::optional<failure> failure_;
  std::shared_ptr<const handler_type> handler_;
  // Behind the others, in this order: the import is restored, calls inside are waited for, then the state goes.
  entry entry_;
  import_patch patch_;
};

}  // namespace test_support
