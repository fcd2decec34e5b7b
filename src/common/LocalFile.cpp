#include "common/LocalFile.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orel::LocalFile {

namespace {

Kind kindOf(mode_t mode)
{
    if (S_ISREG(mode))
        return Kind::Regular;
    return S_ISDIR(mode) ? Kind::Directory : Kind::NotRegular;
}

} // namespace

int openRegular(const QString &path, Kind *kind, int *error)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info;
    if (name.isEmpty() || ::stat(name.constData(), &info) != 0) {
        *kind = Kind::Missing;
        return -1;
    }
    *kind = kindOf(info.st_mode);
    if (*kind != Kind::Regular)
        return -1;
    const int fd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        *kind = errno == ENOENT ? Kind::Missing : Kind::Unreadable;
        if (error)
            *error = errno;
        return -1;
    }
    if (::fstat(fd, &info) != 0 || (*kind = kindOf(info.st_mode)) != Kind::Regular) {
        if (*kind == Kind::Regular)
            *kind = Kind::Missing;
        ::close(fd);
        return -1;
    }
    return fd;
}

std::optional<QByteArray> readRegular(const QString &path, Kind *kind)
{
    Kind found = Kind::Missing;
    const int fd = openRegular(path, &found);
    if (kind)
        *kind = found;
    if (fd < 0)
        return std::nullopt;
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return std::nullopt;
    }
    return file.readAll();
}

} // namespace orel::LocalFile
