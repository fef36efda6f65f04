// The exceptions of the library. <fl/except/iexception.hpp> opens with how to define, throw, catch and transport them.
#pragma once

#include <fl/except/anonymous_internal_exception.hpp>
#include <fl/except/bad_alloc.hpp>
#include <fl/except/exception.hpp>
#include <fl/except/iexception.hpp>
#include <fl/except/invalid_error_id.hpp>
#include <fl/except/msg_id_exception.hpp>
#include <fl/except/notification.hpp>
#include <fl/except/typed_msg_id_holder.hpp>
