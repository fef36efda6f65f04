#include "run_child.hpp"

#include "boost_process.hpp"
#include "support.hpp"

#include <future>
#include <istream>
#include <iterator>

namespace test_support {

child_result run_child(const std::string& name, const std::string& argument) {
  namespace bp = boost_process;
  bp::ipstream out, err;
  // In wide characters, or the code page of the system would be asked for.
  bp::child child(boost::filesystem::path(widen(child_path(name))), widen(argument), bp::std_out > out,
                  bp::std_err > err);
  const auto read_all = [](std::istream& from) { return std::string(std::istreambuf_iterator<char>(from), {}); };
  auto errors = std::async(std::launch::async, read_all, std::ref(err));
  child_result result{0, read_all(out), errors.get()};
  child.wait();
  result.exit_code = static_cast<std::uint32_t>(child.exit_code());
  return result;
}

}  // namespace test_support
