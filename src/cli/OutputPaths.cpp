// Output files checked before the crawl.
#include "OutputPaths.h"

#include <QDir>
#include <QFileInfo>

namespace orel::cli {

QString checkOutputPath(const QString &path)
{
    if (path.isEmpty() || path == QLatin1String("-"))
        return {};
    const QFileInfo file(path);
    if (file.isDir())
        return QStringLiteral("cannot write %1: it is a folder").arg(path);
    const QFileInfo folder(file.absolutePath());
    if (!folder.isDir())
        return QStringLiteral("cannot write %1: no such folder").arg(path);
    if (file.exists() && !file.isWritable())
        return QStringLiteral("cannot write %1: permission denied").arg(path);
    // Files are written by replacing them, so the folder must take a new file too.
    if (!folder.isWritable())
        return QStringLiteral("cannot write %1: its folder is not writable").arg(path);
    return {};
}

QString checkOutputPaths(const QStringList &paths)
{
    for (const QString &path : paths) {
        if (QString err = checkOutputPath(path); !err.isNull())
            return err;
    }
    return {};
}

} // namespace orel::cli
