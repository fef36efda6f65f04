// Marks what libqxfoundation_conc_common.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxfoundation_conc_common needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif

#if defined(CONC_COMMON_STATIC) || !defined(_WIN32)
#define CONC_COMMON_API
#elif defined(CONC_COMMON_BUILD)
#define CONC_COMMON_API __declspec(dllexport)
#else
#define CONC_COMMON_API __declspec(dllimport)
#endif
