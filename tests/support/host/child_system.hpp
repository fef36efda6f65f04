// Scripted children, and the system's pool of threads that waits for them: what process objects and the reaper need of
// the system. It replaces the real calls at link time, in the native build and in Windows programs that compile it in.
// Each callback runs on a thread of its own, while the test goes on.
//
// What a caller must never do ends the program: to use a handle or a wait that is not open, and to close a handle that
// a wait is registered on. One system lives at a time. Threads: any.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

class child_system {
 public:
  child_system();
  child_system(const child_system&) = delete;
  child_system& operator=(const child_system&) = delete;
  /// Nothing may be left of a test's children when their objects have gone and they have ended.
  ~child_system();

  /// A child that nobody launched, by a handle of the caller's. The ids count from 1, those of launched ones too.
  void* make_child();
  void end(long long child, unsigned code = 0);
  /// Ends all children, and waits until the callbacks that have begun are over.
  void end_all();

  std::size_t open_handles() const;
  std::size_t registered_waits() const;

  /// `run` comes at the beginning of each call of the named function, on its thread; null takes that back.
  void before(const std::string& function, std::function<void()> run);

  // What the calls that are replaced work on.
  struct wait {
    void* process;
    void (*callback)(void* context, unsigned char timed_out);
    void* context;
    std::thread::id thread = {};  // of the callback, once it runs
    bool finished = false;
  };
  void* next_handle() { return reinterpret_cast<void*>(last_handle += 16); }
  void* open(long long child);
  std::optional<unsigned>& code(void* handle) { return children.at(handles.at(handle)); }
  void run_callback(void* key);

  mutable std::recursive_mutex mutex;  // guards everything below
  std::condition_variable_any changed;
  std::map<long long, std::optional<unsigned>> children;  // their exit codes
  std::map<void*, long long> handles;
  std::map<void*, wait> waits;
  std::vector<std::thread> threads;
  std::map<std::string, std::function<void()>, std::less<>> scripts;
  std::uintptr_t last_handle = 0x1000;
};

/// For `before`: the system refuses the call with the code 5, access denied.
std::function<void()> refusal(const std::string& text);

class with_child_system : public testing::Test {
 protected:
  child_system system;
};

}  // namespace test_support
