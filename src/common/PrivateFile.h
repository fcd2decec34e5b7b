// Files and folders that only their owner may read, such as those holding a password; any
// thread.
#pragma once

#include <QByteArray>
#include <QString>

namespace orel::PrivateFile {

// Creates the folder when missing (its parents as usual), the folder itself owner-only (0700);
// an existing folder of the user's that others may read or enter is narrowed to owner-only.
// Answers whether the folder exists afterwards.
bool makeFolder(const QString &path);

// Writes bytes to path atomically and owner-only from the first byte: a new file created 0600
// beside path, written, synced and renamed over it. On failure path is untouched and *error
// says why.
bool write(const QString &path, const QByteArray &bytes, QString *error = nullptr);

} // namespace orel::PrivateFile
