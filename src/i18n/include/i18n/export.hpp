// Marks what libqxi18n.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(I18N_STATIC) || !defined(_WIN32)
#define I18N_API
#elif defined(I18N_BUILD)
#define I18N_API __declspec(dllexport)
#else
#define I18N_API __declspec(dllimport)
#endif
