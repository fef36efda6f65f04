// Marks what libqxi18n.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxi18n needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif

#if defined(I18N_STATIC) || !defined(_WIN32)
#define I18N_API
#elif defined(I18N_BUILD)
#define I18N_API __declspec(dllexport)
#else
#define I18N_API __declspec(dllimport)
#endif
