// Marks what libqxfoundation_log.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxfoundation_log needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif

#if defined(FOUNDATION_LOG_STATIC) || !defined(_WIN32)
#define FOUNDATION_LOG_API
#elif defined(FOUNDATION_LOG_BUILD)
#define FOUNDATION_LOG_API __declspec(dllexport)
#else
#define FOUNDATION_LOG_API __declspec(dllimport)
#endif
