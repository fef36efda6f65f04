// A DLL that throws and catches the library's exceptions.
#pragma once

#include "exception_samples.hpp"

#ifdef exception_boundary_client_EXPORTS
#define CLIENT_API __declspec(dllexport)
#else
#define CLIENT_API __declspec(dllimport)
#endif

CLIENT_API std::vector<exception_samples::sample> client_samples();
CLIENT_API std::string caught_by_client_as(const exception_samples::thrower& raise);
