// Scripted children, and the system's pool of threads that waits for them: what process objects and the reaper need of
// the system. It replaces the real calls at link time, in the native build and in Windows programs that compile it in.
// Each callback runs on a thread of its own, while the test goes on.
//
// What a caller must never do ends the program: to use a handle or a wait that is not open, to close a handle that a
// wait is registered on, and to wait in a callback for that very callback.
//
// One system lives at a time; without one, a call aborts. Threads: any.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace test_support {

class child_system {
 public:
  child_system();
  child_system(const child_system&) = delete;
  child_system& operator=(const child_system&) = delete;
  /// As end_all.
  ~child_system();

  /// A child that nobody launched, by a handle of the caller's. The ids count from 1, those of launched ones too.
  void* make_child();
  void end(long long child, unsigned code = 0);
  /// Ends all children, and waits until the callbacks that have begun are over.
  void end_all();

  std::size_t open_handles() const;
  std::size_t registered_waits() const;
  /// How often the system was called, by the name of the function.
  unsigned calls(const std::string& function) const;

  /// `run` comes at the beginning of each call of the named function, on its thread; null takes that back.
  void before(const std::string& function, std::function<void()> run);

  struct state;
  const std::unique_ptr<state> inside;
};

/// For `before`: the system refuses the call with the code 5, access denied.
std::function<void()> refusal(const std::string& text);

/// What util::process_is_ending returns; false at first.
void set_process_is_ending(bool value);

/// Nothing may be left of a test's children when their objects have gone and they have ended.
class with_child_system : public testing::Test {
 protected:
  ~with_child_system() override {
    system.end_all();
    EXPECT_EQ(system.registered_waits(), 0u);
    EXPECT_EQ(system.open_handles(), 0u);
  }

  child_system system;
};

}  // namespace test_support
