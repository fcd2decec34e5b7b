// Writing a whole file so that readers see the old file or the new one, never a part; any
// thread.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace orel {

class TextSink;

// Writes bytes to path through a temporary file that replaces it at the end. A failure (no such
// folder, a full disk, a size limit) leaves any earlier file whole and answers false, with the
// reason in error when given.
bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error = nullptr);

// The same for the text that build appends to its sink, written as UTF-8 while it is built, so
// that the whole text is never held. build is not called when the file cannot be made.
bool writeTextAtomically(const QString &path, const std::function<void(TextSink &)> &build,
                         QString *error = nullptr);

} // namespace orel
