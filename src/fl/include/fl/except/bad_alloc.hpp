// The exception for the end of memory, which is made, copied and thrown without any:
//
//     throw bad_alloc();
//     …
//     } catch (const std::bad_alloc& e) {  // or std::exception; not IException
//       std::cerr << e.what();             // "bad allocation", or the name of a type while there is no memory for it
//
// Thread safety: that of <fl/except/iexception.hpp>.
#pragma once

#include <fl/except/exception.hpp>
#include <fl/export.hpp>

#include <boost/exception/exception.hpp>

#include <new>

namespace foundation::core::except {

namespace detail {

/// A `std::bad_alloc` that has an internal error inside and speaks through it.
class FL_API bad_alloc_impl : public std::bad_alloc {
 public:
  /// The internal error. It is caught as such, as `boost::exception` and as `std::bad_alloc`.
  struct FL_API internal : Exception<IInternalException, std::bad_alloc, void> {
    internal() noexcept;
    internal(const internal& other) noexcept;
    internal& operator=(const internal& other) noexcept;
    ~internal() override;

   private:
    const boost::exception_detail::clone_base* clone() const override;
    void rethrow() const override;
  };

  bad_alloc_impl(const bad_alloc_impl& other) noexcept;
  bad_alloc_impl& operator=(const bad_alloc_impl& other) noexcept;
  ~bad_alloc_impl() override;

  /// What the internal error says, and kept by it.
  const char* what() const noexcept override;

 protected:
  bad_alloc_impl() noexcept;

 private:
  internal internal_;
};

}  // namespace detail

/// Cannot fail. `boost::current_exception` can transport the result if there is memory for a copy.
FL_API boost::exception_detail::clone_impl<detail::bad_alloc_impl> bad_alloc() noexcept;

}  // namespace foundation::core::except
