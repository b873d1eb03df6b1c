#include "lib/log_names.h"

#include <iterator>

// Plain numbers, since <syslog.h> can define the same tables: facilities and severities of RFC
// 5424, section 6.2.1, the facilities shifted left by 3. "none" and "mark" are no codes of
// messages.

const vk_log_name prioritynames[] = {
    {"alert", 1}, {"crit", 2},    {"debug", 7},   {"emerg", 0},  {"err", 3},
    {"error", 3}, {"info", 6},    {"none", 0x10}, {"notice", 5}, {"panic", 0},
    {"warn", 4},  {"warning", 4}, {nullptr, -1},
};

const vk_log_name facilitynames[] = {
    {"auth", 0x20},     {"authpriv", 0x50}, {"cron", 0x48},   {"daemon", 0x18}, {"ftp", 0x58},
    {"kern", 0x00},     {"lpr", 0x30},      {"mail", 0x10},   {"mark", 0xC0},   {"news", 0x38},
    {"security", 0x20}, {"syslog", 0x28},   {"user", 0x08},   {"uucp", 0x40},   {"local0", 0x80},
    {"local1", 0x88},   {"local2", 0x90},   {"local3", 0x98}, {"local4", 0xA0}, {"local5", 0xA8},
    {"SYS", 0xB0},      {"CRM", 0xB8},      {nullptr, -1},
};

static_assert(std::size(facilitynames) == vesk::kFacilityCount);

extern "C" {
extern const vk_log_name vesk_own_facilitynames[vesk::kFacilityCount]
    __attribute__((alias("facilitynames")));
}
