// Arguments in the texts of messages. Thread safety: pure functions.
#pragma once

#include <i18n/ustring.hpp>
#include <resource_core/msg_id.hpp>

#include <string_view>
#include <vector>

namespace fl::i18n::detail {

/// The text with the arguments in the places of their marks, see i18n/message_catalog.hpp. Marks in arguments are
/// plain text.
ustring insert_arguments(std::u16string_view text, const std::vector<resource_core::MsgArgument>& arguments);

}  // namespace fl::i18n::detail
