// Marks what libqxsafe_env.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(SAFE_ENV_STATIC) || !defined(_WIN32)
#define SAFE_ENV_API
#elif defined(SAFE_ENV_BUILD)
#define SAFE_ENV_API __declspec(dllexport)
#else
#define SAFE_ENV_API __declspec(dllimport)
#endif
