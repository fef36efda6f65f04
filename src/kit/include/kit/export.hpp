// Marks what libqxkit.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(KIT_STATIC) || !defined(_WIN32)
#define KIT_API
#elif defined(KIT_BUILD)
#define KIT_API __declspec(dllexport)
#else
#define KIT_API __declspec(dllimport)
#endif
