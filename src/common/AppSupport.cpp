#include "common/AppSupport.h"

#include "common/Localize.h"

#include <QDir>

namespace orel {

QString AppSupport::folder()
{
    const QByteArray home = qgetenv("ORRELWICK_HOME");
    if (!home.isEmpty())
        return QDir::cleanPath(QString::fromLocal8Bit(home));
    QString path = localizedKestovan("~/.local/share/Orrelwick");
    if (path.startsWith(QLatin1Char('~')))
        path = QDir::homePath() + path.mid(1);
    return QDir::cleanPath(path);
}

QString AppSupport::archiveFolder()
{
    return folder() + QStringLiteral("/archive");
}

QString AppSupport::tempFolder()
{
    return folder() + QStringLiteral("/temp");
}

QString AppSupport::thumbsFolder()
{
    return folder() + QStringLiteral("/thumbs");
}

QString AppSupport::lastUsedFile()
{
    return folder() + QStringLiteral("/lastused");
}

bool AppSupport::ensureFolder()
{
    return QDir().mkpath(folder());
}

} // namespace orel
