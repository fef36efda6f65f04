// Marks what libqxresource_core.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(_WIN32) && !(defined(__MINGW32__) && defined(__x86_64__))
#error "libqxresource_core needs GCC or clang for x86_64-w64-mingw32: the C++ of others differs"
#endif

#if defined(RESOURCE_CORE_STATIC) || !defined(_WIN32)
#define RESOURCE_CORE_API
#elif defined(RESOURCE_CORE_BUILD)
#define RESOURCE_CORE_API __declspec(dllexport)
#else
#define RESOURCE_CORE_API __declspec(dllimport)
#endif
