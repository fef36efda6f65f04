// The library's exceptions: their texts, and as what each is caught, also where another module throws it.
#include <fl/except.hpp>
#include <i18n/message_catalog.hpp>

#ifndef _WIN32
#include "every_test.hpp"
#include "host/message_platform.hpp"
#endif

#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception_ptr.hpp>

namespace {

using namespace foundation::core::except;
using boost::exception_detail::clone_base;
using boost::system::system_error;
using detail::AnonymousInternalException;
using foundation::core::ustring;
using std::exception;

using witness = boost::error_info<struct witness_tag, std::shared_ptr<int>>;

// Its text tells how often one was computed; it fails to have one as often as it is told.
class counted : public Exception<IInternalException, exception, void> {
 public:
  static inline std::atomic<int> computed{0};
  static inline std::atomic<int> failures{0};

 private:
  const clone_base* clone() const override { return new counted(*this); }
  void rethrow() const override { throw *this; }
  ustring ToUstringImpl() const override {
    const int number = ++computed;
    if (failures-- > 0) {
      throw std::runtime_error("no text now");
    }
    return u"gr\u00fcn " + convert_str(std::to_string(number));
  }
};

// One object that has nothing attached, and copies that share what the first fact began. With a plain count of owners,
// threads that copy lose each other's steps, and the facts go while somebody still has them.
TEST(Exception, HasOneTextForAllThreadsAndCopies) {
  const auto life = std::make_shared<int>();
  for (int round = 0; round != 50; ++round) {
    counted::computed = 0;
    const counted alone;
    const std::vector<counted> sharing(8, counted() << witness(life));
    std::vector<const char*> texts(16);
    std::atomic<int> to_come{8};  // std::barrier can lose a wake-up with the compiler's threads for Windows.
    std::vector<std::jthread> threads;
    for (std::size_t number = 0; number != 8; ++number) {
      threads.emplace_back([&, number] {
        for (--to_come; to_come != 0;) {
          std::this_thread::yield();
        }
        texts[number] = alone.what();
        texts[8 + number] = static_cast<const exception&>(sharing[number]).what();
        for (int turn = 0; turn != 500; ++turn) {
          ASSERT_TRUE(counted(alone).what() == texts[number] && counted(sharing[0]).what() == texts[8 + number]);
        }
      });
    }
    threads.clear();
    ASSERT_EQ(std::set(texts.begin(), texts.begin() + 8).size(), 1u);
    ASSERT_EQ(std::set(texts.begin() + 8, texts.end()).size(), 1u);
    ASSERT_EQ(counted::computed, 2);
    alone << witness(life);
    ASSERT_EQ(life.use_count(), 3) << "one for each list of facts";
    const auto deep = boost::copy_exception(alone);
    const auto made = boost::make_exception_ptr(alone);
    ASSERT_EQ(life.use_count(), 5) << "clones have a list of their own";
  }
  EXPECT_EQ(life.use_count(), 1);
}

TEST(Exception, CopiesShareTheTextFromTheFirstCallOn) {
  counted::computed = 0;
  counted::failures = 1;
  auto source = std::make_unique<counted>();
  const counted before(*source);
  EXPECT_STREQ(source->what(), typeid(counted).name()) << "no text yet; the next call tries again";
  const char* const text = source->what();
  EXPECT_EQ(source->ToUstring(), u"gr\u00fcn 3") << "neither takes nor replaces the text that is kept";
  *source = *source;
  const counted moved(std::move(*source));
  EXPECT_EQ(source->what(), text) << "moving is copying";
  counted assigned;
  EXPECT_STREQ(assigned.what(), "gr\xc3\xbcn 4");
  assigned = *source;
  const std::unique_ptr<const clone_base> clone(static_cast<const clone_base&>(*source).clone());
  source.reset();
  EXPECT_STREQ(text, "gr\xc3\xbcn 2");
  EXPECT_EQ(moved.what(), text);
  EXPECT_EQ(dynamic_cast<const exception&>(*clone).what(), text);
  EXPECT_STREQ(before.what(), "gr\xc3\xbcn 5");
  const std::string facts = boost::diagnostic_information(assigned);
  EXPECT_NE(facts.find("narrow_str_tag*] = gr\xc3\xbcn 2\n"), std::string::npos) << facts;
  EXPECT_EQ(assigned.what(), text);
  assigned << witness(nullptr);
  EXPECT_STREQ(boost::exception_detail::get_diagnostic_information(assigned, nullptr), "") << "made before that fact";
}

template <class Base>
std::string text_of(const auto& source) {
  AnonymousInternalException<Base> assigned{Base()};
  assigned = AnonymousInternalException<Base>(source);
  return assigned.what();
}

struct reason : std::runtime_error {
  explicit reason(const char* text = "none") : std::runtime_error(text) {}
};
struct empty : exception {};

TEST(Exception, HasTheTextOfItsSource) {
  EXPECT_EQ(text_of<reason>(reason("why")), "why");
  EXPECT_EQ(text_of<reason>(reason("")), "");
  EXPECT_EQ(text_of<exception>(reason("why")), "why");
  EXPECT_EQ(text_of<exception>(exception()), "Unknown exception");
  EXPECT_EQ(text_of<empty>(empty()), "Unknown exception");
  EXPECT_EQ(text_of<std::bad_alloc>(std::bad_alloc()), "bad allocation");
}

template <class Base>
class user_error : public Exception<IUserException, Base, void> {
 public:
  using Exception<IUserException, Base, void>::Exception;

