// Everything about the processor: its instructions, cores and frequency, and how many threads can run at once.
#pragma once

#include <fl/system/cpu_info.hpp>
#include <fl/system/cpuid_source.hpp>
#include <fl/system/instruction_set.hpp>
#include <fl/system/processor_frequency.hpp>
