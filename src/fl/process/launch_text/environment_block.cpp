#include "process/launch_text/environment_block.hpp"

#include <algorithm>
#include <map>

namespace foundation::core::process {

namespace {

// Whole entries by upper-cased name, in the order of the units' numbers.
using merge_map = std::map<std::u16string, std::u16string>;

std::u16string upper_cased(std::u16string text, unit_upper_case to_upper) {
  for (char16_t& unit : text) {
    unit = to_upper(unit);
  }
  return text;
}

merge_map named_entries(const char16_t* block, unit_upper_case to_upper) {
  merge_map merged;
  while (*block != u'\0') {
    const std::u16string entry(block);
    block += entry.size() + 1;
    const std::size_t equals = entry.find(u'=');
    if (equals != std::u16string::npos && equals != 0) {
      merged.emplace(upper_cased(entry.substr(0, equals), to_upper), entry);
    }
  }
  return merged;
}

template <class Entries>
std::vector<char16_t> flattened(const Entries& entries) {
  std::vector<char16_t> block;
  for (const auto& [key, entry] : entries) {
    block.insert(block.end(), entry.begin(), entry.end());
    block.push_back(u'\0');
  }
  if (block.empty()) {
    block.push_back(u'\0');
  }
  block.push_back(u'\0');
  return block;
}

}  // namespace

std::vector<char> narrow_environment_block(const environment_map& environment, entry_appender append) {
  std::vector<char> block;
  for (const auto& entry : environment) {
    append(block, entry);
  }
  if (environment.empty()) {
    block.push_back('\0');
  }
  block.push_back('\0');
  return block;
}

std::vector<char16_t> wide_environment_block(const environment_map& environment, unit_upper_case to_upper,
                                             text_decoder decode) {
  // Names that the map holds apart stay apart, even if they are alike for `to_upper`.
  std::multimap<std::u16string, std::u16string> entries;
  for (const auto& [name, value] : environment) {
    const std::u16string wide_name = decode(name);
    entries.emplace(upper_cased(wide_name, to_upper), wide_name + u'=' + decode(value));
  }
  return flattened(entries);
}

std::vector<char16_t> merged_environment_block(const char16_t* user_block, const environment_map& environment,
                                               unit_upper_case to_upper, text_decoder decode) {
  merge_map merged = named_entries(user_block, to_upper);
  for (const auto& [narrow_name, value] : environment) {
    const std::u16string name = decode(narrow_name);
    merged.emplace(upper_cased(name, to_upper), name + u'=' + decode(value));
  }
  return flattened(merged);
}

}  // namespace foundation::core::process
