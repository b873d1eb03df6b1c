#include "vesk/vesk.h"

// A program may include everything of the library and have syslog's own tables of names, which go
// by the same names as the library's. In this program, which has both, those of the library are
// linked.
#define SYSLOG_NAMES
extern "C" {
#pragma weak prioritynames
#pragma weak facilitynames
#include <syslog.h>
}

#include <type_traits>

namespace vesk::test {
namespace {

static_assert(std::is_same_v<decltype(prioritynames[0]), CODE&>);
static_assert(std::is_same_v<decltype(facilitynames[0]), CODE&>);

}  // namespace
}  // namespace vesk::test
