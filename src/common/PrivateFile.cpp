#include "common/PrivateFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orel::PrivateFile {

namespace {

bool failWith(QString *error, const QString &path, int code)
{
    if (error)
        *error = QStringLiteral("%1: %2").arg(path, QString::fromLocal8Bit(std::strerror(code)));
    return false;
}

} // namespace

bool makeFolder(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir()) {
        // A folder of ours that others may read or enter is narrowed: it holds secrets now.
        struct stat st
        {
        };
        const QByteArray name = QFile::encodeName(path);
        if (::stat(name.constData(), &st) == 0 && st.st_uid == ::getuid()
            && (st.st_mode & (S_IRWXG | S_IRWXO)) != 0)
            ::chmod(name.constData(), st.st_mode & S_IRWXU);
        return true;
    }
    if (!QDir().mkpath(info.absolutePath()))
        return false;
    // mkdir with the mode itself: the folder is never open to others, not even for a moment.
    return ::mkdir(QFile::encodeName(path).constData(), S_IRWXU) == 0 || QFileInfo(path).isDir();
}

bool write(const QString &path, const QByteArray &bytes, QString *error)
{
    QByteArray temp = QFile::encodeName(path) + ".XXXXXX";
    // mkostemp creates the file 0600 (less when the umask says so).
    const int fd = ::mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0)
        return failWith(error, path, errno);
    int code = 0;
    for (qsizetype done = 0; done < bytes.size() && code == 0;) {
        const ssize_t n = ::write(fd, bytes.constData() + done, std::size_t(bytes.size() - done));
        if (n > 0)
            done += n;
        else if (n == 0 || errno != EINTR)
            code = n == 0 ? EIO : errno;
    }
    if (code == 0 && ::fsync(fd) != 0)
        code = errno;
    if (::close(fd) != 0 && code == 0)
        code = errno;
    if (code == 0 && ::rename(temp.constData(), QFile::encodeName(path).constData()) != 0)
        code = errno;
    if (code != 0) {
        ::unlink(temp.constData());
        return failWith(error, path, code);
    }
    return true;
}

} // namespace orel::PrivateFile
