// Reading local files named by URLs and pages: regular files only, and never an open() that
// waits; any thread.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace orel::LocalFile {

// What a path names, as far as reading it goes.
enum class Kind {
    Regular,
    Missing, // nothing there (or nothing that can be looked at)
    Directory,
    NotRegular, // a FIFO, a socket, a character or block device
    Unreadable, // a regular file that cannot be opened (permissions)
};

// Opens path for reading when it names a regular file (symbolic links followed). Its type is
// looked at first, since opening a FIFO without a writer waits for ever and opening a device
// may act on it; the file is then opened non-blocking and the open descriptor looked at again,
// so that something swapped in between is caught too. Answers the descriptor, which the caller
// closes, or -1 with the reason in kind (and errno's value in error for Unreadable).
int openRegular(const QString &path, Kind *kind, int *error = nullptr);

// The whole file, when openRegular() allows it.
std::optional<QByteArray> readRegular(const QString &path, Kind *kind = nullptr);

} // namespace orel::LocalFile
