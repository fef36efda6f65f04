// Marks what libqxfoundation_conc_common.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(CONC_COMMON_STATIC) || !defined(_WIN32)
#define CONC_COMMON_API
#elif defined(CONC_COMMON_BUILD)
#define CONC_COMMON_API __declspec(dllexport)
#else
#define CONC_COMMON_API __declspec(dllimport)
#endif
