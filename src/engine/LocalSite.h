// A built static site checked from its folder: root-relative links resolve inside the folder and
// a folder link reads its index.html, as a web server would serve them; main thread.
#pragma once

#include "engine/HrefResolver.h"

#include <QString>

#include <memory>

class QUrl;

namespace orel {

class SettingsControls;
struct UrlRequest;

class LocalSite
{
public:
    // The site in root (a folder: a path, relative to the working folder or not, or a file://
    // URL); none when root is empty or names no folder.
    static std::unique_ptr<LocalSite> forRoot(const QString &root);

    // A start that names a folder (a path or a file:// URL) becomes the folder's index.html, and
    // the folder becomes the site root unless one is set already. Answers whether it did.
    static bool startInFolder(SettingsControls &controls);

    // "/css/a.css" but not "//host/a.css".
    static bool isRootRelative(const QString &href)
    {
        return href.startsWith(QLatin1Char('/')) && !href.startsWith(QLatin1String("//"));
    }

    // Whether the file:// URL lies in the site's folder.
    bool contains(const QUrl &url) const;
    // Resolves a root-relative href with its leading "/" removed.
    const HrefResolver &rootResolver() const { return m_rootResolver; }
    // A fetch of a folder of the site reads its index.html; without its trailing "/" the
    // folder is asked for with one, as a server redirects there, so that its page's relative
    // links read against the folder.
    void prepare(UrlRequest &request) const;

private:
    explicit LocalSite(const QString &folder);
    bool containsPath(const QString &path) const;

    QString m_folder; // absolute and clean, without a trailing "/"
    HrefResolver m_rootResolver;
};

} // namespace orel
