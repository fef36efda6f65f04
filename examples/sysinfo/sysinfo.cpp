// sysinfo: shows what the library knows of the processor, as a table or as JSON. Where the system does not report the
// cores, it shows the counts that the library assumes instead, and why.
#include <fl/system.hpp>

#include <cstdio>
#include <exception>
#include <iterator>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace core_system = foundation::core::system;  // C has a function named system.

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

const char* const usage_text =
    "usage: sysinfo [--json]\n"
    "\n"
    "Tells what the processor offers: its instructions, its cores, its maximum frequency, and how many threads of\n"
    "this process can run at once.\n"
    "\n"
    "  --json  prints one JSON object; frequencies are in Hz, and what is not known is null\n"
    "\n"
    "QX_LOG='*=all' sysinfo   shows how the system is asked\n"
    "\n"
    "exit status: 0 also where the system tells nothing, 1 a failure, 2 wrong usage\n";

struct options {
  bool as_json = false;
  bool help = false;
};

struct findings {
  core_system::CpuInfo info;
  std::string error;                 ///< why the system does not report the cores; counts only if `info` is not valid
  unsigned long long frequency = 0;  ///< in Hz; counts only if there is no `frequency_error`
  std::string frequency_error;
};

options parse_options(int argc, char** argv) {
  options chosen;
  for (int i = 1; i < argc; ++i) {
    const std::string word(argv[i]);
    if (word == "--json") {
      chosen.as_json = true;
    } else if (word == "--help") {
      chosen.help = true;
    } else {
      throw std::invalid_argument("'" + word + "' means nothing here");
    }
  }
  return chosen;
}

findings ask() {
  findings found;
  try {
    found.info.refresh();
  } catch (const std::exception& e) {
    found.error = e.what();
    found.info.refresh(std::nothrow);
  }
  // A refresh that fails forgets the frequency too, which the system may yet report.
  try {
    found.frequency = core_system::getMaximumProcessorFrequency().value();
  } catch (const std::exception& e) {
    found.frequency_error = e.what();
  }
  return found;
}

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// What is too long for a line goes on in the next ones, under its beginning.
void print_row(const std::string& label, const std::string& text) {
  constexpr std::size_t text_column = 30;
  constexpr std::size_t line_width = 100;
  std::string line = label;
  line.resize(text_column, ' ');
  for (const std::string& word : words_of(text)) {
    if (line.size() > text_column && line.size() + 1 + word.size() > line_width) {
      std::puts(line.c_str());
      line.assign(text_column, ' ');
    }
    line += (line.size() > text_column ? " " : "") + word;
  }
  std::puts(line.c_str());
}

void print_tiers(const core_system::CpuInfo& info) {
  const auto text = [](int cores) {
    return cores < 0 ? std::string("unknown, or all cores are alike") : std::to_string(cores);
  };
  print_row("Performance cores", text(info.performanceCores()));
  print_row("Efficiency cores", text(info.efficiencyCores()));
}

void print_frequency(const findings& found) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f GHz", static_cast<double>(found.frequency) / 1e9);
  print_row("Maximum frequency", found.frequency_error.empty() ? text : "not known: " + found.frequency_error);
}

void print_table(const findings& found) {
  const core_system::CpuInfo& info = found.info;
  const auto print_count = [&](const char* label, unsigned long long count) {
    print_row(label, std::to_string(count) + (info.detailsValid() ? "" : " (assumed)"));
  };
  const std::string& brand = info.instructionSet().brand();
  print_row("Processor", brand.empty() ? "unknown" : brand);
  print_row("Vendor", info.instructionSet().vendor());
  print_row("Features", info.instructionSet().getFeatureString());
  print_count("Physical cores", info.pCores());
  print_count("Logical processors", info.lCores());
  print_count("Usable by this process", info.aCores());
  print_row("Hyper-threaded", !info.detailsValid() ? "unknown" : info.hyperthreaded() ? "yes" : "no");
  print_tiers(info);
  print_frequency(found);
  print_count("Threads at once, by cores", getAvailableConcurrency(info, false));
  print_count("  by logical processors", getAvailableConcurrency(info, true));
  if (!info.detailsValid()) {
    print_row("(assumed)", "what the C++ library tells, as the system tells no cores: " + found.error);
  }
}

std::string json(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(c));
    const bool plain = c != '"' && c != '\\' && static_cast<unsigned char>(c) >= 0x20;
    quoted += plain ? std::string(1, c) : escape;
  }
  return quoted + '"';
}

std::string json(bool fact) {
  return fact ? "true" : "false";
}

template <class Number>
std::string json(Number number) {
  return std::to_string(number);
}

template <class T>
std::string or_null(bool known, const T& what) {
  return known ? json(what) : "null";
}

/// One member a line.
void print_json(const findings& found) {
  const core_system::CpuInfo& info = found.info;
  const std::string& brand = info.instructionSet().brand();
  std::string features;
  for (const std::string& feature : words_of(info.instructionSet().getFeatureString())) {
    features += (features.empty() ? "" : ",") + json(feature);
  }
  const std::vector<std::pair<const char*, std::string>> members{
      {"brand", or_null(!brand.empty(), brand)},
      {"vendor", json(info.instructionSet().vendor())},
      {"features", "[" + features + "]"},
      {"pCores", json(info.pCores())},
      {"lCores", json(info.lCores())},
      {"aCores", json(info.aCores())},
      {"hyperthreaded", or_null(info.detailsValid(), info.hyperthreaded())},
      {"performanceCores", or_null(info.performanceCores() >= 0, info.performanceCores())},
      {"efficiencyCores", or_null(info.efficiencyCores() >= 0, info.efficiencyCores())},
      {"frequency", or_null(found.frequency_error.empty(), found.frequency)},
      {"frequencyAvailable", json(found.frequency_error.empty())},
      {"frequencyError", or_null(!found.frequency_error.empty(), found.frequency_error)},
      {"availableConcurrency", "{\"physical\":" + json(getAvailableConcurrency(info, false)) +
                                   ",\"logical\":" + json(getAvailableConcurrency(info, true)) + "}"},
      {"detailsValid", json(info.detailsValid())},
      {"error", or_null(!info.detailsValid(), found.error)},
  };
  const char* before = "{\n";
  for (const auto& [name, value] : members) {
    std::printf("%s  \"%s\": %s", before, name, value.c_str());
    before = ",\n";
  }
  std::puts("\n}");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const options chosen = parse_options(argc, argv);
    if (chosen.help) {
      std::fputs(usage_text, stdout);
    } else if (chosen.as_json) {
      print_json(ask());
    } else {
      print_table(ask());
    }
    return 0;
  } catch (const std::invalid_argument& e) {
    std::fprintf(stderr, "sysinfo: %s\n\n%s", e.what(), usage_text);
    return exit_usage;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "sysinfo: %s\n", e.what());
    return exit_failure;
  }
}
