// Small helpers for tests that run on Windows: where things lie, temporary files, and what a process holds. Paths and
// texts are UTF-8. What fails throws std::system_error.
//
// Thread safety: free functions may be called from any thread; one object belongs to one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

/// The absolute path of `name`.exe in the folder of the running program, where all test programs and children lie.
/// Whether the file exists is not asked.
std::string child_path(std::string_view name);

/// Ill-formed input is left out.
std::wstring widen(std::string_view utf8);
std::string narrow(std::wstring_view utf16);

/// The whole file, as bytes.
std::string read_file(const std::string& path);
/// Makes or replaces the file; nothing is translated.
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

/// A file with a given content in a folder of its own, removed with it.
class temp_file {
 public:
  explicit temp_file(std::string_view content = {}) { write_file(path(), content); }
  std::string path() const { return folder_.file("file.tmp"); }

 private:
  temp_dir folder_;
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

/// The handles that this process has open now, to compare before and after.
std::uint32_t handle_count();
/// The threads of this process now, the calling one included.
std::vector<unsigned long> thread_ids();

}  // namespace test_support
