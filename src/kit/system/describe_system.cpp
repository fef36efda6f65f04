// How the facts are written; they are collected in windows/describe_system.cpp.
#include <kit/describe_system.hpp>

#include <array>
#include <charconv>
#include <string_view>

namespace foundation::kit {

namespace {

using namespace std::string_view_literals;
using std::to_string;

constexpr const char* unknown = "unknown";

std::string one_line(std::string text) {
  for (char& character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (code < 0x20 || code == 0x7F) {
      character = ' ';
    }
  }
  return text;
}

// Each fact in words. A member that is empty is unknown, whatever it is of.

std::string words(const std::string& text) {
  return one_line(text);
}
std::string words(bool fact) {
  return fact ? "yes" : "no";
}
std::string words(std::uint64_t number) {
  return to_string(number);
}

template <class Fact, class Words>
std::string words(const std::optional<Fact>& fact, Words in_words) {
  return fact ? std::string(in_words(*fact)) : unknown;
}
template <class Fact>
std::string words(const std::optional<Fact>& fact) {
  return words(fact, [](const Fact& known) { return words(known); });
}

/// In the largest unit of which there are ten at least, so that little is lost.
std::string bytes(std::uint64_t count) {
  constexpr std::uint64_t kib = 1024, mib = kib * kib;
  if (count >= 10 * mib) {
    return to_string(count / mib) + " MiB";
  }
  return count >= 10 * kib ? to_string(count / kib) + " KiB" : to_string(count) + " bytes";
}

std::string mask(std::uint64_t bits) {
  std::array<char, 16> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), bits, 16).ptr;
  return "0x" + std::string(digits.data(), end);
}

std::string percent(double share) {
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), share, std::chars_format::fixed, 2).ptr;
  return std::string(digits.data(), end) + "%";
}

std::string product(const system_facts& facts) {
  constexpr auto registered = "Windows 10"sv;
  constexpr std::uint32_t first_build_of_11 = 22000;
  std::string name = words(facts.product);
  if (name.starts_with(registered) && facts.version && facts.version->build >= first_build_of_11) {
    name.replace(0, registered.size(), "Windows 11");
  }
  return facts.release ? name + " " + words(facts.release) : name;
}

std::string version(const system_facts& facts) {
  return words(facts.version, [&](const system_version& known) {
    const std::string numbers = to_string(known.major) + "." + to_string(known.minor) + "." + to_string(known.build);
    return facts.revision ? numbers + "." + to_string(*facts.revision) : numbers;
  });
}

std::string architecture(const system_facts& facts) {
  return facts.native_architecture == facts.architecture
             ? facts.architecture
             : facts.architecture + " on " + words(facts.native_architecture);
}

std::string frequency(std::uint64_t hertz) {
  return to_string(hertz / 1'000'000) + " MHz";
}

std::string memory(std::optional<std::uint64_t> all, std::optional<std::uint64_t> available) {
  return all || available ? words(all, bytes) + ", " + words(available, bytes) + " available" : unknown;
}

std::string affinity(const system_facts& facts) {
  if (facts.affinity == 0u && facts.system_affinity == 0u) {
    return "several groups";
  }
  return facts.affinity || facts.system_affinity
             ? words(facts.affinity, mask) + " of " + words(facts.system_affinity, mask)
             : unknown;
}

class fact_list {
 public:
  void add(std::string_view name, const std::string& fact) {
    text_.append(name).append(": ").append(fact).append("\n");
  }
  std::string text() && { return std::move(text_); }

 private:
  std::string text_;
};

/// One of the restrictions of a job that may be unknown as a whole.
template <class Limit, class Words>
std::string limit(const std::optional<job_restrictions>& job, std::optional<Limit> job_restrictions::* which,
                  Words in_words) {
  if (!job) {
    return unknown;
  }
  const std::optional<Limit>& restriction = (*job).*which;
  return restriction ? in_words(*restriction) : "unlimited";
}

void add_job(fact_list& list, const system_facts& facts) {
  list.add("job", words(facts.in_job));
  if (!facts.in_job.value_or(false)) {
    return;
  }
  list.add("memory of the job", limit(facts.job, &job_restrictions::job_memory, bytes));
  list.add("memory of a process of the job", limit(facts.job, &job_restrictions::process_memory, bytes));
  list.add("processes of the job",
           limit(facts.job, &job_restrictions::active_processes, [](std::uint32_t count) { return to_string(count); }));
  list.add("processors of the job", limit(facts.job, &job_restrictions::processors, mask));
  list.add("processor time of the job", words(facts.job_processor_percent, percent));
}

}  // namespace

std::string to_string(const system_facts& facts) {
  fact_list list;
  list.add("system", product(facts));
  list.add("version", version(facts));
  list.add("Wine", facts.wine.empty() ? words(false) : words(facts.wine));
  list.add("architecture", architecture(facts));
  list.add("processor", facts.processor.empty() ? unknown : words(facts.processor));
  list.add("instructions", facts.instructions.empty() ? unknown : words(facts.instructions));
  list.add("cores", words(facts.cores));
  list.add("logical processors", words(facts.logical_processors));
  list.add("usable processors", words(facts.usable_processors));
  list.add("frequency", words(facts.frequency, frequency));
  list.add("memory", memory(facts.physical_memory, facts.available_memory));
  list.add("commit limit", memory(facts.commit_limit, facts.available_commit));
  list.add("committed", words(facts.committed, bytes));
  list.add("page size", bytes(facts.page_size));
  add_job(list, facts);
  list.add("affinity", affinity(facts));
  list.add("priority", words(facts.priority));
  list.add("elevated", words(facts.elevated));
  list.add("integrity", words(facts.integrity));
  list.add("locale", words(facts.locale));
  list.add("code page", to_string(facts.ansi_code_page) + ", OEM " + to_string(facts.oem_code_page));
  return std::move(list).text();
}

}  // namespace foundation::kit
