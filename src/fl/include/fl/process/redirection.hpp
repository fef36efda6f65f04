// Where a child's standard streams come from and go to: the alternatives, and one variant of them for each stream.
// Plain values: nothing is opened here. One object belongs to one thread at a time; concurrent reads are safe.
#pragma once

#include <fl/export.hpp>
#include <fl/process/iopipe_device.hpp>
#include <fl/util/ustring.hpp>

#include <boost/variant.hpp>

#include <iosfwd>
#include <string>

namespace foundation::core::process {

class iopipe;

/// The stream of the parent.
struct inherit_from_parent {};

/// Output goes nowhere.
struct discard {};

/// Standard error goes where standard output goes.
struct merge_with_stdout {};

/// Input comes from a file; one that is missing is made, empty. The name is in UTF-8 inside.
struct FL_API read_from_file {
  /// `file` in UTF-8, or in UTF-16. Nothing is opened before the launch.
  explicit read_from_file(const std::string& file);
  explicit read_from_file(const ustring& file);
  /// The name in UTF-8.
  const std::string& file_string() const;

 private:
  std::string file_;
};

/// Output replaces the contents of a file, which is made if it is missing. The name is in UTF-8 inside.
struct FL_API overwrite_file {
  /// `file` in UTF-8, or in UTF-16. Nothing is opened before the launch.
  explicit overwrite_file(const std::string& file);
  explicit overwrite_file(const ustring& file);
  /// The name in UTF-8.
  const std::string& file_string() const;

 private:
  std::string file_;
};

/// Output goes to the end of a file, which is made if it is missing. The name is in UTF-8 inside.
struct FL_API append_to_file {
  /// `file` in UTF-8, or in UTF-16. Nothing is opened before the launch.
  explicit append_to_file(const std::string& file);
  explicit append_to_file(const ustring& file);
  /// The name in UTF-8.
  const std::string& file_string() const;

 private:
  std::string file_;
};

/// Input comes from a pipe, which this value shares with `pipe`. What `pipe` has buffered is not flushed.
class FL_API pipe_from {
 public:
  /// The child gets the read end; a launch closes it in this process, also one that fails, and fails where it is closed
  /// before.
  explicit pipe_from(iopipe& pipe);
  /// The pipe.
  const iopipe_device& device() const;

 private:
  iopipe_device device_;
};

/// Output goes to a pipe, which this value shares with `pipe`. What `pipe` has buffered is not flushed.
class FL_API pipe_to {
 public:
  /// The child gets the write end; a launch closes it in this process, also one that fails, and fails where it is
  /// closed before.
  explicit pipe_to(iopipe& pipe);
  /// The pipe.
  const iopipe_device& device() const;

 private:
  iopipe_device device_;
};

// The order of the alternatives is fixed: a variant with the smaller index is the lesser.
/// What a child's standard input can be.
using std_in_type = boost::variant<inherit_from_parent, pipe_from, read_from_file>;
/// What a child's standard output can be.
using std_out_type = boost::variant<inherit_from_parent, pipe_to, overwrite_file, append_to_file, discard>;
/// What a child's standard error can be.
using std_err_type =
    boost::variant<inherit_from_parent, pipe_to, overwrite_file, append_to_file, discard, merge_with_stdout>;

/// Files compare by the bytes of their names, pipes by the identity of what they share.
FL_API bool operator==(const inherit_from_parent& left, const inherit_from_parent& right);
FL_API bool operator==(const discard& left, const discard& right);
FL_API bool operator==(const merge_with_stdout& left, const merge_with_stdout& right);
FL_API bool operator==(const read_from_file& left, const read_from_file& right);
FL_API bool operator==(const overwrite_file& left, const overwrite_file& right);
FL_API bool operator==(const append_to_file& left, const append_to_file& right);
FL_API bool operator==(const pipe_from& left, const pipe_from& right);
FL_API bool operator==(const pipe_to& left, const pipe_to& right);

/// In the same way.
FL_API bool operator<(const inherit_from_parent& left, const inherit_from_parent& right);
FL_API bool operator<(const discard& left, const discard& right);
FL_API bool operator<(const merge_with_stdout& left, const merge_with_stdout& right);
FL_API bool operator<(const read_from_file& left, const read_from_file& right);
FL_API bool operator<(const overwrite_file& left, const overwrite_file& right);
FL_API bool operator<(const append_to_file& left, const append_to_file& right);
FL_API bool operator<(const pipe_from& left, const pipe_from& right);
FL_API bool operator<(const pipe_to& left, const pipe_to& right);

/// Each prints its name; a file then its name in double quote characters, a pipe its device.
FL_API std::ostream& operator<<(std::ostream& stream, const inherit_from_parent& value);
FL_API std::ostream& operator<<(std::ostream& stream, const discard& value);
FL_API std::ostream& operator<<(std::ostream& stream, const merge_with_stdout& value);
FL_API std::ostream& operator<<(std::ostream& stream, const read_from_file& value);
FL_API std::ostream& operator<<(std::ostream& stream, const overwrite_file& value);
FL_API std::ostream& operator<<(std::ostream& stream, const append_to_file& value);
FL_API std::ostream& operator<<(std::ostream& stream, const pipe_from& value);
FL_API std::ostream& operator<<(std::ostream& stream, const pipe_to& value);

}  // namespace foundation::core::process
