#include "engine/HrefResolver.h"

#include "engine/CrawlScope.h"

namespace orel {

namespace {

// Characters that stand for themselves in every form of a URL path.
bool isPlainPath(QStringView text)
{
    for (QChar c : text) {
        const char16_t u = c.unicode();
        const bool plain = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9')
                || u == '-' || u == '.' || u == '_' || u == '~' || u == '/';
        if (!plain)
            return false;
    }
    return true;
}

void removeLastSegment(QString &out)
{
    const qsizetype slash = out.lastIndexOf(QLatin1Char('/'));
    out.truncate(slash < 0 ? 0 : slash);
}

} // namespace

HrefResolver::HrefResolver(const QUrl &base) : m_base(base)
{
    const QString scheme = base.scheme();
    if ((scheme != QLatin1String("http") && scheme != QLatin1String("https")) || !base.isValid()
        || base.host().isEmpty() || !base.userInfo().isEmpty())
        return;
    const QString path = base.path(QUrl::FullyEncoded);
    if (!isPlainPath(path) || (!path.isEmpty() && !path.startsWith(QLatin1Char('/'))))
        return;
    m_origin = QString::fromLatin1(base.toEncoded(QUrl::RemovePath | QUrl::RemoveQuery
                                                  | QUrl::RemoveFragment));
    if (m_origin.endsWith(QLatin1Char('/')))
        m_origin.chop(1);
    m_folder = path.left(path.lastIndexOf(QLatin1Char('/')) + 1);
    if (m_folder.isEmpty())
        m_folder = QStringLiteral("/");
    m_plainBase = true;
}

std::optional<QString> HrefResolver::resolve(const QString &href) const
{
    if (!m_plainBase || href.isEmpty() || href.startsWith(QLatin1String("//"))
        || !isPlainPath(href))
        return CrawlScope::resolveHref(m_base, href);
    QString path = href.startsWith(QLatin1Char('/')) ? href : m_folder + href;
    if (path.contains(QLatin1String("/.")))
        path = removeDotSegments(path);
    return m_origin + path;
}

QString HrefResolver::removeDotSegments(const QString &path)
{
    QString in = path;
    QString out;
    out.reserve(path.size());
    while (!in.isEmpty()) {
        if (in.startsWith(QLatin1String("../"))) {
            in.remove(0, 3);
        } else if (in.startsWith(QLatin1String("./"))) {
            in.remove(0, 2);
        } else if (in.startsWith(QLatin1String("/./"))) {
            in.remove(0, 2);
        } else if (in == QLatin1String("/.")) {
            in = QStringLiteral("/");
        } else if (in.startsWith(QLatin1String("/../"))) {
            in.remove(0, 3);
            removeLastSegment(out);
        } else if (in == QLatin1String("/..")) {
            in = QStringLiteral("/");
            removeLastSegment(out);
        } else if (in == QLatin1String(".") || in == QLatin1String("..")) {
            in.clear();
        } else {
            const qsizetype next = in.indexOf(QLatin1Char('/'), in.startsWith(QLatin1Char('/')) ? 1 : 0);
            if (next < 0) {
                out += in;
                in.clear();
            } else {
                out += QStringView(in).left(next);
                in.remove(0, next);
            }
        }
    }
    return out;
}

} // namespace orel
