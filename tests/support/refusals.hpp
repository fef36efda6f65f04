// Each call that a library makes of the system in the course of an operation, refused in turn. A first run tells
// which calls there are, so that one which nobody thought of is refused as well.
#pragma once

#include "every_test.hpp"
#include "watched_calls.hpp"

namespace test_support {

/// What is to be seen of an operation when all is done. An exception is seen as its type and its text, in which a !
/// stands for the words that go with the code.
using watched_operation = std::function<std::string()>;

/// What came of refusing the first, the second … call of a function, by the name of the function, unless none of its
/// refusals changed what came. The same in a row stands there once, with its number: "2 x done | system_error:
/// CreatePipe!". Allocations are "new", without numbers.
using refusal_outcomes = std::map<std::string, std::string>;

/// Runs an operation, which `prepare` makes anew each time, for each call that `module` makes in it on this thread,
/// with that call refused: nothing happens, and it returns a failure. Only what gives something back happens all the
/// same. Expects that no run loses a handle or closes one that is not open, and that the operation comes to the same as
/// at first when nothing is refused any more.
refusal_outcomes refuse_each_call(const std::function<watched_operation()>& prepare,
                                  const char* module = "libqxfl.dll");

}  // namespace test_support
