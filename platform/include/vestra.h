/*
 * Binary tracing: all processes append records to one ring file per trace.
 */
#ifndef VESTRA_H
#define VESTRA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Opens the trace `name`, a ring of `records` records of `record_size` bytes (64 to 1024) in
 * "/install_repo/log/<name>.vestra", and stores its handle. A name has up to 63 characters and no '/'. The ring's
 * header contains `path` and `build_id`, by which a reader maps site numbers to messages. Opening a name again returns
 * the same handle. If the file cannot be written, the trace is opened anyway and drops its records. Returns 0, or
 * non-zero for an invalid argument or if too many traces are open.
 */
int vestra_open_internal(uint64_t *handle, const char *name, uint32_t records, uint32_t record_size, const char *path,
                         const char *build_id, uint64_t context);

/*
 * Appends one record: time, process, thread, site and arguments. arg_types has one letter per argument: "d" 32-bit, "D"
 * 64-bit, "s" text, which may be null. Arguments that do not fit the record are cut. With a handle that was never
 * opened, does nothing. size_class and has_strings are not used.
 */
void vestra_internal(uint64_t handle, uint32_t site, uint32_t size_class, uint32_t has_strings, const char *arg_types,
                     const char *format, ...) __attribute__((format(printf, 6, 7)));

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
