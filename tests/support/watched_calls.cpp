#include "watched_calls.hpp"

#include <cerrno>
#include <list>
#include <regex>

namespace test_support {
namespace {

// By this system's convention a call may hand over more words than the function takes: one type does for all functions.
using word = std::uintptr_t;
using any_call = word (*)(word, word, word, word, word, word, word, word, word, word, word, word);
using all_words = std::array<word, 12>;

enum class role { system_call, giving_back, operator_new, malloc, calloc, realloc, free };

struct watched_function {
  std::string name;
  role part = role::system_call;
  word failure = 0;     // what it returns when it is refused
  int count_word = 0;   // the parameter that holds the number of bytes, or 0
  int result_word = 0;  // the parameter that points to the number of bytes done; 0 if that is the result
  bool planned = false;
  int calls = 0;  // on the watched thread, in this run
};

struct watched_import {
  std::atomic<import_patch::any_function> original;
  watched_function* function;
  bool only_counts;  // what lives; its calls are not refused
};

std::array<watched_import, 640> watched;
std::list<watched_function> functions_seen;  // by name, for all modules
planned_fault plan;
std::atomic<DWORD> watched_thread = 0;
int allocations_made = 0, calls_made = 0, faults_made = 0, closes_in_vain = 0;
std::atomic<long long> living = 0;

// Those that cannot fail, as waking and being woken by handles of one's own cannot, and those that are no business of
// the operation.
const std::regex left_alone(
    "SetEvent|ResetEvent|ReleaseSemaphore|WaitFor(SingleObject|MultipleObjects)Ex|"
    ".*(SRWLock|CriticalSection).*|(GetCurrent|Ldr|(Tls|Fls)[G]|TlsS|VirtualProtect|VirtualQuery|Delete[CP]|Rtl).*|"
    "FormatMessageW|GetSidSubAuthority(Count)?|"
    "GetACP|GetOEMCP|GetLastError|GetProcessHeap|GetTickCount.*|GetSystemInfo|GetCommandLineW|GetSystemTime.*|"
    "IsDBCSLeadByteEx|QueryPerformance.*|SetLastError|SetUnhandledExceptionFilter|Sleep.*|SwitchToThread|Wake.*|__C_."
    "*");
const std::regex giving_back(".*(Close|_close|Destroy|Free|Release|Unload|Unlock|Unmap|Unregister).*");

// What a refused function returns, where that is not 0.
const std::map<std::string, word> failures = {{"CallNtPowerInformation", 0xC000009Au},
                                              {"CreateFileA", ~word{0}},
                                              {"CreateFileW", ~word{0}},
                                              {"CreateToolhelp32Snapshot", ~word{0}},
                                              {"CreateNamedPipeW", ~word{0}},
                                              {"FlsAlloc", FLS_OUT_OF_INDEXES},
                                              {"GetStdHandle", ~word{0}},
                                              {"NtCreateFile", 0xC000009Au},
                                              {"RegGetValueW", refused_code},
                                              {"RegOpenKeyExA", refused_code},
                                              {"RegQueryValueExA", refused_code},
                                              {"ResumeThread", ~word{0}},
                                              {"RtlGetVersion", 0xC000009Au},
                                              {"SetFilePointer", 0xFFFFFFFFu},
                                              {"SuspendThread", ~word{0}},
                                              {"TlsAlloc", TLS_OUT_OF_INDEXES},
                                              {"WaitForMultipleObjects", WAIT_FAILED},
                                              {"WaitForSingleObject", WAIT_FAILED},
                                              {"WaitForSingleObjectEx", WAIT_FAILED},
                                              {"_close", ~word{0}},
                                              {"_fdopen", 0},
                                              {"_fstat64", ~word{0}},
                                              {"_get_osfhandle", ~word{0}},
                                              {"_lseeki64", ~word{0}},
                                              {"_putenv_s", ENOMEM},
                                              {"_read", ~word{0}},
                                              {"_wopen", ~word{0}},
                                              {"_write", ~word{0}},
                                              {"fflush", ~word{0}},
                                              {"pthread_create", EAGAIN}};
const std::map<std::string, role> roles = {{"new", role::operator_new},
                                           {"malloc", role::malloc},
                                           {"calloc", role::calloc},
                                           {"realloc", role::realloc},
                                           {"free", role::free}};

watched_function& function_named(const std::string& name) {
  for (watched_function& each : functions_seen) {
    if (each.name == name) {
      return each;
    }
  }
  watched_function& made = functions_seen.emplace_back();
  made.name = name;
  const auto known = roles.find(name);
  made.part = known != roles.end()                  ? known->second
              : std::regex_match(name, giving_back) ? role::giving_back
                                                    : role::system_call;
  const auto failure = failures.find(name);
  made.failure = failure == failures.end() ? 0 : failure->second;
  const bool on_handle = name == "WriteFile" || name == "ReadFile";
  made.count_word = on_handle || name == "_write" || name == "_read" ? 2 : 0;
  made.result_word = on_handle ? 3 : 0;
  return made;
}

word pass_on(const watched_import& self, const all_words& words) {
  return std::apply(reinterpret_cast<any_call>(self.original.load()), words);
}

bool is_planned(int nth) {
  if (nth != plan.nth && (!plan.persistent || nth < plan.nth)) {
    return false;
  }
  if (++faults_made > 20000) {  // It asks again and again, and would do so for ever.
    watched_thread = 0;
    std::fprintf(stderr, "a refused call was repeated 20000 times\n");
    std::abort();
  }
  return true;
}

// The last error is kept, which an allocation does not touch.
word allocate(const watched_import& self, const all_words& words) {
  const role part = self.function->part;
  const bool is_watched = ::GetCurrentThreadId() == watched_thread && !self.only_counts;
  if (is_watched && part != role::free) {
    ++self.function->calls;
    ++allocations_made;
    if (plan.what == planned_fault::kind::allocation && is_planned(allocations_made)) {
      if (part == role::operator_new) {
        throw std::bad_alloc();
      }
      errno = ENOMEM;
      return 0;
    }
  }
  const bool had = (part == role::free || part == role::realloc) && words[0] != 0;
  const word made = pass_on(self, words);
  if (part == role::realloc) {
    living += (made != 0 && !had) - (made == 0 && had && words[1] == 0);
  } else if (part != role::operator_new) {
    living += part == role::free ? -had : made != 0;
  }
  return made;
}

// Lets the system do a part of what was asked for.
word do_half(const watched_import& self, all_words words) {
  const auto at = static_cast<std::size_t>(self.function->count_word);
  const auto asked = static_cast<std::uint32_t>(words[at]);
  auto* const done = reinterpret_cast<DWORD*>(self.function->result_word != 0 ? words[3] : 0);
  // Not half of one: a caller who asks for the rest would ask for ever.
  const auto part = plan.share == one_byte  ? 1
                    : plan.share == no_byte ? 0
                                            : std::max(asked / static_cast<std::uint32_t>(plan.share), 1u);
  words[at] = std::min<std::uint32_t>(asked, part);
  if (words[at] != 0 || asked == 0 || (self.function->result_word != 0 && done == nullptr)) {
    return pass_on(self, words);
  }
  if (done != nullptr) {
    *done = 0;
    return TRUE;
  }
  return 0;
}

word call_system(const watched_import& self, const all_words& words) {
  using kind = planned_fault::kind;
  if (::GetCurrentThreadId() != watched_thread) {
    return pass_on(self, words);
  }
  watched_function& function = *self.function;
  ++function.calls;
  const bool gives_back = function.part == role::giving_back || function.name == plan.spared;
  calls_made += !gives_back;
  const bool refused = (plan.what == kind::call && function.planned && is_planned(function.calls)) ||
                       (plan.what == kind::any_call && !gives_back && is_planned(calls_made));
  if (plan.what == kind::short_count && function.planned && is_planned(function.calls)) {
    return do_half(self, words);
  }
  if (refused && !gives_back) {
    errno = ENOSPC;
    ::SetLastError(refused_code);
    return function.failure;
  }
  const word result = pass_on(self, words);
  // Wine's SaferComputeTokenFromLevel gives this in place of a token.
  constexpr word no_token = 0xdeadbeef;
  closes_in_vain += function.name == "CloseHandle" && !static_cast<BOOL>(result) && words[0] != no_token;
  if (refused) {
    ::SetLastError(refused_code);
  }
  return refused ? function.failure : result;
}

template <std::size_t Index, class Function = any_call>
struct replacement;

template <std::size_t Index, class... Words>
struct replacement<Index, word (*)(Words...)> {
  static word call(Words... words) {
    const watched_import& self = watched[Index];
    const bool allocates = self.function->part >= role::operator_new;
    return allocates ? allocate(self, {words...}) : call_system(self, {words...});
  }
};

template <std::size_t... Index>
constexpr std::array<any_call, sizeof...(Index)> make_replacements(std::index_sequence<Index...>) {
  return {&replacement<Index>::call...};
}

}  // namespace

watched_calls::watched_calls() {
  living = 0;
}

watched_calls::~watched_calls() {
  suspend();
  while (!patches_.empty()) {
    patches_.pop_back();
  }
}

void watched_calls::add(const char* module, const std::string& import, const std::string& name) {
  static constexpr auto replacements = make_replacements(std::make_index_sequence<std::size(watched)>());
  watched_import& next = watched.at(patches_.size());
  next.function = &function_named(name);
  next.only_counts = false;
  const auto call = reinterpret_cast<import_patch::any_function>(replacements.at(patches_.size()));
  patches_.push_back(std::make_unique<import_patch>(module, import.c_str(), call, next.original));
}

void watched_calls::add_system_calls(const char* module) {
  for (const char* const dll :
       {"ADVAPI32.dll", "KERNEL32.dll", "SHELL32.dll", "USERENV.dll", "ntdll.dll", "powrprof.dll"}) {
    for (const std::string& import : imports_of(module, dll)) {
      if (!std::regex_match(import, left_alone)) {
        add(module, import, import);
      }
    }
  }
}

void watched_calls::add_system_call(const char* module, const char* function) {
  try {
    add(module, function, function);
  } catch (const std::runtime_error&) {
    static_cast<void>(module);  // It has no such import.
  }
}

void watched_calls::add_operator_new(const char* module) {
  add(module, "_Znwy", "new");
}

void watched_calls::add_allocator(const char* module, bool can_fail) {
  const std::size_t first = patches_.size();
  for (const char* const function : {"malloc", "calloc", "realloc", "free"}) {
    add_system_call(module, function);
  }
  for (std::size_t i = first; i != patches_.size(); ++i) {
    watched[i].only_counts = !can_fail;
  }
}

void watched_calls::begin(const planned_fault& next) {
  plan = next;
  allocations_made = calls_made = faults_made = closes_in_vain = 0;
  for (watched_function& each : functions_seen) {
    each.calls = 0;
    each.planned = each.name == plan.function;
  }
}

void watched_calls::resume() noexcept {
  watched_thread = ::GetCurrentThreadId();
}

void watched_calls::suspend() noexcept {
  watched_thread = 0;
}

int watched_calls::refused() const noexcept {
  return faults_made;
}

int watched_calls::bad_closes() const noexcept {
  return closes_in_vain;
}

int watched_calls::allocations() const noexcept {
  return allocations_made;
}

std::vector<seen_function> watched_calls::functions() const {
  std::vector<seen_function> seen;
  for (const watched_function& each : functions_seen) {
    if (each.calls != 0 && each.part < role::malloc) {
      seen.push_back({each.name, each.calls, each.count_word != 0});
    }
  }
  return seen;
}

long long watched_calls::living_allocations() const noexcept {
  return living;
}

}  // namespace test_support
