// Keeps a defect of the emulated system out of the tests of launching.
#pragma once

namespace test_support {

/// Lets the program and libqxfl.dll, as far as they start processes, try a launch again that Wine refuses for no reason
/// of theirs, for the rest of the program. To be called once, before any other patch of the import tables. Does nothing
/// on Windows, which does not refuse so.
void retry_launches_that_wine_refuses();

}  // namespace test_support
