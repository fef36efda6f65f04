#include <fl/process/launch_attributes.hpp>

#include <algorithm>
#include <utility>

namespace foundation::core::detail {

struct launch_attribute_list {
  std::vector<launch_attribute_entry> entries;
};

struct launch_attribute_access {
  static auto& list_of(process::context& how) { return how.launch_attributes_; }
  static auto& list_of(const process::context& how) { return how.launch_attributes_; }
};

const std::vector<launch_attribute_entry>& launch_attributes(const process::context& how) {
  static const std::vector<launch_attribute_entry> none;
  const auto& list = launch_attribute_access::list_of(how);
  return list ? list->entries : none;
}

// Copies of the context share the list: they keep the former one.
void set_launch_attribute(process::context& how, std::uintptr_t number, launch_attribute_source source) {
  auto changed = std::make_shared<launch_attribute_list>();
  changed->entries = launch_attributes(how);
  auto& entries = changed->entries;
  const auto place =
      std::find_if(entries.begin(), entries.end(), [number](const auto& each) { return each.number == number; });
  if (place == entries.end()) {
    if (source) {
      entries.push_back({number, std::move(source)});
    }
  } else if (source) {
    place->source = std::move(source);
  } else {
    entries.erase(place);
  }
  launch_attribute_access::list_of(how) = std::move(changed);
}

}  // namespace foundation::core::detail
