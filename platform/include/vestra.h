/*
 * Binary tracing: each process appends records to a ring file per trace.
 */
#ifndef VESTRA_H
#define VESTRA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Open the trace `name`, a ring of `records` records of `record_size` bytes (64 to 1024) in
 * "/install_repo/log/<name>.vestra", and store its handle. A name has up to 63 characters and no '/'. `path` and
 * `build_id` go into the ring's header: a reader needs them to find the messages behind the site numbers. Opening a
 * name again yields the same handle. Where the file can't be written the trace is opened all the same and drops its
 * records. Returns 0, or non-zero on a null or unusable argument or when too many traces are open.
 */
int vestra_open_internal(uint64_t *handle, const char *name, uint32_t records, uint32_t record_size, const char *path,
                         const char *build_id, uint64_t context);

/*
 * Append one record: time, process, thread, site and arguments. arg_types has one letter per argument: "d" 32-bit,
 * "D" 64-bit, "s" text (null is fine). What doesn't fit a record is cut. A handle that was never opened drops it.
 */
void vestra_internal(uint64_t handle, uint32_t site, uint32_t size_class, uint32_t has_strings, const char *arg_types,
                     const char *format, ...) __attribute__((format(printf, 6, 7)));

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
