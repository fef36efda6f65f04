// User errors made from the template, thrown by one module and caught in another, and their texts, which are compiled
// into the one that throws.
#undef NDEBUG  // The header asserts.

#include <i18n/message_catalog.hpp>

#include "every_test.hpp"
#include "shop.hpp"
#include "support.hpp"

#include <boost/exception_ptr.hpp>
#include <kit/user_error.hpp>

#include <filesystem>

namespace {

using namespace foundation::core::except;
using namespace testing;
using fl::i18n::MessageCatalog;
using shop::out_of_stock;
using shop::sold_out;

class bare : public foundation::kit::user_error<bare> {
 public:
  bare() : user_error(resource_core::BaseMsgID()) {}
};

template <class Error>
Error caught(const std::function<void()>& raise) {
  try {
    raise();
  } catch (const Error& error) {
    EXPECT_EQ(typeid(error), typeid(Error));
    return error;
  }
  throw std::logic_error("nothing was thrown");
}

template <class Error>
void expect_arrives_whole(const Error& error) {
  const boost::exception_ptr parcel = boost::copy_exception(error);
  const std::unique_ptr<const boost::exception_detail::clone_base> copy(
      static_cast<const boost::exception_detail::clone_base&>(error).clone());
  const std::function<void()> ways[] = {[&] { boost::rethrow_exception(parcel); }, [&] { copy->rethrow(); },
                                        [&] {
                                          try {
                                            static_cast<const boost::exception_detail::clone_base&>(error).rethrow();
                                          } catch (...) {
                                            boost::rethrow_exception(boost::current_exception());
                                          }
                                        }};
  for (const auto& way : ways) {
    const Error arrived = caught<Error>(way);
    EXPECT_EQ(arrived.GetMsgID(), error.GetMsgID());
    EXPECT_EQ(arrived.item, error.item);
  }
}

TEST(UserError, StaysOfItsClassWhereverItGoes) {
  static_assert(std::is_nothrow_copy_constructible_v<bare>);
  const auto few = caught<out_of_stock>([] { shop::sell("E27", 2); });
  const auto none = caught<sold_out>([] { shop::sell("E14", 0); });
  expect_arrives_whole(few);
  expect_arrives_whole(none);
  EXPECT_THROW(shop::sell("", 0), out_of_stock);
  EXPECT_THROW(shop::sell("", 0), IMsgIDException);
  EXPECT_THROW(shop::sell("", 0), std::exception);
  EXPECT_EQ(few.GetErrorID() + ' ' + none.GetErrorID(), "SHOP:outOfStock SHOP:soldOut");
  EXPECT_EQ(few.GetMsgID(), resource_core::BaseMsgID("SHOP", "outOfStock", {"E27", std::int64_t{2}}));

  out_of_stock first = few;
  const out_of_stock second = std::move(first);
  EXPECT_EQ(first.GetMsgID(), second.GetMsgID()) << "moving is copying";
  first = none;
  EXPECT_EQ(first.GetErrorID(), "SHOP:soldOut");
}

TEST(UserError, DerivedFromInThePlainWayIsNotedBeforeItIsCutDown) {
  const struct plainly_derived : bare {
  } error;
  const boost::exception_detail::clone_base& base = error;
  EXPECT_EXIT(base.rethrow(), ExitedWithCode(3), "derive from user_error<This, Base>");
  EXPECT_EXIT(std::ignore = base.clone(), ExitedWithCode(3), "derive from user_error<This, Base>");
}

TEST(UserError, SpeaksEachLanguageFromTheProgramItselfUnlessAFileSaysOtherwise) {
  const auto few = caught<out_of_stock>([] { shop::sell("E27", 2); });
  const auto none = caught<sold_out>([] { shop::sell("E14", 0); });
  const auto texts = [&](const char* language) {
    MessageCatalog::set_language(language);
    return few.GetMessageTxt() + "|" + none.GetMessageTxt();
  };
  const std::string english = "Only 2 of \"E27\" are left.|\xE2\x82\xAC {E14}; [sold out";
  EXPECT_EQ(texts("en"), english);
  EXPECT_EQ(texts("de-AT"), "Von \"E27\" sind nur 2 da.|E14 ist ausverkauft; sch\xC3\xB6n");
  EXPECT_EQ(texts("ja"), english);

  const test_support::temp_dir folder;
  std::filesystem::create_directory(test_support::widen(folder.file("de")));
  test_support::write_file(folder.file("de\\SHOP.json"), R"({"outOfStock": "Noch {1}."})");
  MessageCatalog::add_directory(fl::ustring(folder.path().begin(), folder.path().end()));
  MessageCatalog::reload();
  EXPECT_EQ(texts("de"), "Noch 2.|E14 ist ausverkauft; sch\xC3\xB6n");
  EXPECT_STREQ(few.what(), "Noch 2.");
}

}  // namespace
