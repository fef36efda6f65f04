// Marks what libqxkit.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxkit needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif

#if defined(KIT_STATIC) || !defined(_WIN32)
#define KIT_API
#elif defined(KIT_BUILD)
#define KIT_API __declspec(dllexport)
#else
#define KIT_API __declspec(dllimport)
#endif
