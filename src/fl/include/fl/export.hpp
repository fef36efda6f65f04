// The one macro of the public headers: marks what libqxfl.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxfl needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif
#if __cplusplus < 201703L
#error "libqxfl needs C++17 or newer: -std=c++17"
#endif

#if defined(FL_STATIC) || !defined(_WIN32)
#define FL_API
#elif defined(FL_BUILD)
#define FL_API __declspec(dllexport)
#else
#define FL_API __declspec(dllimport)
#endif
