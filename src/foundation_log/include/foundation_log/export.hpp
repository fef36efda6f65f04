// Marks what libqxfoundation_log.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(FOUNDATION_LOG_STATIC) || !defined(_WIN32)
#define FOUNDATION_LOG_API
#elif defined(FOUNDATION_LOG_BUILD)
#define FOUNDATION_LOG_API __declspec(dllexport)
#else
#define FOUNDATION_LOG_API __declspec(dllimport)
#endif
