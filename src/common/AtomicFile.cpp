// Writing a whole file atomically.
#include "common/AtomicFile.h"

#include "common/TextSink.h"

#include <QSaveFile>

namespace orel {

namespace {

// Flushed before the commit: a write failing while the commit empties the buffer goes unreported
// by commit() and would replace the file with a truncated one. A file not committed is removed
// when it goes, leaving the earlier one.
bool commit(QSaveFile &file, bool written, QString *error)
{
    if (written && file.flush() && file.commit())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}

} // namespace

bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error)
{
    QSaveFile file(path);
    const bool opened = file.open(QIODevice::WriteOnly);
    return commit(file, opened && file.write(bytes) == bytes.size(), error);
}

bool writeTextAtomically(const QString &path, const std::function<void(TextSink &)> &build,
                         QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return commit(file, false, error);
    TextSink sink([&file](QByteArrayView bytes) {
        return file.write(bytes.data(), bytes.size()) == bytes.size();
    });
    build(sink);
    return commit(file, sink.finish(), error);
}

} // namespace orel
