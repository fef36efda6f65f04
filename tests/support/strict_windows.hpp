// Windows in Wine's place where the two differ: with QXFL_STRICT_WINDOWS=1 in the environment, calls of our libraries
// that the documentation forbids fail as it says, although Wine lets them pass, and so does the test that led there.
// Where Windows refuses what a user may well ask for, it is only refused. docs/win32.md has the documentation's words.
//
// The calls are patched in the import tables, below what tests inject: an injected call that is passed on comes here.
// `./dev test --strict` runs the tests so. What a library calls by late_function is left alone.
#pragma once

namespace test_support {

/// Does nothing unless the environment says so. To come before any other patch of the import tables.
void begin_strict_windows();

}  // namespace test_support
