// The six features of the memory manager as values, the word of each, and what a profile switches on. How a string of
// such words becomes features stands in option_words.hpp. Pure: nothing here acts on a feature.
#pragma once

#include <fl/mem/manager.hpp>

#include <array>
#include <map>
#include <string>

namespace foundation::core::mem::detail {

/// In ascending order: the source of every walk over the types.
inline constexpr std::array feature_types = {
    manager::feature::alignment_checking,
    manager::feature::integrity_checking,
    manager::feature::new_handler,
    manager::feature::observation,
    manager::feature::pooling,
    manager::feature::leak_sanitizer,
};

enum class profile { debug, off, release };

class feature_impl final : public manager::feature {
 public:
  feature_impl(manager::feature::type which, bool on) : type(which), enabled(on) {}
  feature_impl(const feature_impl& other) : feature_impl(other.type, other.enabled) {}

  manager::feature::type get_type() const override { return type; }
  bool is_enabled() const override { return enabled; }
  /// Empty for a value outside the six.
  std::string get_name() const override;

 private:
  manager::feature::type type;
  bool enabled;
};

/// Of each type at most one.
using feature_set = std::map<manager::feature::type, feature_impl>;

/// The word of an option string that switches the feature on. `type` is one of the six.
const char* option_word(manager::feature::type type);

/// One entry, or none if `type` is not one of the six.
feature_set get_features(manager::feature::type type, bool enabled);

/// Overlays: what `source` says about a type replaces what `destination` said.
void merge_features(feature_set& destination, const feature_set& source);

/// All six.
feature_set profile_features(profile which);

}  // namespace foundation::core::mem::detail
