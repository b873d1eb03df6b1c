#ifndef VESK_VESK_H
#define VESK_VESK_H

/*
 * libvesk, the runtime library of a TR-069 (CWMP) device-management agent. This header includes
 * all others except <vesk/log_names.h>, which can clash with <syslog.h>.
 *
 * Conventions that hold wherever a comment does not say otherwise:
 *
 * Null       Arguments are not checked. A pointer may be null only where its comment says so.
 * Results    Functions that can fail give a `vk_error`, 0 for success; constructors give the
 *            record or null. A block that `vk_alloc` could not give is always logged, any other
 *            failure where a comment says so: do not log these again.
 * Outputs    Written on success only.
 * Failure    A call that failed has changed nothing.
 * Texts      Are zero-terminated bytes. No encoding is assumed; names are compared byte by byte.
 * Sizes      Are in bytes and do not count a text's terminator, unless a buffer's size is meant.
 * Ownership  "the caller's": the caller makes and releases it. "taken over": the library releases
 *            it from now on. "borrowed": the library keeps the pointer and neither copies nor
 *            releases what it points at, which must live as long as the record that holds it.
 * Threads    The library starts none and locks nothing. Its process-wide state (heaps, "gta", the
 *            log, the module context, the hooks of frames, the random seed, the data model's root)
 *            belongs to one thread; a record belongs to one thread at a time.
 * Callbacks  Must return; they must neither throw nor jump out.
 */

#include <vesk/base.h>
#include <vesk/binary.h>
#include <vesk/datetime.h>
#include <vesk/dmmgr/frame.h>
#include <vesk/dmmgr/hook.h>
#include <vesk/dmmgr/provider.h>
#include <vesk/dmmgr/request.h>
#include <vesk/error.h>
#include <vesk/frame.h>
#include <vesk/ipc.h>
#include <vesk/log.h>
#include <vesk/mm/gta.h>
#include <vesk/mm/heap.h>
#include <vesk/mm/stack.h>
#include <vesk/module.h>
#include <vesk/net/cwmp_utils.h>
#include <vesk/path.h>
#include <vesk/path_tree.h>
#include <vesk/path_tree_diff.h>
#include <vesk/random.h>
#include <vesk/storage/fd.h>
#include <vesk/storage/storage.h>
#include <vesk/stream.h>
#include <vesk/string.h>
#include <vesk/value/array.h>
#include <vesk/value/attribute.h>
#include <vesk/value/by_path.h>
#include <vesk/value/compare.h>
#include <vesk/value/copy.h>
#include <vesk/value/copy_by_tree.h>
#include <vesk/value/enumerate.h>
#include <vesk/value/leaf.h>
#include <vesk/value/member.h>
#include <vesk/value/merge.h>
#include <vesk/value/node.h>
#include <vesk/value/object.h>
#include <vesk/value/prototype.h>
#include <vesk/value/text.h>
#include <vesk/value/type.h>
#include <vesk/value/writer.h>

#endif
