// Errors that speak the user's language. The program defines an error of its own, whose text stands in the catalogs
// messages/<language>/SHOP.json beside the program. It is looked up when it is asked for, in the language of that
// moment.
#include <fl/except.hpp>
#include <fl/process/this_process.hpp>
#include <i18n/message_catalog.hpp>

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

namespace except = foundation::core::except;
using fl::i18n::MessageCatalog;

namespace {

/// A user error that is a `std::exception` too.
class out_of_stock : public except::Exception<except::IMsgIDException, std::exception, void> {
 public:
  out_of_stock(const std::string& item, std::int64_t wanted, std::int64_t left)
      : id_("SHOP", "outOfStock", {wanted, item, left}) {}

  std::string GetErrorID() const override { return get_error_id(id_); }
  const resource_core::BaseMsgID& GetMsgID() const override { return id_; }

 private:
  // With these two, boost::current_exception carries it to another thread.
  const boost::exception_detail::clone_base* clone() const override { return new out_of_stock(*this); }
  void rethrow() const override { throw *this; }

  resource_core::BaseMsgID id_;
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
  const fl::ustring program = foundation::core::process::this_process::absolute_path();
  MessageCatalog::add_directory(program.substr(0, program.rfind(u'\\') + 1) + u"messages");
  for (const char* const language : {"en", "de"}) {
    MessageCatalog::set_language(language);
    try {
      sell("E27", 5);
    } catch (const except::IUserException& e) {
      std::cout << e.GetErrorID() << " in " << language << ": " << e.what() << "\n";
    }
  }
} catch (const std::exception& e) {
  std::cerr << "user_error: " << e.what() << "\n";
  return 1;
}
