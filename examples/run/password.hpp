// The password of the user that `run` is to run a program as.
#pragma once

#include <stdexcept>
#include <string>

/// Ctrl-C came before the password was complete.
class password_interrupted : public std::runtime_error {
 public:
  password_interrupted() : std::runtime_error("interrupted") {}
};

/// A password in UTF-8, which is overwritten when the object goes.
class password {
 public:
  /// Asks for it on standard error and reads one line of standard input: without echo from a console, and otherwise not
  /// one byte further, so that a child can read on from there. Throws password_interrupted, or std::runtime_error that
  /// says what is wrong.
  explicit password(const std::string& user);
  password(const password&) = delete;
  password& operator=(const password&) = delete;
  ~password();

  const std::string& text() const { return text_; }

 private:
  password();

  std::string text_;  // Its memory is reserved before it is filled: growing would leave copies behind.
};