 private:
  std::string GetErrorID() const override { return "SHOP:closed"; }
  ustring GetUnicodeMessageTxt() const override { return u"closed"; }
  const clone_base* clone() const override { return new user_error(*this); }
  void rethrow() const override { throw *this; }
};

TEST(Exception, OfAUserIsAssignedWithWhatItWraps) {
  user_error<reason> to(reason("former"));
  const user_error<reason> from(reason("why"));
  to = from;
  to = std::as_const(to);
  EXPECT_STREQ(to.reason::what(), "why");
}

class message_error : public IMsgIDException {
 public:
  std::string GetErrorID() const override { return get_error_id(get_error_id(id_) + ":"); }  // never valid
  const resource_core::BaseMsgID& GetMsgID() const override { return id_; }

 private:
  const clone_base* clone() const override { return new message_error(*this); }
  void rethrow() const override { throw *this; }
  resource_core::BaseMsgID id_{"SHOP", "sold"};
};

// A template of the one class only: of the pairs there are too many for the compiler.
template <class Class>
void expect_caught_as(bool expected, const std::function<void()>& raise) {
  bool caught = false;
  try {
    raise();
  } catch (const Class&) {
    caught = true;
  } catch (...) {
  }
  EXPECT_EQ(caught, expected) << typeid(Class).name();
}

template <class Error, class... Class>
void expect_caught_as_all(const std::function<void()>& raise) {
  (expect_caught_as<Class>(std::is_convertible_v<const Error*, const Class*>, raise), ...);
}

/// Thrown here, and in Boost's ways, which are compiled where the class is at home: in the library.
template <class Error>
void expect_arrives(const Error& error) {
  const auto expect_caught = [&](const std::function<void()>& raise) {
    using base = std::conditional_t<std::is_convertible_v<const Error*, const exception*>, exception, IException>;
    EXPECT_THAT(raise, testing::Throws<base>(testing::Property(&base::what, testing::StrEq(error.what()))));
    expect_caught_as_all<
        Error, InvalidErrorID, system_error, std::out_of_range, std::runtime_error, std::bad_alloc, exception,
        AnonymousInternalException<InvalidErrorID>, AnonymousInternalException<system_error>,
        Exception<IInternalException, InvalidErrorID, void>, Exception<IInternalException, system_error, void>,
        Exception<IInternalException, exception, void>, Exception<IInternalException, std::bad_alloc, void>,
        Exception<IUserException, exception, void>, detail::bad_alloc_impl, detail::bad_alloc_impl::internal,
        boost::exception_detail::clone_impl<detail::bad_alloc_impl>, TypedMsgIDHolder::EmptyTypedMsgIDHolder,
        IMsgIDException, IUserException, IInternalException, IException, boost::exception, clone_base>(raise);
  };
  expect_caught([&] { throw error; });
  try {
    throw error;
  } catch (...) {
    expect_caught([parcel = boost::current_exception()] { boost::rethrow_exception(parcel); });
  }
  if constexpr (std::is_convertible_v<const Error*, const clone_base*>) {
    expect_caught([&] { static_cast<const clone_base&>(error).rethrow(); });
  }
}

TEST(Exception, ArrivesAsWhatItIs) {
  expect_arrives(AnonymousInternalException(InvalidErrorID("SHOP")));
  expect_arrives(AnonymousInternalException(exception()));
  expect_arrives(AnonymousInternalException(system_error(5, boost::system::generic_category(), "till")));
  expect_arrives(AnonymousInternalException(std::out_of_range("far")));
  expect_arrives(user_error<exception>());
  expect_arrives(message_error());
  expect_arrives(bad_alloc());
  expect_arrives(detail::bad_alloc_impl::internal());
  expect_arrives(TypedMsgIDHolder::EmptyTypedMsgIDHolder());
}

}  // namespace

#ifndef _WIN32  // There the catalog reads files.
TEST(MsgIDException, SpeaksTheLanguageOfTheMomentAndKeepsWhatItSaidFirst) {
  const message_error error;
  EXPECT_STREQ(error.what(), typeid(message_error).name());
  EXPECT_THROW(error.GetMessageTxt(), fl::i18n::missing_message);
  EXPECT_TRUE(error.GetMsgID() == resource_core::BaseMsgID("SHOP", "sold") &&
              error.GetMsgID() != resource_core::BaseMsgID("SHOP", "lost"));
  EXPECT_THROW(resource_core::GenericMsgIDHolder().get(), resource_core::GenericMsgIDHolder::EmptyGenericMsgIDHolder);
  test_support::messages().files = {{u"shop\\de\\SHOP.json", "{\"sold\": \"gr\xc3\xbcn\"}"},
                                    {u"shop\\it\\SHOP.json", "{\"sold\": \"verde\"}"}};
  fl::i18n::MessageCatalog::add_directory(u"shop");
  fl::i18n::MessageCatalog::set_language("de");
  EXPECT_STREQ(error.what(), "gr\xc3\xbcn");
  fl::i18n::MessageCatalog::set_language("it");
  EXPECT_EQ(error.GetMessageTxt(), "verde");
  EXPECT_EQ(error.ToUstring(), u"verde");
  EXPECT_STREQ(error.what(), "gr\xc3\xbcn");
  EXPECT_THAT([&] { error.GetErrorID(); },
              testing::ThrowsMessage<AnonymousInternalException<InvalidErrorID>>("SHOP:sold:"));
}
#endif
