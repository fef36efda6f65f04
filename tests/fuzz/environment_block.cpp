// Environments: from a snapshot's entries to a map, and on to the blocks that a launch hands over.
#include "process/launch_text/environment_block.hpp"

#include <i18n/convert.hpp>

#include "fuzzing.hpp"
#include "process/values/environment_entries.hpp"

#include <algorithm>
#include <list>

namespace {

using namespace foundation::core::process;
using fl::ustring;

char16_t to_upper(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit == u'\u212A' ? u'K' : unit;
}

ustring upper(ustring text) {
  std::transform(text.begin(), text.end(), text.begin(), to_upper);
  return text;
}

/// Upper-cased names, each with its entry.
using entry_list = std::list<std::pair<ustring, ustring>>;

ustring block_of(entry_list entries) {
  entries.sort([](auto& left, auto& right) { return left.first < right.first; });  // Stable.
  ustring block;
  for (const auto& [name, entry] : entries) {
    block += entry + u'\0';
  }
  return block + (block.empty() ? ustring(2, u'\0') : ustring(1, u'\0'));
}

ustring text_of(const std::vector<char16_t>& block) {
  return {block.begin(), block.end()};
}

void append_entry(std::vector<char>& block, const std::pair<std::string, std::string>& entry) {
  const std::string text = entry.first + '=' + entry.second + '\0';
  block.insert(block.end(), text.begin(), text.end());
}

bool are_alike(const std::string& left, const std::string& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char l, char r) {
    return l == r || ((l ^ r) == 0x20 && (l | 0x20) >= 'a' && (l | 0x20) <= 'z');
  });
}

/// The first of each name, in the order of the map.
void check_map(const std::vector<std::string>& entries, const environment_map& environment) {
  std::vector<std::string> names;
  for (const std::string& entry : entries) {
    const std::string name = entry.substr(0, entry.find('='));
    if (std::none_of(names.begin(), names.end(), [&](const std::string& known) { return are_alike(known, name); })) {
      names.push_back(name);
      const auto found = environment.find(name);
      fuzzing::require(found != environment.end() && found->first == name);
      fuzzing::require(name + (entry.size() == name.size() ? "" : "=") + found->second == entry);
    }
  }
  fuzzing::require(names.size() == environment.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::input in(data, size);
  std::vector<std::string> entries;
  ustring user;
  entry_list wide, merged;
  for (std::size_t count = in.ConsumeIntegralInRange<std::size_t>(0, 5); count != 0; --count) {
    if (const ustring entry = fl::i18n::utf8_to_ustring(in.ConsumeRandomLengthString(20).c_str()); !entry.empty()) {
      user += entry + u'\0';
      const ustring name = upper(entry.substr(0, entry.find(u'=')));
      const bool is_known = std::any_of(merged.begin(), merged.end(), [&](auto& known) { return known.first == name; });
      if (name.size() != entry.size() && !name.empty() && !is_known) {
        merged.emplace_back(name, entry);
      }
    }
  }
  while (in.remaining_bytes() != 0) {
    entries.emplace_back(in.ConsumeRandomLengthString(20).c_str());
  }
  const environment_map environment = environment_from_entries(entries);
  check_map(entries, environment);
  std::string narrow;
  for (const auto& [name, value] : environment) {
    narrow += name + '=' + value + '\0';
    const ustring wide_name = fl::i18n::utf8_to_ustring(name), key = upper(wide_name);
    const ustring entry = wide_name + u'=' + fl::i18n::utf8_to_ustring(value);
    wide.emplace_back(key, entry);
    if (std::none_of(merged.begin(), merged.end(), [&](auto& known) { return known.first == key; })) {
      merged.emplace_back(key, entry);
    }
  }
  const std::vector<char> narrow_block = narrow_environment_block(environment, append_entry);
  fuzzing::require(std::string(narrow_block.begin(), narrow_block.end()) ==
                   narrow + std::string(narrow.empty() ? 2 : 1, '\0'));
  fuzzing::require(text_of(wide_environment_block(environment, to_upper, fl::i18n::utf8_to_ustring)) == block_of(wide));
  const std::vector<char16_t> exact(user.c_str(), user.c_str() + user.size() + 1);
  fuzzing::require(text_of(merged_environment_block(exact.data(), environment, to_upper, fl::i18n::utf8_to_ustring)) ==
                   block_of(merged));
  return 0;
}
