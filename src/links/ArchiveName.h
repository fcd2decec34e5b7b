// The file name under which a page is kept in the archive folder; any thread.
#pragma once

#include <QString>

namespace orel {

// The URL after the scheme, "://", the host and one "/" (or from position 7 when that leaves
// nothing), with every "/" written as "%2F".
QString archiveFileNameForUrl(const QString &actualUrl);

// Whether a name from archiveFileNameForUrl() names a file inside the archive folder that the
// file system can hold: not empty, not "." or "..", no "/" or NUL, at most 255 bytes.
bool isSafeArchiveFileName(const QString &name);

} // namespace orel
