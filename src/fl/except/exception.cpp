// The one copy of the joined exceptions that the headers declare, marked there for export.
#include <fl/except/anonymous_internal_exception.hpp>
#include <fl/except/exception.hpp>
#include <fl/except/invalid_error_id.hpp>

namespace foundation::core::except {

template class Exception<IInternalException, std::exception, void>;
template class Exception<IUserException, std::exception, void>;
template class Exception<IInternalException, std::bad_alloc, void>;
template class Exception<IInternalException, InvalidErrorID, void>;
template class Exception<IInternalException, boost::system::system_error, void>;
template class detail::AnonymousInternalException<InvalidErrorID>;
template class detail::AnonymousInternalException<boost::system::system_error>;

}  // namespace foundation::core::except
