// The locate report of a link on one of its pages.
#include "reports/LocateReport.h"

#include "links/LinkCheckerUrl.h"
#include "reports/LinkResults.h"

#include <QSet>

namespace orel {

namespace {

// The alt text that follows an image marker in a link text ("[linked img]" is 13 characters
// with its blank, "[img src]" 9).
QString textAfter(const QString &text, qsizetype from)
{
    return text.size() > from ? text.mid(from) : QString();
}

QString linkItem(const LinkCheckerUrl &record, const QString &page, const QString &title,
                 const QString &text)
{
    const QString status = record.getStatus();
    const QString url = record.getLinkUrl();
    if (text.contains(QLatin1String("[img src]")))
        return QStringLiteral("<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> "
                              "(%2) our image has url: \"%3\", alt text: \"%4\" and status: "
                              "%5</li></ul>")
                .arg(page, title, url, textAfter(text, 9), status);
    if (text.contains(QLatin1String("[linked img]")))
        return QStringLiteral("<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> "
                              "(%2) our link has target url: \"%3\", is an image with alt text: "
                              "\"%4\" and status: %5</li></ul>")
                .arg(page, title, url, textAfter(text, 13), status);
    return QStringLiteral("<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> (%2) "
                          "our link has target url: \"%3\", link text: \"%4\" and status: "
                          "%5</li></ul>")
            .arg(page, title, url, text, status);
}

QString occurrenceSentences(const LinkCheckerUrl &record, const QString &page)
{
    qsizetype same = 0;
    for (qsizetype i = 0; i < record.onPageCount(); ++i) {
        if (record.onPageUrlAt(i) == page)
            ++same;
    }
    const qsizetype others = record.onPageCount() - same;
    QString out = QStringLiteral("<p>&nbsp;</p><p>");
    if (same - 1 > 0)
        out += QStringLiteral("The same link also appears on this page %1 more time").arg(same - 1)
                + (same - 1 > 1 ? QStringLiteral("s") : QString()) + QStringLiteral(". ");
    if (others > 0)
        out += QStringLiteral("There are %1 occurrences of this link on other page").arg(others)
                + (others > 1 ? QStringLiteral("s") : QString()) + QStringLiteral(". ");
    return out + QStringLiteral("</p>");
}

QString routeItem(const QString &page, const QString &title, const QString &text)
{
    if (text.contains(QLatin1String("[linked img]")))
        return QStringLiteral("<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> "
                              "(%2) click the image with alt text: \"%3\"</li></ul>")
                .arg(page, title, textAfter(text, 13));
    return QStringLiteral("<ul><li>On the page <a href = \"%1\" target = \"Orrelwick\">%1</a> (%2) "
                          "click the link with text: \"%3\"</li></ul>")
            .arg(page, title, text);
}

} // namespace

QString locateReport(const LinkResults &results, const LinkCheckerUrl &record, int pageIndex)
{
    if (pageIndex < 0 || pageIndex >= record.onPageCount())
        return {};
    const QString page = record.onPageUrlAt(pageIndex);
    const QString heading =
            QStringLiteral("<h1>Locating the link with target url: \"%1\" on the page: "
                           "\"%2\". It has status: %3.</h1><p>There may be other routes "
                           "through to this link, this is the shortest.</p>")
                    .arg(record.getLinkUrl(), page, record.getStatus());
    QString body = linkItem(record, page, record.onPageNameAt(pageIndex),
                            record.onPageLinkTextAt(pageIndex));
    if (record.onPageCount() > 1)
        body += occurrenceSentences(record, page);

    // Each page was first found on the page before it; the start page ends the walk.
    QString route;
    QSet<const LinkCheckerUrl *> seen;
    for (const LinkCheckerUrl *step = results.getLinkCheckerUrlWithUrl(page);
         step && !step->isStartingPoint() && step->onPageCount() > 0 && !seen.contains(step);
         step = results.getLinkCheckerUrlWithUrl(step->onPageUrlAt(0))) {
        seen.insert(step);
        route.prepend(
                routeItem(step->onPageUrlAt(0), step->onPageNameAt(0), step->onPageLinkTextAt(0)));
    }
    // The heading leads; the route goes in front of the link's own item.
    return QStringLiteral("<style>li,p,h1{font-family:arial;}h1{font-size:1em;}</style>") + heading
            + route + body;
}

} // namespace orel
