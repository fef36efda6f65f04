#include "system/number_of_cores.hpp"

#include "loggers.hpp"
#include "system/pe_cores.hpp"
#include "system/processor_query.hpp"
#include "system/processor_topology.hpp"

namespace foundation::core::system::windows {

void computeNumberOfCores(core_details& result) {
  const process_affinity affinity = getProcessAffinity();
  const core_counts counts = countCores(getProcessorRecords(), affinity);
  loggers::cpu_info.log(log::severity::note, " processorCoreCount=", counts.processorCoreCount,
                        " processorLogicalCount=", counts.processorLogicalCount,
                        " availableCoreCount=", counts.availableCoreCount,
                        " availableLogicalCount=", counts.availableLogicalCount);
  const PECores tiers = computePECores(counts.processorCoreCount, counts.processorLogicalCount);
  result = {.pCores = counts.processorCoreCount,
            .lCores = counts.processorLogicalCount,
            .aCores = counts.availableLogicalCount,
            .performanceCores = tiers.performanceCores,
            .efficiencyCores = tiers.efficiencyCores};
}

}  // namespace foundation::core::system::windows
