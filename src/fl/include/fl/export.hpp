// The one macro of the public headers: marks what libqxfl.dll exports. Nothing else leaves the DLL.
#pragma once

#if defined(FL_STATIC) || !defined(_WIN32)
#define FL_API
#elif defined(FL_BUILD)
#define FL_API __declspec(dllexport)
#else
#define FL_API __declspec(dllimport)
#endif
