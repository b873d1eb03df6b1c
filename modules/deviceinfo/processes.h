#pragma once

#include "modules/support/object_builder.h"

namespace vesk::modules {

/// Time of all processors since the start, in ticks.
struct ProcessorTime {
  uint64_t busy = 0;
  uint64_t all = 0;
};

/// Fills "ProcessStatus": the processors' load in percent, and the table of processes, the lowest
/// process ids first, each with its id as instance number.
/// @param last the time up to which the load was told before; receives that of now
void add_process_status(ObjectBuilder& status, ProcessorTime& last);

}  // namespace vesk::modules
