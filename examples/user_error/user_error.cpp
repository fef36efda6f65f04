// Errors that speak the user's language. The program defines an error of its own, whose text stands in the catalogs
// messages/<language>/SHOP.json. They are checked and compiled in when it is built. The text is looked up when it is
// asked for, in the language of that moment.
#include <fl/except.hpp>
#include <i18n/message_catalog.hpp>

#include "messages.hpp"

#include <kit/user_error.hpp>

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

using fl::i18n::MessageCatalog;
using foundation::core::except::IUserException;

namespace {

class out_of_stock : public foundation::kit::user_error<out_of_stock> {
 public:
  out_of_stock(const std::string& item, std::int64_t wanted, std::int64_t left)
      : user_error(messages::SHOP::outOfStock(wanted, item, left)) {}
};

void sell(const std::string& item, std::int64_t wanted) {
  constexpr std::int64_t left = 3;
  if (wanted > left) {
    throw out_of_stock(item, wanted, left);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc > 1 && argv[1] == std::string("--help")) {
    std::cout << "usage: user_error\n\nPrints the text of an error in two languages.\n";
    return 0;
  }
  for (const char* const language : {"en", "de"}) {
    MessageCatalog::set_language(language);
    try {
      sell("E27", 5);
    } catch (const IUserException& e) {
      std::cout << e.GetErrorID() << " in " << language << ": " << e.what() << "\n";
    }
  }
} catch (const std::exception& e) {
  std::cerr << "user_error: " << e.what() << "\n";
  return 1;
}
