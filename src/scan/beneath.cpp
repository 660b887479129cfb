#include "scan/beneath.h"

#include <QFile>

#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#if defined(SYS_openat2)
#include <linux/openat2.h>
#endif

namespace {

#if defined(O_PATH)
constexpr int pathOnly = O_PATH;
#else
constexpr int pathOnly = O_RDONLY;
#endif

// Whether the kernel resolves a path beneath a folder itself; older kernels, and sandboxes that
// filter system calls, do not, and the path is then walked one part at a time.
std::atomic<bool> kernelResolves { true };

int openInKernel(int folder, QByteArrayView relative, int flags)
{
#if defined(SYS_openat2)
    if (kernelResolves.load(std::memory_order_relaxed)) {
        const QByteArray path = relative.toByteArray();
        open_how how {};
        how.flags = quint64(flags);
        how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
        const int fd = int(syscall(SYS_openat2, folder, path.constData(), &how, sizeof how));
        if (fd >= 0 || (errno != ENOSYS && errno != EPERM && errno != E2BIG))
            return fd;
        kernelResolves.store(false, std::memory_order_relaxed);
    }
#endif
    // One part at a time, refusing a link at every step.
    int at = folder;
    qsizetype start = 0;
    for (;;) {
        const qsizetype slash = relative.indexOf('/', start);
        const QByteArray part
            = relative.sliced(start, (slash < 0 ? relative.size() : slash) - start).toByteArray();
        const int next = slash < 0
            ? openat(at, part.constData(), flags | O_NOFOLLOW)
            : openat(at, part.constData(), pathOnly | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        const int saved = errno;
        if (at != folder)
            close(at);
        errno = saved;
        if (next < 0 || slash < 0)
            return next;
        at = next;
        start = slash + 1;
    }
}

// Reads up to `limit` bytes of an open file; `whole` tells whether the file ended there.
std::optional<QByteArray> readOpen(int fd, qint64 size, qint64 limit, bool* whole)
{
    // One byte more than asked for tells a longer file, or one that grew since it was looked at.
    const qint64 room = std::min(size, limit) + 1;
    QByteArray bytes(qsizetype(room), Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < bytes.size()) {
        const ssize_t n = ::read(fd, bytes.data() + filled, size_t(bytes.size() - filled));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            close(fd);
            return std::nullopt;
        }
        if (n == 0)
            break;
        filled += n;
    }
    close(fd);
    if (whole)
        *whole = filled <= limit;
    bytes.truncate(std::min<qsizetype>(filled, limit));
    return bytes;
}

} // namespace

Beneath::Beneath(const QString& folder)
    : m_fd(::open(QFile::encodeName(folder).constData(), pathOnly | O_DIRECTORY | O_CLOEXEC))
{
}

Beneath::~Beneath()
{
    if (m_fd >= 0)
        close(m_fd);
}

bool Beneath::isPlain(QByteArrayView relative)
{
    if (relative.isEmpty())
        return false;
    for (qsizetype start = 0; start <= relative.size();) {
        qsizetype end = relative.indexOf('/', start);
        if (end < 0)
            end = relative.size();
        const QByteArrayView part = relative.sliced(start, end - start);
        if (part.isEmpty() || part == "." || part == ".." || part.contains('\0'))
            return false;
        start = end + 1;
    }
    return true;
}

int Beneath::depth(QByteArrayView relative)
{
    return int(relative.count('/')) + 1;
}

int Beneath::openAt(QByteArrayView relative, int flags) const
{
    if (m_fd < 0 || !isPlain(relative)) {
        errno = ENOENT;
        return -1;
    }
    return openInKernel(m_fd, relative, flags | O_CLOEXEC | O_NOFOLLOW);
}

std::optional<struct stat> Beneath::status(QByteArrayView relative) const
{
    // A path-only descriptor of the entry itself, even of a link at the end.
    const int fd = openAt(relative, pathOnly);
    if (fd < 0)
        return std::nullopt;
    struct stat info;
    const bool ok = fstat(fd, &info) == 0;
    close(fd);
    return ok ? std::optional(info) : std::nullopt;
}

namespace {

// The descriptor when it is open on a regular file, with its status in `info`; else closed, and -1.
int keepIfRegular(int fd, struct stat* info)
{
    if (fd < 0)
        return -1;
    struct stat opened;
    if (fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode)) {
        close(fd);
        return -1;
    }
    if (info)
        *info = opened;
    return fd;
}

} // namespace

int Beneath::openFile(QByteArrayView relative, struct stat* info) const
{
    // Only what is a regular file is opened for reading: opening a device can do things.
    const std::optional<struct stat> entry = status(relative);
    if (!entry || !S_ISREG(entry->st_mode))
        return -1;
    return keepIfRegular(openAt(relative, O_RDONLY | O_NONBLOCK), info);
}

int Beneath::openFolder(QByteArrayView relative) const
{
    if (relative.isEmpty())
        return m_fd < 0 ? -1 : ::openat(m_fd, ".", pathOnly | O_DIRECTORY | O_CLOEXEC);
    return openAt(relative, pathOnly | O_DIRECTORY);
}

std::optional<struct stat> Beneath::statusIn(int folder, QByteArrayView name)
{
    if (folder < 0 || !isPlain(name) || name.contains('/'))
        return std::nullopt;
    struct stat entry;
    if (fstatat(folder, name.toByteArray().constData(), &entry, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return entry;
}

int Beneath::openFileIn(int folder, QByteArrayView name, struct stat* info)
{
    const std::optional<struct stat> entry = statusIn(folder, name);
    if (!entry || !S_ISREG(entry->st_mode)) {
        errno = ENOENT;
        return -1;
    }
    return openKnownFileIn(folder, name, info);
}

int Beneath::openKnownFileIn(int folder, QByteArrayView name, struct stat* info)
{
    if (folder < 0 || !isPlain(name) || name.contains('/')) {
        errno = ENOENT;
        return -1;
    }
    return keepIfRegular(::openat(folder, name.toByteArray().constData(),
                             O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC),
        info);
}

std::optional<QByteArray> Beneath::read(QByteArrayView relative, qint64 limit, bool* whole) const
{
    struct stat info;
    const int fd = openFile(relative, &info);
    if (fd < 0)
        return std::nullopt;
    return readOpen(fd, info.st_size, limit, whole);
}

std::optional<QByteArray> Beneath::readFile(const QString& path, qint64 limit, bool* whole)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info;
    if (::stat(name.constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return std::nullopt;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(fd);
        return std::nullopt;
    }
    return readOpen(fd, info.st_size, limit, whole);
}
