// The file name under which a page is kept in the archive folder; any thread.
#pragma once

#include <QString>

namespace orel {

// The URL after the scheme, "://", the host and one "/" (or from position 7 when that leaves
// nothing), with every "/" written as "%2F".
QString archiveFileNameForUrl(const QString &actualUrl);

} // namespace orel
