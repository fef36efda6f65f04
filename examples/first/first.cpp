#include <fl/process.hpp>

#include <iostream>
#include <string>

namespace process = foundation::core::process;

int main(int argc, char**) try {
  if (argc > 1) {
    std::cout << "usage: first\n\nNumbers the lines that ipconfig /all prints.\n";
    return 0;
  }
  process::iopipe output(0);  // text mode: a line end is one "\n"
  process::context how;
  how.std_out(process::pipe_to(output));
  how.explicitlyInheritHandles(true);  // or another child, started meanwhile, keeps the pipe from ending
  process::process child(process::make_command("C:\\windows\\system32\\ipconfig.exe", "/all"), how);
  int lines = 0;
  for (std::string line; std::getline(output, line);) {
    std::cout << ++lines << ": " << line << "\n";
  }
  std::cout << lines << " lines, exit status " << child.exit_status() << "\n";
} catch (const process::process_init_error& e) {
  std::cerr << e.what();
  return 1;
}
