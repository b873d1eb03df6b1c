/*
 * Calls every function that the library exports and reads every object, from C, as a program
 * outside would. Each file below all_calls/ calls the families of headers that it names.
 */

#include "all_calls/all_calls.h"

int main(void) {
  call_foundation(); /* first, since it sees the log before its first message */
  call_memory();
  call_leaves();
  call_paths();
  call_values();
  call_trees();
  call_frames(); /* before all that needs hooks, since it sees frames without them */
  call_messages();
  call_data_model();
  return report();
}
