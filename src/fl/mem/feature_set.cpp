#include "mem/feature_set.hpp"

#include "diag/assertion.hpp"
#include "mem/assertion_paths.hpp"

namespace foundation::core::mem {

manager::feature::feature() = default;
manager::feature::~feature() = default;

manager::feature::operator bool() const {
  return is_enabled();
}

namespace detail {

namespace {

struct feature_row {
  const char* name;
  const char* word;
  bool in_debug;
  bool in_release;
};

/// By the value of the type.
constexpr std::array<feature_row, feature_types.size()> rows = {{
    {"alignment_checking", "aligncheck", true, false},
    {"integrity_checking", "integcheck", true, false},
    {"new_handler", "newhandler", true, false},
    {"observation", "observation", true, false},
    {"pooling", "pooling", false, true},
    {"leak_sanitizer", "leaksanitizer", false, false},
}};

bool is_on(const feature_row& row, profile which) {
  switch (which) {
    case profile::debug:
      return row.in_debug;
    case profile::release:
      return row.in_release;
    case profile::off:
      break;
  }
  return false;
}

void insert(feature_set& set, const feature_impl& feature) {
  const auto result = set.emplace(feature.get_type(), feature);
  diag::assert_that(result.second, "result.second", manager_path);
}

}  // namespace

std::string feature_impl::get_name() const {
  return type < rows.size() ? rows[type].name : "";
}

const char* option_word(manager::feature::type type) {
  return rows[type].word;
}

feature_set get_features(manager::feature::type type, bool enabled) {
  feature_set made;
  if (type < rows.size()) {
    insert(made, feature_impl(type, enabled));
  }
  return made;
}

void merge_features(feature_set& destination, const feature_set& source) {
  for (const auto& [type, feature] : source) {
    destination.erase(type);
    insert(destination, feature);
  }
}

feature_set profile_features(profile which) {
  feature_set made;
  for (const auto type : feature_types) {
    merge_features(made, get_features(type, false));
  }
  for (const auto type : feature_types) {
    if (is_on(rows[type], which)) {
      merge_features(made, get_features(type, true));
    }
  }
  return made;
}

}  // namespace detail

}  // namespace foundation::core::mem
