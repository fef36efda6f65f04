// In which order a unit of several bytes is written.
#pragma once

namespace fl::i18n::detail {

enum class byte_order { little, big };

}  // namespace fl::i18n::detail
