#include "common/UrlResolution.h"

#include <QStringList>

namespace orel {

namespace {

// Whether removing the dot segments of an absolute path meets a ".." with no segment before it
// to remove.
bool climbsAboveRoot(QStringView path)
{
    qsizetype depth = 0;
    for (qsizetype from = 1; from <= path.size();) {
        qsizetype end = path.indexOf(u'/', from);
        if (end < 0)
            end = path.size();
        const QStringView segment = path.sliced(from, end - from);
        if (segment == u"..") {
            if (depth == 0)
                return true;
            --depth;
        } else if (segment != u".") {
            ++depth;
        }
        from = end + 1;
    }
    return false;
}

// The path of the absolute URL that relative makes against base, before dot segments are
// removed (the merge of RFC 3986, 5.2.2).
QString mergedPath(const QUrl &base, const QUrl &relative, const QString &href)
{
    const QString path = relative.path(QUrl::FullyEncoded);
    if (!relative.isRelative() || path.startsWith(QLatin1Char('/'))
        || href.startsWith(QLatin1String("//")))
        return path;
    const QString basePath = base.path(QUrl::FullyEncoded);
    if (path.isEmpty())
        return basePath;
    if (basePath.isEmpty() && !base.authority().isEmpty())
        return QLatin1Char('/') + path;
    return basePath.left(basePath.lastIndexOf(QLatin1Char('/')) + 1) + path;
}

// Removes "." and ".." segments from an absolute path as QUrl does, except that a ".." with no
// segment before it to remove (at the root, or after such a "..") is kept: "/a/../../x" reads
// "/../x".
QString removeDotSegmentsKeepingClimbs(const QString &path)
{
    const QStringList in = path.split(QLatin1Char('/')); // in[0] is "", before the first "/"
    QStringList out;
    for (qsizetype i = 1; i < in.size(); ++i) {
        const QString &segment = in[i];
        const bool last = i + 1 == in.size();
        if (segment == QLatin1String(".")) {
            if (last)
                out.append(QString());
        } else if (segment == QLatin1String("..") && !out.isEmpty()
                   && out.last() != QLatin1String("..")) {
            out.removeLast();
            if (last)
                out.append(QString());
        } else {
            out.append(segment);
        }
    }
    return QLatin1Char('/') + out.join(QLatin1Char('/'));
}

} // namespace

std::optional<QUrl> resolveUrl(const QUrl &base, const QString &href)
{
    const QUrl relative(href, QUrl::TolerantMode);
    if (!relative.isValid())
        return std::nullopt;
    QUrl absolute = base.resolved(relative);
    if (!absolute.isValid() || absolute.isEmpty())
        return std::nullopt;
    // QUrl drops ".." segments that climb above the root, which would turn a link that points
    // nowhere into one to a file at the root; such a link keeps them, so that it is reported as
    // badly formed instead of being fetched. Only a ".." can climb: one in the href or, for a
    // path read against the base's folder, one in the base path.
    if (!href.contains(QLatin1String(".."))) {
        const bool ownPath = !relative.isRelative() || href.startsWith(QLatin1Char('/'));
        if (ownPath || !base.path(QUrl::FullyEncoded).contains(QLatin1String("..")))
            return absolute;
    }
    const QString merged = mergedPath(base, relative, href);
    if (!merged.startsWith(QLatin1Char('/')) || !climbsAboveRoot(merged))
        return absolute;
    absolute.setPath(removeDotSegmentsKeepingClimbs(merged), QUrl::TolerantMode);
    if (!absolute.isValid())
        return std::nullopt;
    return absolute;
}

} // namespace orel
