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

} // namespace orel
