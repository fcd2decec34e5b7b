#include "links/ArchiveName.h"

#include <QUrl>

namespace orel {

QString archiveFileNameForUrl(const QString &actualUrl)
{
    const QUrl url(actualUrl);
    // Lengths as the URL text shows them: "://" plus one "/" after the host make the 4.
    const qsizetype schemeLength = url.scheme().size();
    const qsizetype hostLength = url.host(QUrl::FullyEncoded).size();
    const qsizetype start = schemeLength + hostLength + 4;
    QString name = start < actualUrl.size() ? actualUrl.mid(start) : actualUrl.mid(7);
    name.replace(QLatin1Char('/'), QLatin1String("%2F"));
    return name;
}

bool isSafeArchiveFileName(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return false;
    if (name.contains(QLatin1Char('/')) || name.contains(QChar(0)))
        return false;
    return name.toUtf8().size() <= 255; // NAME_MAX of the usual Linux file systems
}

} // namespace orel
