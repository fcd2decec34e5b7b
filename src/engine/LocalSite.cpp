// Root-relative links and folder pages of a site read from its folder.
#include "engine/LocalSite.h"

#include "common/SettingsControls.h"
#include "links/UrlRequest.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace orel {

namespace {

// The local path a start text or URL names; empty when it names none.
QString localPathOf(const QString &text)
{
    if (text.startsWith(QLatin1String("file:"), Qt::CaseInsensitive))
        return QUrl(text).toLocalFile();
    if (text.startsWith(QLatin1Char('/')))
        return text;
    return {};
}

} // namespace

LocalSite::LocalSite(const QString &folder)
    : m_folder(folder), m_rootResolver(QUrl::fromLocalFile(folder + QLatin1Char('/')))
{ }

std::unique_ptr<LocalSite> LocalSite::forRoot(const QString &root)
{
    // A folder may be named relative to the working folder (a command line's argument).
    const QString text = root.trimmed();
    const QString path =
            text.startsWith(QLatin1String("file:"), Qt::CaseInsensitive) ? localPathOf(text) : text;
    if (path.isEmpty() || !QFileInfo(path).isDir())
        return nullptr;
    QString folder = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (folder.endsWith(QLatin1Char('/')))
        folder.chop(1); // the file system's root
    return std::unique_ptr<LocalSite>(new LocalSite(folder));
}

bool LocalSite::startInFolder(SettingsControls &controls)
{
    const QString path = localPathOf(controls.urlField.trimmed());
    if (path.isEmpty() || !QFileInfo(path).isDir())
        return false;
    const QString folder = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    controls.urlField = QDir(folder).filePath(QStringLiteral("index.html"));
    if (controls.localSiteRoot.trimmed().isEmpty())
        controls.localSiteRoot = folder;
    return true;
}

bool LocalSite::containsPath(const QString &path) const
{
    return path == m_folder
            || (path.startsWith(m_folder) && path.size() > m_folder.size()
                && (path.at(m_folder.size()) == QLatin1Char('/') || m_folder.isEmpty()));
}

bool LocalSite::contains(const QUrl &url) const
{
    return url.isLocalFile() && containsPath(QDir::cleanPath(url.toLocalFile()));
}

void LocalSite::prepare(UrlRequest &request) const
{
    const QUrl url(request.url);
    if (!url.isLocalFile())
        return;
    const QString path = url.toLocalFile();
    if (!containsPath(QDir::cleanPath(path)) || !QFileInfo(path).isDir())
        return;
    request.folderIndex = true;
    if (!url.path().endsWith(QLatin1Char('/'))) {
        QUrl withSlash = url;
        withSlash.setPath(url.path() + QLatin1Char('/'));
        request.url = withSlash.toString(QUrl::FullyEncoded);
    }
}

} // namespace orel
