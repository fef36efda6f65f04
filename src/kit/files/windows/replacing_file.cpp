#include <common/windows/system_error.hpp>
#include <kit/replacing_file.hpp>

#include <windows.h>

#include <algorithm>
#include <streambuf>
#include <string>

namespace foundation::kit {

namespace {

using core::sysdep::windows::throw_system_error;

constexpr std::size_t limit = 65536;           // bytes that are buffered
constexpr std::size_t most_a_write = 1 << 26;  // bytes

/// Writes to a file, which belongs to it. What was not written is kept.
class file_buffer : public std::streambuf {
 public:
  explicit file_buffer(HANDLE file) noexcept : file_(file) {}
  file_buffer(const file_buffer&) = delete;
  file_buffer& operator=(const file_buffer&) = delete;
  ~file_buffer() override { close(); }

  /// Throws.
  void write_to_the_disk() {
    write_held();
    if (!::FlushFileBuffers(file_)) {
      throw_system_error(::GetLastError(), "FlushFileBuffers");
    }
  }

  /// Does not disturb the last error.
  void close() noexcept {
    if (file_ != INVALID_HANDLE_VALUE) {
      const DWORD last_error = ::GetLastError();
      ::CloseHandle(file_);
      ::SetLastError(last_error);
      file_ = INVALID_HANDLE_VALUE;
    }
  }

 protected:
  int_type overflow(int_type byte) override {
    const char single = traits_type::to_char_type(byte);
    file_buffer::xsputn(&single, traits_type::eq_int_type(byte, traits_type::eof()) ? 0 : 1);
    return traits_type::not_eof(byte);
  }
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    held_.append(bytes, static_cast<std::size_t>(count));
    if (held_.size() >= limit) {
      write_held();
    }
    return count;
  }
  int sync() override {
    try {
      write_held();
      return 0;
    } catch (...) {  // Streams flush in destructors.
      return -1;
    }
  }

 private:
  void write_held() {
    std::size_t written = 0;
    while (written != held_.size()) {
      DWORD put = 0;
      const auto most = static_cast<DWORD>(std::min(held_.size() - written, most_a_write));
      const BOOL done = ::WriteFile(file_, held_.data() + written, most, &put, nullptr);
      if (!done || put == 0) {
        const DWORD error = done ? ERROR_WRITE_FAULT : ::GetLastError();
        held_.erase(0, written);
        throw_system_error(error, "WriteFile");
      }
      written += put;
    }
    held_.clear();
  }

  HANDLE file_;  // or INVALID_HANDLE_VALUE
  std::string held_;
};

/// Nobody else can write it, and yet it can be moved and deleted while it is open: it stays open until then, since
/// another one may have its name as soon as it is closed. Who reads it is let in, for the moment behind the move.
HANDLE create(const std::wstring& name) {
  const HANDLE file = ::CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw_system_error(::GetLastError(), "CreateFileW");
  }
  return file;
}

/// A name with a zero would be that of another file.
const fl::filesystem::path& checked(const fl::filesystem::path& name) {
  if (name.string().find(u'\0') != fl::ustring::npos) {
    throw_system_error(ERROR_INVALID_NAME, "CreateFileW");
  }
  return name;
}

}  // namespace

struct replacing_file::state {
  explicit state(const fl::filesystem::path& name)
      : other(checked(name).native_access_form()),
        own(fl::filesystem::path(name.string() + u".part").native_access_form()),
        buffer(create(own)) {}

  const std::wstring other, own;  // names
  file_buffer buffer;
  std::ostream stream{&buffer};
  bool is_kept = false;
};

replacing_file::replacing_file(const fl::filesystem::path& name) : state_(std::make_unique<state>(name)) {}

replacing_file::~replacing_file() {
  if (!state_->is_kept) {
    const DWORD last_error = ::GetLastError();
    ::DeleteFileW(state_->own.c_str());
    ::SetLastError(last_error);
  }
}

std::ostream& replacing_file::stream() {
  return state_->stream;
}

void replacing_file::keep() {
  if (state_->is_kept) {
    return;
  }
  state_->buffer.write_to_the_disk();
  if (state_->stream.fail()) {
    throw_system_error(ERROR_WRITE_FAULT, "WriteFile");
  }
  if (!::MoveFileExW(state_->own.c_str(), state_->other.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    throw_system_error(::GetLastError(), "MoveFileExW");
  }
  state_->buffer.close();
  state_->is_kept = true;
}

}  // namespace foundation::kit
