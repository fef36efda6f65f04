// Severities and level words: what a record weighs, and which records a logger lets through.
//
// A level word is one number: its low 15 bits are the mask of enabled severities, and from bit 15 up stands the
// severity of check records (0: checks are not reported). As text, a level is written
//
//     level = [ mask ] [ ":" check ]
//     mask  = term { ( "|" | "+" ) term }
//     term  = name | number
//     check = name | number
//     name  = "arguments" | "note" | "summary" | "complaint" | "scope_entry" | "scope_exit" | "result" | "error" |
//     "fatal"
//           | "all" | "none"
//
// Numbers are decimal, or hexadecimal with "0x"; upper and lower case are the same; blanks around a name, a number or a
// sign are skipped. A number in a mask may be a whole level word. The check is one severity, and is given once at most:
//
//     note+error           notes and errors; checks are not reported
//     all:fatal            everything, and a failed check ends the process
//     0x204:error          notes and errors; a failed check is reported as an error
//     67109380             the number of note+error:fatal
//     none                 nothing; so does 0
//
// Thread safety: pure functions.
#pragma once

#include <foundation_log/export.hpp>

#include <string_view>

namespace foundation::log {

/// The weight of a record: a flag of one bit.
namespace severity {
inline constexpr unsigned arguments = 2;     ///< a function's arguments
inline constexpr unsigned note = 4;          ///< what the code decided, and why
inline constexpr unsigned summary = 8;       ///< the outcome of a longer inquiry
inline constexpr unsigned complaint = 16;    ///< something odd that the code can live with
inline constexpr unsigned scope_entry = 32;  ///< the beginning of a traced scope
inline constexpr unsigned scope_exit = 64;   ///< its end
inline constexpr unsigned result = 128;      ///< a named result of a traced scope
inline constexpr unsigned error = 512;       ///< a failure
inline constexpr unsigned fatal = 2048;      ///< as the severity of checks: a failed check ends the process
}  // namespace severity

/// The bits of a level word that enable severities.
inline constexpr unsigned severity_mask = 0x7FFF;

/// How far to the left the severity of check records stands in a level word.
inline constexpr unsigned check_shift = 15;

/// All bits that a level word can have.
inline constexpr unsigned level_word_mask = severity_mask | severity_mask << check_shift;

/// The level of a logger that neither `QX_LOG` nor a call has set: it writes nothing, and checks are not reported. A
/// program that has not asked for diagnostics is not ended by them.
inline constexpr unsigned default_level = 0;

/// Reads a level word from text of the form above. Throws `std::invalid_argument`, whose text quotes the part that is
/// wrong and says what is expected, and `std::bad_alloc`.
FOUNDATION_LOG_API unsigned parse_level(std::string_view text);

}  // namespace foundation::log
