// The native build has no Windows environment to read.
#include <safe_env/environment.hpp>

std::vector<std::string> safe_env::get_environment_copy() {
  return {"native=build"};
}
