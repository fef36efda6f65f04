#include "run_child.hpp"

#include "support.hpp"

#include <cstdlib>

namespace test_support {

child_result run_child(const std::string& name, const std::string& argument) {
  const temp_dir folder;
  const std::string out = folder.file("out"), err = folder.file("err");
  const std::string line = "\"" + child_path(name) + "\" " + argument + " >\"" + out + "\" 2>\"" + err + "\"";
  const int code = ::_wsystem(widen("\"" + line + "\"").c_str());
  return {static_cast<std::uint32_t>(code), read_file(out), read_file(err)};
}

}  // namespace test_support
