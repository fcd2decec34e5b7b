// Reading a link's href against the URL of its page; any thread (no state).
#pragma once

#include <QString>
#include <QUrl>

#include <optional>

namespace orel {

// The absolute URL of href read against base, as QUrl resolves it, except that ".." segments
// climbing above the root are kept ("/index.html" with "../../a.html" gives "/../../a.html"), so
// that such a link reads as badly formed instead of naming a file at the root. None when href
// is no URL or no absolute URL can be formed.
std::optional<QUrl> resolveUrl(const QUrl &base, const QString &href);

} // namespace orel
