// What a log or a report says about the machine at its head: the system and its version, the processor, the memory, the
// limits that stand around this process, and what it may do.
//
//   log << kit::to_string(kit::describe_system());
//
//   system: Windows 11 Pro 23H2
//   version: 10.0.22631.3155
//   Wine: no
//   architecture: x86-64
//   processor: Intel(R) Core(TM) i7-4710MQ CPU @ 2.50GHz
//   …
//
// No name of a user, of the computer or of a folder is in it, and no serial number: such a text may be sent on.
//
// Thread safety: any thread, at any time.
#pragma once

#include <kit/export.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace foundation::kit {

/// A version as the kernel has it: it does not change with the version that a program was made for.
struct system_version {
  /// As in 10.0.22631.
  std::uint32_t major, minor, build;
};

/// What the job around this process allows. What is left empty is not limited.
struct job_restrictions {
  std::optional<std::uint64_t> process_memory;    ///< bytes that one process may commit
  std::optional<std::uint64_t> job_memory;        ///< bytes that all of its processes may commit together
  std::optional<std::uint32_t> active_processes;  ///< how many may run at once
  std::optional<std::uint64_t> processors;        ///< the mask of the logical processors that they may run on
};

/// What was found out about the system. What is left empty is unknown: the system refused to tell. Texts are UTF-8.
struct system_facts {
  std::optional<std::string> product;     ///< as the registry has it; see `to_string`
  std::optional<std::string> release;     ///< such as "23H2"
  std::optional<system_version> version;  ///< of the system, or the one that Wine shows
  std::optional<std::uint32_t> revision;  ///< of the build: what the monthly updates raise
  std::string wine;                       ///< the version of Wine; empty if this is not Wine

  std::string architecture;                         ///< that this program was compiled for
  std::optional<std::string> native_architecture;   ///< the machine's: another one if it emulates ours
  std::string processor;                            ///< its name; empty if it has none
  std::string instructions;                         ///< the names of its features, with a blank between two
  std::optional<std::uint64_t> cores;               ///< of the machine
  std::optional<std::uint64_t> logical_processors;  ///< of the machine
  std::optional<std::uint64_t> usable_processors;   ///< logical ones that this process may run on
  std::optional<std::uint64_t> frequency;           ///< at most, in Hz

  // In bytes.
  /// Of the machine, and what of it is free.
  std::optional<std::uint64_t> physical_memory, available_memory;
  std::optional<std::uint64_t> commit_limit;      ///< what the system, or this process if that is less, may commit
  std::optional<std::uint64_t> available_commit;  ///< what of it is left
  std::optional<std::uint64_t> committed;         ///< by this process
  std::uint64_t page_size = 0;                    ///< of the system

  std::optional<bool> in_job;                   ///< whether this process is in a job
  std::optional<job_restrictions> job;          ///< of the innermost job; empty as well if it is in none
  std::optional<double> job_processor_percent;  ///< how much of all processors that job may use; 100 if any
  /// Masks of the logical processors in the process's group that it may run on, and that there are. Both are 0 if the
  /// threads of the process are in several groups.
  std::optional<std::uint64_t> affinity, system_affinity;
  std::optional<std::string> priority;   ///< the class, such as "normal"
  std::optional<bool> elevated;          ///< whether it has all the rights of an administrator
  std::optional<std::string> integrity;  ///< the level, such as "medium"

  std::optional<std::string> locale;  ///< the user's, such as "de-AT"
  /// The numbers of the code pages of programs and of consoles; 65001 is UTF-8.
  std::uint32_t ansi_code_page = 0, oem_code_page = 0;
};

/// Asks the system. Throws nothing but `std::bad_alloc`.
KIT_API system_facts describe_system();

/// One fact a line, each line with "\n" at its end, in the order of the members; "unknown" where it is empty. Control
/// characters become blanks. What the registry still calls "Windows 10" is shown as "Windows 11" from build 22000 on,
/// as it is everywhere else. Memory is rounded down. Throws `std::bad_alloc`.
KIT_API std::string to_string(const system_facts& facts);

}  // namespace foundation::kit
