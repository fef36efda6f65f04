// Marks what libqxresource_core.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(RESOURCE_CORE_STATIC) || !defined(_WIN32)
#define RESOURCE_CORE_API
#elif defined(RESOURCE_CORE_BUILD)
#define RESOURCE_CORE_API __declspec(dllexport)
#else
#define RESOURCE_CORE_API __declspec(dllimport)
#endif
