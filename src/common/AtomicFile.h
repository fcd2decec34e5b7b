// Writing a whole file so that readers see the old file or the new one, never a part; any
// thread.
#pragma once

#include <QByteArray>
#include <QString>

namespace orel {

// Writes bytes to path through a temporary file that replaces it at the end. A failure (no such
// folder, a full disk, a size limit) leaves any earlier file whole and answers false, with the
// reason in error when given.
bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error = nullptr);

} // namespace orel
