// Small helpers for tests that run on Windows: where things lie, temporary files, and what a process holds. Paths and
// texts are UTF-8. What fails throws std::system_error.
//
// Thread safety: free functions may be called from any thread; one object belongs to one thread.
#pragma once

#include "every_test.hpp"

namespace test_support {

/// The absolute path of `name`.exe in the folder of the running program, where all test programs and children lie.
/// Whether the file exists is not asked.
std::string child_path(std::string_view name);

/// Ill-formed input is left out.
std::wstring widen(std::string_view utf8);
std::string narrow(std::wstring_view utf16);

/// As bytes; nothing is translated.
std::string read_file(const std::string& path);
void write_file(const std::string& path, std::string_view content);

/// A new empty folder below the user's temporary folder, removed with all that is in it.
class temp_dir {
 public:
  /// `stem` opens the folder's name, which a process id and a number complete.
  explicit temp_dir(std::string_view stem = "qxfl-test");
  temp_dir(const temp_dir&) = delete;
  temp_dir& operator=(const temp_dir&) = delete;
  /// What cannot be removed stays: a file may still be open in a child.
  ~temp_dir();

  /// The absolute path, without a backslash at its end.
  const std::string& path() const { return path_; }
  /// The absolute path of an entry of the folder, whether or not it exists, with backslashes.
  std::string file(std::string_view name) const { return path_ + "\\" + std::string(name); }

 private:
  std::string path_;
};

/// Sets an environment variable of this process, for the C run-time as well, and puts the former state back.
class scoped_variable {
 public:
  /// Without a value the variable is removed.
  scoped_variable(std::string_view name, std::optional<std::string_view> value);
  scoped_variable(const scoped_variable&) = delete;
  scoped_variable& operator=(const scoped_variable&) = delete;
  ~scoped_variable();

 private:
  std::wstring name_;
  std::optional<std::wstring> former_;
};

/// The handles that this process has now, whoever made them.
unsigned long handle_count();

/// Repeats `work`, four times at most, until a run ends with no more handles than it began with. A leak grows with
/// every run; what the system and the run-time make once and then keep does not: with the first exception, the first
/// text of an error, or the first time that two threads meet at a lock, which may come with any run.
testing::AssertionResult loses_no_handle(const std::function<void()>& work);

/// What a child left behind.
struct child_result {
  std::uint32_t exit_code;
  std::string out, err;
};
/// Lets the system's command interpreter start `name`.exe of the test programs' folder with one argument, a word
/// without special characters, and waits: independent of the code under test. May be called from any thread.
child_result run_child(const std::string& name, const std::string& argument);

/// Those of this process now, the calling one included.
std::vector<unsigned long> thread_ids();

}  // namespace test_support
