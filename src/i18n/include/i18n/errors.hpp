// What this library throws, beside the standard library's own exceptions and `boost::system::system_error`.
#pragma once

#include <i18n/export.hpp>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace resource_core {
class BaseMsgID;
}

namespace fl::i18n {

/// The name of an encoding is not known, or the system has no code page for it. `what()` says the name.
class I18N_API unknown_encoding : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
  ~unknown_encoding() override;
};

/// A strict converter met input that stands for no character, or a character that the target encoding lacks. `what()`
/// says what, in which encoding and where.
class I18N_API conversion_error : public std::range_error {
 public:
  /// `position`: see below.
  conversion_error(const std::string& text, std::uint64_t position);
  conversion_error(const conversion_error& other) noexcept;
  conversion_error& operator=(const conversion_error& other) noexcept;
  ~conversion_error() override;

  /// How many bytes or UTF-16 units of the text, counted from its beginning over all pieces, stand before the
  /// offending ones.
  std::uint64_t position() const noexcept { return position_; }

 private:
  std::uint64_t position_;  ///< in units of the input
};

/// No catalog that was looked at has the message. `what()` says, in UTF-8, catalog and mnemonic, and the languages and
/// directories that were tried.
class I18N_API missing_message : public std::runtime_error {
 public:
  /// `text` is what `what()` says; `id` the message that was looked for.
  missing_message(const std::string& text, const resource_core::BaseMsgID& id);
  missing_message(const missing_message& other) noexcept;
  missing_message& operator=(const missing_message& other) noexcept;
  ~missing_message() override;

  /// That of the message that was looked for.
  const std::string& catalog() const noexcept;
  /// Likewise.
  const std::string& mnemonic() const noexcept;

 private:
  std::shared_ptr<const resource_core::BaseMsgID> id_;  ///< not null; shared by all copies
};

/// A catalog is there but cannot be read, or is not one object from mnemonics to texts, each mnemonic once.
/// `what()` says, in UTF-8, the file and the reason, with line and column where the content is at fault.
class I18N_API bad_catalog : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~bad_catalog() override;
};

}  // namespace fl::i18n
