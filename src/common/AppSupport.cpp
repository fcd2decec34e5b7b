#include "common/AppSupport.h"

#include "common/PrivateFile.h"

#include <QDir>
#include <QStandardPaths>

namespace orel {

namespace {

// The folder's name is the program's, in every language.
const QLatin1StringView kFolderName("/Orrelwick");

// $ORRELWICK_HOME when set, else the program's folder in the given base directory.
QString located(QStandardPaths::StandardLocation base)
{
    const QByteArray home = qgetenv("ORRELWICK_HOME");
    if (!home.isEmpty())
        return QDir::cleanPath(QString::fromLocal8Bit(home));
    return QDir::cleanPath(QStandardPaths::writableLocation(base) + kFolderName);
}

} // namespace

QString AppSupport::folder()
{
    return located(QStandardPaths::GenericDataLocation);
}

QString AppSupport::cacheFolder()
{
    return located(QStandardPaths::GenericCacheLocation);
}

QString AppSupport::archiveFolder()
{
    return cacheFolder() + QStringLiteral("/archive");
}

QString AppSupport::tempFolder()
{
    return cacheFolder() + QStringLiteral("/temp");
}

QString AppSupport::thumbsFolder()
{
    return cacheFolder() + QStringLiteral("/thumbs");
}

QString AppSupport::lastUsedFile()
{
    return folder() + QStringLiteral("/lastused");
}

bool AppSupport::ensureFolder()
{
    // It holds saved start URLs (with any password in them) and the FTP details.
    return PrivateFile::makeFolder(folder());
}

} // namespace orel
