// Marks what libqxsafe_env.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxsafe_env needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif

#if defined(SAFE_ENV_STATIC) || !defined(_WIN32)
#define SAFE_ENV_API
#elif defined(SAFE_ENV_BUILD)
#define SAFE_ENV_API __declspec(dllexport)
#else
#define SAFE_ENV_API __declspec(dllimport)
#endif
