// The former place of fl/process/iopipe_descriptor_impl.hpp, which has nothing of Windows in it.
#pragma once

#include <fl/process/iopipe_descriptor_impl.hpp>
