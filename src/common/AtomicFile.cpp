// Writing a whole file atomically.
#include "common/AtomicFile.h"

#include <QSaveFile>

namespace orel {

bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error)
{
    QSaveFile file(path);
    // Flushed before the commit: a write failing while the commit empties the buffer goes
    // unreported by commit() and would replace the file with a truncated one.
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush()
        && file.commit())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}

} // namespace orel
