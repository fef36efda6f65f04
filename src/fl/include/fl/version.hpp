// Which version of the library this is: that of the headers, as macros, and that of the libqxfl.dll that the program
// runs with. A program that says so at its start, and looks at the answer, finds out at once when it was started with a
// DLL that is too old for it:
//
//     if (!foundation::core::loaded_version_fits()) {
//       std::cerr << "this program needs libqxfl " QXFL_VERSION_STRING ", but has found "
//                 << foundation::core::loaded_version_text() << '\n';
//       return 1;
//     }
//
// A program whose DLL lacks a function that it calls does not come that far: the system does not start it. What
// versions promise each other stands in docs/binary_interface.md. The file properties of the DLL show the same version.
//
// The log tells the versions on the channel "fl::version", which QX_LOG=fl::version=all switches on, in a record at
// the first launch of a child,
//
//     libqxfl 0.1.0
//
// and at the first call of `loaded_version_fits`, or if the headers differ from those of the call before:
//
//     libqxfl 0.1.0, used with headers of 0.1.0
//
// Thread safety: everything here may be called from every thread, also before `main`, but where the log may not be used
// (DllMain) only `loaded_version` and `loaded_version_text`.
#pragma once

#include <fl/export.hpp>

/// Goes up when programs must be compiled again.
#define QXFL_VERSION_MAJOR 0
/// Goes up for what is new; before 1.0 also when programs must be compiled again.
#define QXFL_VERSION_MINOR 1
/// Goes up for mended faults.
#define QXFL_VERSION_PATCH 0
/// As one number, for comparisons: 1.2.3 is 1002003.
#define QXFL_VERSION (QXFL_VERSION_MAJOR * 1000000u + QXFL_VERSION_MINOR * 1000u + QXFL_VERSION_PATCH)
/// The three of them as text.
#define QXFL_VERSION_STRING "0.1.0"

namespace foundation::core {

/// The version of the loaded DLL in the form of `QXFL_VERSION`. Allocates nothing.
FL_API unsigned loaded_version() noexcept;

/// The same in the form of `QXFL_VERSION_STRING`. Lives as long as the DLL is loaded. Allocates nothing.
FL_API const char* loaded_version_text() noexcept;

/// Whether what was compiled with headers of this version, the caller's own unless given, may run with the loaded DLL:
/// the DLL is not older and has the same major version, and before version 1 the same minor version. Writes the record
/// of the log; if the versions do not fit, that is one of severity `complaint` and says so. Allocates for the record
/// alone.
FL_API bool loaded_version_fits(unsigned headers = QXFL_VERSION) noexcept;

}  // namespace foundation::core
