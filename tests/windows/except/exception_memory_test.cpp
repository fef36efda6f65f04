// The library's exceptions when there is no memory.
#include <fl/except.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"

namespace {

using namespace foundation::core::except;
using malloc_function = void* (*)(std::size_t);

TEST(ExceptionWithoutMemory, IsThrownCaughtAndAssigned) {
  auto caught = bad_alloc();
  char text[200] = "";
  EXPECT_THROW(throw bad_alloc(), std::bad_alloc);  // The run-time allocates at a thread's first throw.
  {
    test_support::injected<malloc_function> library("libqxfl.dll", "malloc");
    test_support::injected<malloc_function> runtime("libstdc++-6.dll", "malloc");
    library.fail_always(nullptr, ERROR_NOT_ENOUGH_MEMORY);
    runtime.fail_always(nullptr, ERROR_NOT_ENOUGH_MEMORY);
    try {
      throw bad_alloc();  // Lives in the run-time's reserve.
    } catch (const std::bad_alloc& e) {
      caught = dynamic_cast<const decltype(caught)&>(e);
      std::strcpy(text, caught.what());
    }
  }
  EXPECT_STREQ(text, typeid(detail::bad_alloc_impl::internal).name());
  EXPECT_STREQ(caught.what(), "bad allocation");
}

}  // namespace
