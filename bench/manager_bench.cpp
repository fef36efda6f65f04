// What it costs to ask the memory manager for a feature, against one virtual call.

#include <fl/mem/manager.hpp>

#include "row.hpp"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace {

using foundation::core::mem::manager;

class features {
 public:
  virtual ~features() = default;
  virtual const std::string& get(int type) const { return names_[type]; }

 private:
  std::string names_[6] = {"", "", "", "", "pooling", ""};
};

void ask_manager(bench::product& result) {
  const manager::feature* found = nullptr;
  for (int i = 0; i != 10000; ++i) {
    benchmark::DoNotOptimize(found = &manager::get_feature(manager::feature::pooling));
  }
  result.add(found->get_name());
}

bench::contender ask_virtual() {
  const auto object = std::make_shared<features>();
  return {[object](bench::product& result) {
    const std::string* found = nullptr;
    for (int i = 0; i != 10000; ++i) {
      found = &object->get(4);
      benchmark::DoNotOptimize(found);
    }
    result.add(*found);
  }};
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("get_feature_vs_virtual_call", {ask_manager}, ask_virtual());
  return bench::run(argc, argv);
}
