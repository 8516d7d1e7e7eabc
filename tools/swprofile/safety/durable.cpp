#include "safety/durable.h"

#include "profile/failure.h"
#include "profile/repository.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace
{

[[noreturn]] void fail(const std::string &what, const fs::path &file)
{
    const int err = errno;
    throw Failure(FAILED, "cannot " + what + " " + file.string(), {std::strerror(err)});
}

class File : Descriptor
{
public:
    File(const fs::path &name, int flags) : Descriptor(open(name.c_str(), flags | O_CLOEXEC, 0600)), path(name)
    {
        if (fd < 0) {
            fail("open", path);
        }
    }

    void write(const std::string &content) const
    {
        for (std::size_t done = 0; done < content.size();) {
            const ssize_t written = ::write(fd, content.data() + done, content.size() - done);
            if (written < 0 && errno != EINTR) {
                fail("write", path);
            }
            done += written < 0 ? 0 : static_cast<std::size_t>(written);
        }
    }

    std::string read() const
    {
        struct stat status = {};
        if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
            throw Failure(FAILED, "not a regular file: " + path.string());
        }
        std::string content;
        char block[65536];
        for (ssize_t count = 1; count != 0;) {
            count = ::read(fd, block, sizeof block);
            if (count < 0 && errno != EINTR) {
                fail("read", path);
            }
            content.append(block, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return content;
    }

    void sync() const
    {
        if (fsync(fd) != 0 && errno != EINVAL && errno != EROFS) { // some file systems cannot sync
            fail("sync", path);
        }
    }

    void copy_attributes(const struct stat &of) const
    {
        static_cast<void>(!fchown(fd, of.st_uid, of.st_gid)); // may fail for users other than root
        const timespec times[] = {of.st_atim, of.st_mtim};
        if (fchmod(fd, of.st_mode & 07777) != 0 || futimens(fd, times) != 0) {
            fail("set the mode of", path);
        }
    }

private:
    const fs::path &path;
};

} // namespace

void make_directory(const fs::path &directory)
{
    if (mkdir(directory.c_str(), 0700) != 0) {
        fail("create", directory);
    }
}

void copy_durably(const fs::path &from, const fs::path &to)
{
    struct stat status = {};
    struct stat target = {};
    if (lstat(from.c_str(), &status) != 0) {
        fail("examine", from);
    }
    if (stat(to.parent_path().c_str(), &target) != 0) {
        fail("examine", to.parent_path());
    }
    if (!S_ISREG(status.st_mode)) { // opening a FIFO would block
        throw Failure(FAILED, "not a regular file: " + from.string());
    }
    if (status.st_dev != target.st_dev) { // the copy could not be renamed back
        throw Failure(FAILED, "cannot save " + from.string(), {"on another file system than " + to.string()});
    }
    const std::string content = read_file(from);
    const File file(to, O_WRONLY | O_CREAT | O_EXCL);
    file.write(content);
    file.copy_attributes(status);
    file.sync();
}

std::string read_file(const fs::path &path)
{
    return File(path, O_RDONLY | O_NONBLOCK).read(); // a FIFO must not block
}

void write_durably(const fs::path &path, const std::string &content)
{
    const File file(path, O_WRONLY | O_CREAT | O_EXCL);
    file.write(content);
    file.sync();
}

void remove_durably(const fs::path &path)
{
    if (unlink(path.c_str()) == 0) {
        sync_directory(path.parent_path());
    } else if (errno != ENOENT && errno != ENOTDIR) {
        fail("remove", path);
    }
}

void rename_file(const fs::path &from, const fs::path &to)
{
    if (rename(from.c_str(), to.c_str()) != 0) {
        fail("move a file to", to);
    }
}

void move_durably(const fs::path &from, const fs::path &to)
{
    rename_file(from, to);
    sync_directory(to.parent_path());
    if (from.parent_path() != to.parent_path() && name_exists(from.parent_path())) {
        sync_directory(from.parent_path());
    }
}

void sync_file(const fs::path &file)
{
    File(file, O_RDONLY).sync();
}

void sync_directory(const fs::path &directory)
{
    File(directory, O_RDONLY | O_DIRECTORY).sync();
}
