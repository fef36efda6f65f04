// The command line of `transcode`.
#pragma once

#include <i18n/path.hpp>

#include <string>

struct transcode_options {
  bool help = false;            // and nothing else
  std::string from;             // name of an encoding
  std::string to;               // likewise
  fl::filesystem::path input;   // empty: standard input
  fl::filesystem::path output;  // empty: standard output
  bool strict = false;
};

/// Reads the arguments after the program's own name. Throws std::invalid_argument that says what is wrong.
transcode_options parse_options(int argc, wchar_t** argv);

/// How to call the program.
extern const char* const usage_text;
