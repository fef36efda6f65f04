#include "process/environment_block.hpp"

#include <algorithm>
#include <map>

#include "util/strict_utf.hpp"

namespace foundation::core::process {

namespace {

// Whole entries by upper-cased name, in the order of the units' numbers.
using merge_map = std::map<std::u16string, std::u16string>;

void append_entry(std::vector<char>& block, const std::string& name, const std::string& value) {
  block.insert(block.end(), name.begin(), name.end());
  block.push_back('=');
  block.insert(block.end(), value.begin(), value.end());
  block.push_back('\0');
}

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

std::vector<char16_t> flattened(const merge_map& entries) {
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

environment_map environment_from_entries(std::vector<std::string> entries) {
  environment_map environment;
  for (std::string& entry : entries) {
    const std::size_t equals = std::min(entry.find('='), entry.size());
    std::string name = entry.substr(0, equals);
    entry.erase(0, equals + 1);
    // The system keeps its entries in nearly this order, so that the end is nearly always the place.
    environment.emplace_hint(environment.end(), std::move(name), std::move(entry));
  }
  return environment;
}

void append_env_var(std::vector<char>& block, const std::pair<std::string, std::string>& entry) {
  append_entry(block, entry.first, entry.second);
}

std::vector<char> narrow_environment_block(const environment_map& environment) {
  std::vector<char> block;
  for (const auto& [name, value] : environment) {
    append_entry(block, name, value);
  }
  if (environment.empty()) {
    block.push_back('\0');
  }
  block.push_back('\0');
  return block;
}

std::vector<char16_t> merged_environment_block(const char16_t* user_block, const environment_map& environment,
                                               unit_upper_case to_upper) {
  merge_map merged = named_entries(user_block, to_upper);
  for (const auto& [narrow_name, narrow_value] : environment) {
    const std::u16string name = util::utf8_to_utf16_strict(narrow_name);
    merged.emplace(upper_cased(name, to_upper), name + u'=' + util::utf8_to_utf16_strict(narrow_value));
  }
  return flattened(merged);
}

}  // namespace foundation::core::process
