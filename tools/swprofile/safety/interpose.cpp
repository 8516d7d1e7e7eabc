// Functions of the library, the platform and libc that the command defines itself. The library calls these, since the
// executable's symbols precede those of shared libraries. Thus the command runs the library's operations, but before
// each store it can reject the store or save the affected files; in a dry run it skips the store.
#include "profile/failure.h"
#include "safety/change.h"
#include "safety/interruption.h"

#include "verd_inst_ldpath.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

template <class Function> Function *original(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

bool is_dry_run()
{
    return Change::current() != nullptr && Change::current()->is_dry_run();
}

// The errno for a failed shell command, which sets none; the library reports it.
int likely_error()
{
    struct statvfs system = {};
    return statvfs(VERD_GLOBAL_DIRECTORY, &system) == 0 && system.f_bavail == 0 ? ENOSPC : EIO;
}

} // namespace

extern "C" {

// The library calls this function for every store of a profile.
uint64_t inst_write_sdr_swprofile_to_file2(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                           inst_sw_profile_sdr_ext *profile, char **error_message_out)
{
    Change *const change = Change::current();
    if (change != nullptr && profile != nullptr) {
        const Selector stored = {sdr_key == nullptr ? "" : sdr_key, vm_type, part_type, is_local != 0};
        const uint64_t rc = change->prepare_store(stored, *profile);
        if (rc != 0 || change->is_dry_run()) {
            return rc;
        }
    }
    auto *const write = original<decltype(inst_write_sdr_swprofile_to_file2)>("inst_write_sdr_swprofile_to_file2");
    return write(sdr_key, is_local, part_type, vm_type, profile, error_message_out);
}

// The library sleeps after a failed write or comparison of a file, and between attempts to remove one. A signal ends
// the wait.
unsigned int sleep(unsigned int seconds)
{
    using namespace std::chrono;
    constexpr milliseconds PERIOD(20);
    static bool is_reported = false;
    for (milliseconds waited(0); caught_signal() == 0 && waited < std::chrono::seconds(seconds); waited += PERIOD) {
        std::this_thread::sleep_for(PERIOD);
        if (!is_reported && waited >= std::chrono::seconds(1)) {
            note("waiting: a profile file was not written correctly or could not be removed");
            is_reported = true;
        }
    }
    return 0;
}

// The library copies a profile, and moves or copies its twin, by system(). The shell commands ignore signals, so that
// one that has begun completes. libc's system() would also make swprofile ignore SIGINT meanwhile; with this one,
// swprofile catches it and undoes the change afterwards.
int system(const char *command)
{
    if (is_dry_run()) {
        return 0;
    }
    const pid_t child = fork();
    if (child == 0) {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            std::signal(signal, SIG_IGN);
        }
        execl("/bin/sh", "sh", "-c", command, nullptr);
        _exit(127);
    }
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    errno = status == 0 ? 0 : likely_error();
    return status;
}

// Before a bundle is unpacked, the library empties the work area and makes a directory there. A dry run must not touch
// it, and unpacks elsewhere.
uint64_t inst_runcmd_outbuff(char **out, uint32_t *out_size, const char *format, ...)
{
    if (is_dry_run()) {
        return 0;
    }
    va_list arguments;
    va_start(arguments, format);
    char command[8192];
    const int length = std::vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof command) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    return original<decltype(inst_runcmd_outbuff)>("inst_runcmd_outbuff")(out, out_size, "%s", command);
}

char *mkdtemp(char *path_template) noexcept
{
    constexpr char DRY_RUN_DIRECTORY[] = "/tmp/swprofile.XXXXXX";
    const bool is_elsewhere =
        is_dry_run() && std::strncmp(path_template, VERD_WORK_AREA, std::strlen(VERD_WORK_AREA)) == 0;
    if (is_elsewhere) {
        static_assert(sizeof DRY_RUN_DIRECTORY <= sizeof VERD_WORK_AREA + sizeof "smu.XXXXXX");
        std::memcpy(path_template, DRY_RUN_DIRECTORY, sizeof DRY_RUN_DIRECTORY);
    }
    char *const made = original<char *(char *)>("mkdtemp")(path_template);
    if (is_elsewhere && made != nullptr) {
        Change::current()->unpack_directory = made;
    }
    return made;
}
}
