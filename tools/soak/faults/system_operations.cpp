// Memory: the manager, the aligned heap, pools. Processors.

#include <fl/mem.hpp>
#include <fl/system.hpp>

#include "import_patch.hpp"
#include "operation.hpp"

namespace faults {
namespace {

using namespace foundation::core;

void ask_manager(trial& t) {
  mem::manager::initialize();
  t.act([&] {
    for (const auto type : mem::manager::get_feature_types()) {
      const mem::manager::feature& feature = mem::manager::get_feature(type);
      t.see(feature.get_name() + (feature ? " on" : " off"));
    }
    mem::manager::reinit_new_handler();
    mem::manager::set_thread_terminate_on_oom(false);
  });
}

void tell_start(trial& t) {
  std::ostringstream text, whole;
  const bool ran = t.act([&] { mem::manager::write_startup_log(text); });
  mem::manager::write_startup_log(whole);
  t.expect(!ran || !text || text.str() == whole.str(), "lacks a part without a sign of it");
  t.see(text ? "whole" : "bad stream");
}

// Memory that was had stays as it is when there is no more.
void use_heap(trial& t) {
  constexpr std::size_t large = 3 << 20;
  auto* bytes = static_cast<char*>(mem::vector_malloc(100));
  std::memset(bytes, 'x', 100);
  t.act([&] {
    for (const std::size_t size : {large, std::size_t{200}, 4 * large}) {
      if (void* const more = mem::vector_realloc(bytes, size)) {
        bytes = static_cast<char*>(more);
      }
      t.expect(std::count(bytes, bytes + 100, 'x') == 100, "the content changed");
      mem::vector_check(bytes);
    }
    void* const zeros = mem::vector_calloc(10, large);
    t.expect(zeros == nullptr || static_cast<char*>(zeros)[large] == 0, "is not zero");
    if (zeros != nullptr) {  // The heaps with headers take no null.
      mem::vector_free(zeros);
    }
    t.expect(mem::vector_alignment() >= 16, "is not aligned");
  });
  mem::vector_free(bytes);
}

void use_pool(trial& t) {
  std::unique_ptr<mem::managed_pool> pool;
  t.act([&] { pool = mem::create_managed_pool(100, 10); });
  if (pool != nullptr) {
    std::vector<void*> chunks;
    chunks.reserve(3000);
    t.act([&] {
      while (chunks.size() < 3000) {
        chunks.push_back(pool->allocate());
      }
    });
    for (void* const chunk : chunks) {
      pool->deallocate(chunk);
    }
    t.act([&] { pool->release_free_memory(); });
  }
  t.act([&] { pool.reset(); });
}

void ask_memory(trial& t) {
  t.act([&] {
    const mem::RamState now;
    mem::RamState copy(now);
    copy = now;
    t.expect(copy.get_total_ram() >= now.get_available_ram() && now.get_memory_pressure() > 0, "has no memory");
    static_cast<void>(now.get_max_advised_allocation(50));
  });
  t.act([&] {
    t.see(mem::stats::IsSupported() && mem::stats::GetStats().GetAlloced() != 0 ? "counted" : "0");
    static_cast<void>(mem::stats().GetAlloced() + mem::stats(1).GetAlloced());
  });
}

void ask_pages(trial& t) {
  t.act([&] { t.expect(mem::get_page(&t) != nullptr && mem::get_page_size() == 4096, "another page"); });
}

void ask_processor(trial& t) {
  system::CpuInfo info;
  t.act([&] { info.refresh(); });
  const system::CpuInfo before = info;
  t.act([&] { info.refresh(); });
  t.expect(info == before || info.detailsValid(), "half refreshed");
  t.act([&] { info.refresh(std::nothrow); });
  t.see(info.detailsValid() ? std::to_string(info.lCores()) : "not valid");
  t.act([&] { t.see(system::getMaximumProcessorFrequency().has_value() ? "known" : "not known"); });
}

void ask_features(trial& t) {
  t.act([&] { t.see(system::x86_64::InstructionSet().getFeatureString()); });
}

void compare_processors(trial& t) {
  static const system::CpuInfo info;
  t.act([&] {
    t.expect(info == info && !(info != info) && system::getAvailableConcurrency(info, true) == 1, "has no processor");
  });
}

}  // namespace

void begin_system_operations() {
  ::_putenv("TESSEL_MEM_MGR=release,unknown");  // The report of the start tells of the word.
  static const test_support::injected<decltype(&::GetProcessGroupAffinity)> one_group(
      "GetProcessGroupAffinity", [](auto, HANDLE, USHORT* count, USHORT* groups) {
        *groups = 0;
        *count = 1;
        return TRUE;
      });
}

std::vector<operation> system_operations() {
  return {{"memory manager: ask", ask_manager},
          {"memory manager: report of the start", tell_start, "bad stream"},
          {"aligned heap", use_heap},
          {"pool", use_pool},
          {"memory of the machine and the process", ask_memory, "^done 0;$|get_physical_memory: "},
          {"none: pages", ask_pages},
          {"processor: refresh, frequency", ask_processor, "^done .*(not valid|not known)|computeNumberOfCores: "},
          {"processor: features", ask_features},
          {"none: processor: compare", compare_processors}};
}

}  // namespace faults
