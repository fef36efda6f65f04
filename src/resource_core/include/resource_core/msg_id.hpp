// A message for users, by its name: the text is looked up in a catalog when it is asked for, in the language of that
// moment (i18n/message_catalog.hpp).
//
//     resource_core::BaseMsgID id("PLANNER:solver", "tooManySteps", {std::int64_t{500}, "north"s});
//
// Thread safety: a plain value.
#pragma once

#include <resource_core/export.hpp>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace resource_core {

/// What is put in the place of an insertion mark: a number, UTF-8 text, UTF-16 text or a whole number.
using MsgArgument = std::variant<double, std::string, std::u16string, std::int64_t>;

/// Catalog, mnemonic and arguments of one message.
class RESOURCE_CORE_API BaseMsgID {
 public:
  /// Everything empty: names no message.
  BaseMsgID();
  /// `catalog`: which catalog the message is in; `mnemonic`: its name there. Neither is checked.
  BaseMsgID(std::string catalog, std::string mnemonic, std::vector<MsgArgument> arguments = {});
  BaseMsgID(const BaseMsgID& other);
  BaseMsgID(BaseMsgID&& other) noexcept;
  BaseMsgID& operator=(const BaseMsgID& other);
  BaseMsgID& operator=(BaseMsgID&& other) noexcept;
  ~BaseMsgID();

  /// The values of the marks {0}, {1} and so on.
  const std::vector<MsgArgument>& arguments() const noexcept { return arguments_; }
  /// Which catalog the message is in.
  const std::string& catalog() const noexcept { return catalog_; }
  /// Its name there.
  const std::string& mnemonic() const noexcept { return mnemonic_; }

  /// Whether catalog, mnemonic and arguments are the same.
  friend bool operator==(const BaseMsgID& left, const BaseMsgID& right) {
    return left.catalog_ == right.catalog_ && left.mnemonic_ == right.mnemonic_ && left.arguments_ == right.arguments_;
  }
  friend bool operator!=(const BaseMsgID& left, const BaseMsgID& right) { return !(left == right); }

 private:
  std::vector<MsgArgument> arguments_;  ///< the values of the marks {0}, {1} and so on
  std::string catalog_;
  std::string mnemonic_;
};

}  // namespace resource_core
