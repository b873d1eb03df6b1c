/*
 * A program with an object of its own named facilitynames, as <syslog.h> gives it one with
 * SYSLOG_NAMES. It takes the place of the library's for the whole process, but the library goes on
 * looking facilities up in its own.
 */

#include <stddef.h>

#include "check.h"

#define SYSLOG_NAMES
#include <syslog.h>

static bool in_table(const CODE *table, const char *name) {
  for (; table->c_name != NULL; ++table) {
    if (same(table->c_name, name)) return true;
  }
  return false;
}

int main(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  CHECK(in_table(facilitynames, "local6") && !in_table(facilitynames, "SYS"));
  CHECK(vk_log_facility_config("SYS") == VK_EOK);
  CHECK(vk_log_facility_config("local6") == VK_EINVAL);
  CHECK(in_table(prioritynames, "err"));
  vk_gta_destroy();
  return report();
}
