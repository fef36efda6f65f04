// Programs that are started to end in a way of their own, and watched from outside, by nothing but calls of the system.
#pragma once

#include <windows.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace soak {

/// How long a process may take for its end, from the moment in which it says that it begins.
inline constexpr DWORD longest_end_ms = 5000;

inline std::string content_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

/// This program once more, in a job that ends all that it leaves behind.
class watched_child {
 public:
  /// `arguments`: words behind the program's name. The child finds the name of its event (`tell_beginning`) and that
  /// of its file in the two arguments that come behind them.
  watched_child(const std::string& arguments, const std::string& file) : file_(file) {
    char program[MAX_PATH];
    ::GetModuleFileNameA(nullptr, program, MAX_PATH);
    static LONG made = 0;
    const std::string name =
        "qxfl-soak-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(::InterlockedIncrement(&made));
    begins_ = ::CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    std::string line = "\"" + std::string(program) + "\" " + arguments + " " + name + " " + file;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    // Wine 8 refuses one launch in thousands with ERROR_INTERNAL_ERROR, as loops of bare calls show.
    for (int tries = 0; !::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                                          nullptr, &startup, &process);
         ++tries) {
      if (tries == 3) {
        throw std::runtime_error("a child does not start: error " + std::to_string(::GetLastError()));
      }
    }
    ::AssignProcessToJobObject(job_, process.hProcess);
    ::ResumeThread(process.hThread);
    process_ = process.hProcess;
    main_thread_ = process.hThread;
    id_ = process.dwProcessId;
  }
  watched_child(const watched_child&) = delete;
  watched_child& operator=(const watched_child&) = delete;
  ~watched_child() {
    ::TerminateJobObject(job_, 1);
    ::CloseHandle(job_);
    ::CloseHandle(process_);
    ::CloseHandle(main_thread_);
    ::CloseHandle(begins_);
    ::DeleteFileA(file_.c_str());
  }

  DWORD id() const { return id_; }

  /// Whether the child said that it begins to end, before it was at an end and within `limit_ms`.
  bool begins_to_end(DWORD limit_ms) const {
    const HANDLE either[] = {begins_, process_};
    return ::WaitForMultipleObjects(2, either, FALSE, limit_ms) == WAIT_OBJECT_0;
  }
  enum class outcome { ended, hangs, stuck_in_wine };
  outcome wait_for_end(DWORD limit_ms) const {
    const auto begin = ::GetTickCount64();
    for (constexpr DWORD look_every_ms = 500; !has_ended(look_every_ms);) {
      if (is_stuck_in_wine() && !has_ended(look_every_ms) && is_stuck_in_wine()) {
        return outcome::stuck_in_wine;
      }
      if (::GetTickCount64() - begin >= limit_ms) {
        return outcome::hangs;
      }
    }
    return outcome::ended;
  }
  bool has_ended(DWORD limit_ms) const { return ::WaitForSingleObject(process_, limit_ms) == WAIT_OBJECT_0; }
  DWORD exit_code() const {
    DWORD code = 0;
    ::GetExitCodeProcess(process_, &code);
    return code;
  }
  /// Whether the main thread is in one of the system's functions that wait for an address or wake who does. In Wine 8
  /// these turn round until a word in ntdll is free, which a thread that was ended at the end of its process may have
  /// taken with it. A program without any library of ours, whose 32 threads call HeapAlloc and HeapFree, hangs so in 14
  /// of 37 calls of ExitProcess.
  bool is_stuck_in_wine() const {
    ::SuspendThread(main_thread_);
    CONTEXT stopped{};
    stopped.ContextFlags = CONTEXT_CONTROL;
    const bool known = ::GetThreadContext(main_thread_, &stopped) != 0;
    ::ResumeThread(main_thread_);
    constexpr DWORD64 longest_function = 0x180;
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");  // Where it is in the child, too.
    const auto is_in = [&](const char* function) {
      return stopped.Rip - reinterpret_cast<DWORD64>(::GetProcAddress(ntdll, function)) < longest_function;
    };
    return known && (is_in("RtlWakeAddressSingle") || is_in("RtlWakeAddressAll") || is_in("RtlWaitOnAddress"));
  }
  std::string content_of_file() const { return content_of(file_); }

 private:
  HANDLE job_ = ::CreateJobObjectW(nullptr, nullptr);
  HANDLE begins_ = nullptr, process_ = nullptr, main_thread_ = nullptr;
  DWORD id_ = 0;
  std::string file_;
};

/// Each of the rows, or the one with the name `wanted`, `count` times in turn, each with a seed of its own.
template <class Row, std::size_t Size>
std::vector<std::pair<const Row*, unsigned>> turns_of(const Row (&rows)[Size], unsigned count, unsigned seed,
                                                      const std::string& wanted) {
  std::vector<std::pair<const Row*, unsigned>> all;
  for (unsigned turn = 0; turn != count; ++turn) {
    for (const Row& row : rows) {
      if (wanted.empty() || wanted == row.name) {
        all.emplace_back(&row, seed + 100 * static_cast<unsigned>(all.size()));
      }
    }
  }
  return all;
}

/// Does `work` for the numbers below `count`, on some threads.
template <class Work>
void run_at_once(std::size_t threads, std::size_t count, Work work) {
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> all(threads);
  for (std::thread& one : all) {
    one = std::thread([&] {
      for (std::size_t n; (n = next++) < count;) {
        work(n);
      }
    });
  }
  for (std::thread& one : all) {
    one.join();
  }
}

/// In the child: says to the parent that the end begins.
inline void tell_beginning(const char* event) {
  ::SetEvent(::OpenEventA(EVENT_MODIFY_STATE, FALSE, event));
}

/// Whether the text ends with a whole report of `diag::terminate` with this message.
inline bool is_whole_report(const std::string& text, const std::string& message) {
  std::size_t place = text.rfind("\nAssertion");
  for (const std::string& part :
       {":\n" + message + "\n\n", std::string("\nCurrent Thread: '"), std::string("\n\nRegister State (captured):\n"),
        std::string("RIP"), std::string("\n\nStack Trace (captured):\n"), std::string("0x")}) {
    place = place == std::string::npos ? place : text.find(part, place);
  }
  return place != std::string::npos && text.ends_with("\n\n");
}

}  // namespace soak
