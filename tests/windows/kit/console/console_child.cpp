// console_child MODE: a program of the standard streams that libqxkit.dll gives.
//
// write  writes UTF-8, UTF-16, ill-formed bytes and line ends to both outputs, and leaves with some of it unflushed.
// copy   copies standard input to standard output.
// none   gives its standard handles up and uses them.
#include <kit/console.hpp>

#include <windows.h>

#include <string>

using foundation::kit::console;

namespace {

void write() {
  console().out() << "\u00e4\n"
                  << "\r\n\xff" << 1;
  console().err() << "err\n" << 2;
  console().uout() << u"\u20ac" << 3.5 << u"\U0001F600" << u'\n' << u"end" << u"\xD800";
  console().uerr() << u"\u00fc";
}

int use_nothing() {
  for (const DWORD which : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    ::SetStdHandle(which, nullptr);
  }
  std::string line;
  const bool reads = static_cast<bool>(std::getline(console().in(), line));
  return !reads && console().out() << "x" << std::endl && console().uerr() << u"x" << std::flush ? 0 : 1;
}

}  // namespace

int main(int, char** given) {
  const std::string mode = given[1];
  if (mode == "write") {
    write();
  } else if (mode == "copy") {
    console().out() << console().in().rdbuf();
  } else {
    return use_nothing();
  }
  return 0;
}
