#include <fl/process/iopipe.hpp>
#include <fl/process/redirection.hpp>
#include <i18n/convert.hpp>

#include <ostream>

namespace foundation::core::process {

read_from_file::read_from_file(const std::string& file) : file_(file) {}
read_from_file::read_from_file(const ustring& file) : file_(fl::i18n::ustring_to_utf8(file)) {}
const std::string& read_from_file::file_string() const {
  return file_;
}

overwrite_file::overwrite_file(const std::string& file) : file_(file) {}
overwrite_file::overwrite_file(const ustring& file) : file_(fl::i18n::ustring_to_utf8(file)) {}
const std::string& overwrite_file::file_string() const {
  return file_;
}

append_to_file::append_to_file(const std::string& file) : file_(file) {}
append_to_file::append_to_file(const ustring& file) : file_(fl::i18n::ustring_to_utf8(file)) {}
const std::string& append_to_file::file_string() const {
  return file_;
}

pipe_from::pipe_from(iopipe& pipe) : device_(pipe.device()) {}
const iopipe_device& pipe_from::device() const {
  return device_;
}

pipe_to::pipe_to(iopipe& pipe) : device_(pipe.device()) {}
const iopipe_device& pipe_to::device() const {
  return device_;
}

bool operator==(const inherit_from_parent&, const inherit_from_parent&) {
  return true;
}
bool operator==(const discard&, const discard&) {
  return true;
}
bool operator==(const merge_with_stdout&, const merge_with_stdout&) {
  return true;
}
bool operator==(const read_from_file& left, const read_from_file& right) {
  return left.file_string() == right.file_string();
}
bool operator==(const overwrite_file& left, const overwrite_file& right) {
  return left.file_string() == right.file_string();
}
bool operator==(const append_to_file& left, const append_to_file& right) {
  return left.file_string() == right.file_string();
}
bool operator==(const pipe_from& left, const pipe_from& right) {
  return left.device() == right.device();
}
bool operator==(const pipe_to& left, const pipe_to& right) {
  return left.device() == right.device();
}

bool operator<(const inherit_from_parent&, const inherit_from_parent&) {
  return false;
}
bool operator<(const discard&, const discard&) {
  return false;
}
bool operator<(const merge_with_stdout&, const merge_with_stdout&) {
  return false;
}
bool operator<(const read_from_file& left, const read_from_file& right) {
  return left.file_string() < right.file_string();
}
bool operator<(const overwrite_file& left, const overwrite_file& right) {
  return left.file_string() < right.file_string();
}
bool operator<(const append_to_file& left, const append_to_file& right) {
  return left.file_string() < right.file_string();
}
bool operator<(const pipe_from& left, const pipe_from& right) {
  return left.device() < right.device();
}
bool operator<(const pipe_to& left, const pipe_to& right) {
  return left.device() < right.device();
}

std::ostream& operator<<(std::ostream& stream, const inherit_from_parent&) {
  return stream << "inherit_from_parent";
}
std::ostream& operator<<(std::ostream& stream, const discard&) {
  return stream << "discard";
}
std::ostream& operator<<(std::ostream& stream, const merge_with_stdout&) {
  return stream << "merge_with_stdout";
}
std::ostream& operator<<(std::ostream& stream, const read_from_file& value) {
  return stream << "read_from_file \"" << value.file_string() << '"';
}
std::ostream& operator<<(std::ostream& stream, const overwrite_file& value) {
  return stream << "overwrite_file \"" << value.file_string() << '"';
}
std::ostream& operator<<(std::ostream& stream, const append_to_file& value) {
  return stream << "append_to_file \"" << value.file_string() << '"';
}
std::ostream& operator<<(std::ostream& stream, const pipe_from& value) {
  return stream << "pipe_from " << value.device();
}
std::ostream& operator<<(std::ostream& stream, const pipe_to& value) {
  return stream << "pipe_to " << value.device();
}

}  // namespace foundation::core::process
