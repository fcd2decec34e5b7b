#include "SyntheticSite.h"

#include "links/ReasonPhrase.h"

#include <cmath>

namespace orel::bench {

namespace {

quint64 mix(quint64 x)
{
    x += 0x9e3779b97f4a7c15ULL;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

// A number in [0, 1) fixed by the page and the link's place on it.
double unit(qint64 page, int slot, quint64 salt)
{
    return double(mix((quint64(page) << 16) ^ quint64(slot) ^ (salt << 56)) >> 11) * 0x1.0p-53;
}

void appendNumber(QByteArray &out, qint64 n, int width)
{
    char digits[24];
    int len = 0;
    do {
        digits[len++] = char('0' + n % 10);
        n /= 10;
    } while (n > 0);
    for (int i = len; i < width; ++i)
        out += '0';
    while (len > 0)
        out += digits[--len];
}

// The number at the end of a URL, before any extension or final slash.
qint64 trailingNumber(const QString &url)
{
    qsizetype end = url.size();
    while (end > 0 && !url.at(end - 1).isDigit())
        --end;
    qsizetype start = end;
    while (start > 0 && url.at(start - 1).isDigit())
        --start;
    return start < end ? QStringView(url).sliced(start, end - start).toLongLong() : -1;
}

constexpr const char *kFiller[] = {
    "Read more about this topic in the following pages and resources, which ",
    "cover the background, the details and the questions visitors ask most often. ",
    "Our editors keep this list current; if a link no longer works, please tell us. ",
};

} // namespace

std::optional<QString> SyntheticSite::check(const Shape &s)
{
    if (s.pages < 1 || s.records <= s.pages)
        return QStringLiteral("records must exceed pages, and pages be at least 1");
    if (s.menu < 1)
        return QStringLiteral("the menu needs at least one link");
    const qint64 perPage = s.occurrences / s.pages;
    // Each page links the next, so that every page is found.
    if (perPage / 5 < 2)
        return QStringLiteral("at least 10 occurrences per page are needed");
    const qint64 leaves = s.records - s.pages;
    const qint64 ownLeaves = (leaves + s.pages - 1) / s.pages;
    const qint64 menu = std::min<qint64>(s.menu, s.pages);
    if (perPage - menu - perPage / 5 < ownLeaves)
        return QStringLiteral("too few occurrences: each page needs %1 links to leaves, and has "
                              "%2 after the menu and its links to other pages")
                .arg(ownLeaves)
                .arg(perPage - menu - perPage / 5);
    if (perPage > 60000)
        return QStringLiteral("too many occurrences per page");
    return std::nullopt;
}

SyntheticSite::SyntheticSite(const Shape &shape)
    : m_shape(shape),
      m_leaves(shape.records - shape.pages),
      m_badLeaves(std::min(m_leaves, shape.records / 100)),
      m_badStride(m_badLeaves > 0 ? m_leaves / m_badLeaves : 0),
      m_menu(int(std::min<qint64>(shape.menu, shape.pages))),
      m_perPage(int(shape.occurrences / shape.pages)),
      m_extra(int(shape.occurrences % shape.pages)),
      m_pageLinks(m_perPage / 5),
      m_ownLeaves(int((m_leaves + shape.pages - 1) / shape.pages))
{ }

int SyntheticSite::linksOnPage(qint64 page) const
{
    return m_perPage + (page < m_extra ? 1 : 0);
}

qint64 SyntheticSite::sectionOf(qint64 page) const
{
    return m_menu > 1 ? 1 + page % (m_menu - 1) : 0;
}

QByteArray SyntheticSite::pagePath(qint64 page) const
{
    QByteArray path;
    path.reserve(48);
    if (page == 0) {
        path = "/";
    } else if (page < m_menu) {
        path = "/section-";
        appendNumber(path, page, 2);
        path += '/';
    } else {
        const qint64 section = sectionOf(page);
        if (section > 0) {
            path = "/section-";
            appendNumber(path, section, 2);
            path += "/article-";
        } else {
            path = "/articles/article-";
        }
        appendNumber(path, page, 7);
        path += ".html";
    }
    return path;
}

QString SyntheticSite::pageUrl(qint64 page) const
{
    return QStringLiteral("http://site.test") + QString::fromLatin1(pagePath(page));
}

QString SyntheticSite::leafUrl(qint64 leaf) const
{
    QByteArray url;
    if (leaf % 2 == 0) {
        url = "http://site.test/files/doc-";
        appendNumber(url, leaf, 7);
        url += ".pdf";
    } else {
        url = "https://www.partner-";
        appendNumber(url, (leaf / 2) % 4000, 4);
        url += ".example.org/resources/item-";
        appendNumber(url, leaf, 7);
    }
    return QString::fromLatin1(url);
}

std::optional<SyntheticSite::Target> SyntheticSite::target(const QString &url) const
{
    const qint64 n = trailingNumber(url);
    if (url == homeUrl())
        return Target { true, 0 };
    if (url.startsWith(QLatin1String("https://www.partner-"))
        || url.startsWith(QLatin1String("http://site.test/files/")))
        return n >= 0 && n < m_leaves ? std::optional(Target { false, n }) : std::nullopt;
    if (url.startsWith(QLatin1String("http://site.test/")))
        return n >= 0 && n < m_shape.pages ? std::optional(Target { true, n }) : std::nullopt;
    return std::nullopt;
}

bool SyntheticSite::isBadLeaf(qint64 leaf) const
{
    if (m_badStride <= 0)
        return false;
    if (m_badStride == 1)
        return leaf < m_badLeaves;
    const qint64 b = leaf / m_badStride;
    return b < m_badLeaves && leaf % m_badStride == b % 2;
}

SyntheticSite::Answer SyntheticSite::answer(const Target &t) const
{
    Answer a;
    if (t.page) {
        a.status = statusText(200);
        return a;
    }
    const bool external = t.index % 2 == 1;
    a.html = external;
    if (!isBadLeaf(t.index)) {
        a.status = statusText(200);
        if (external && (t.index / 2) % 33 == 7) {
            QByteArray to = "https://www.partner-";
            appendNumber(to, (t.index / 2) % 4000, 4);
            to += ".example.org/archive/item-";
            appendNumber(to, t.index, 7);
            a.redirect = QString::fromLatin1(to);
        }
        return a;
    }
    a.bad = true;
    if (!external) {
        a.status = statusText(404);
        return a;
    }
    switch ((t.index / m_badStride) % 5) {
    case 0:
    case 1:
        a.status = statusText(404);
        break;
    case 2:
        a.status = statusText(410);
        break;
    case 3:
        a.status = statusText(500);
        break;
    default:
        a.status = QStringLiteral("The request timed out.");
        break;
    }
    return a;
}

qint64 SyntheticSite::popularLeaf(qint64 page, int slot) const
{
    const double u = unit(page, slot, 1);
    return std::min<qint64>(m_leaves - 1, qint64(double(m_leaves) * u * u * u));
}

qint64 SyntheticSite::randomPage(qint64 page, int slot) const
{
    return qint64(mix((quint64(page) << 16) ^ quint64(slot) ^ (2ULL << 56))
                  % quint64(m_shape.pages));
}

void SyntheticSite::appendPageLink(qint64 page, QByteArray &html) const
{
    html += "<a href=\"";
    html += pagePath(page);
    html += "\">";
    if (page == 0) {
        html += "Home";
    } else if (page < m_menu) {
        html += "Section ";
        appendNumber(html, page, 0);
    } else {
        html += "Article ";
        appendNumber(html, page, 0);
    }
    html += "</a>";
}

void SyntheticSite::appendLeafLink(qint64 leaf, QByteArray &html) const
{
    html += "<a href=\"";
    if (leaf % 2 == 0) {
        html += "/files/doc-";
        appendNumber(html, leaf, 7);
        html += ".pdf\">Download document ";
        appendNumber(html, leaf, 0);
        html += " (PDF)</a>";
    } else {
        html += "https://www.partner-";
        appendNumber(html, (leaf / 2) % 4000, 4);
        html += ".example.org/resources/item-";
        appendNumber(html, leaf, 7);
        html += "\" rel=\"external\">Partner resource ";
        appendNumber(html, leaf, 0);
        html += "</a>";
    }
}

void SyntheticSite::pageHtml(qint64 page, QByteArray &html) const
{
    html.resize(0);
    QByteArray title = page == 0 ? QByteArray("Home") : QByteArray();
    if (page > 0) {
        title = page < m_menu ? "Section " : "Article ";
        appendNumber(title, page, 0);
    }
    html += "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>";
    html += title;
    html += " | Site Test</title>\n<meta name=\"description\" content=\"About ";
    html += title;
    html += ", with links to related pages and resources.\">\n"
            "<link rel=\"stylesheet\" href=\"/css/site.css\"><script src=\"/js/site.js\">"
            "</script></head>\n<body><header><nav class=\"menu\"><ul>\n";
    for (int m = 0; m < m_menu; ++m) {
        html += "<li>";
        appendPageLink(m, html);
        html += "</li>\n";
    }
    html += "</ul></nav></header>\n<main>";

    // The page's own links after the menu: its section first (the breadcrumb), then the body,
    // where links to pages (next, previous, then any) are spread among the links to leaves.
    const int leafLinks = linksOnPage(page) - m_menu - m_pageLinks;
    int pageSlot = 0;
    const auto nextPage = [&]() -> qint64 {
        const int slot = pageSlot++;
        if (slot == 0)
            return sectionOf(page);
        if (slot == 1 && page + 1 < m_shape.pages)
            return page + 1;
        if (slot == 2 && page > 0)
            return page - 1;
        return randomPage(page, slot);
    };
    if (m_pageLinks > 0) {
        html += "<nav class=\"breadcrumb\">";
        appendPageLink(nextPage(), html);
        html += "</nav>";
    }
    html += "\n<h1>";
    html += title;
    html += "</h1>\n<p>";
    const int bodyPages = std::max(0, m_pageLinks - 1);
    const int body = bodyPages + leafLinks;
    int leafSlot = 0;
    for (int i = 0; i < body; ++i) {
        if (i > 0 && i % 8 == 0)
            html += "</p>\n<p>";
        html += kFiller[i % 3];
        const bool pageLink = (qint64(i + 1) * bodyPages) / body != (qint64(i) * bodyPages) / body;
        if (pageLink) {
            appendPageLink(nextPage(), html);
        } else {
            const int slot = leafSlot++;
            const qint64 own = page * m_ownLeaves + slot;
            appendLeafLink(slot < m_ownLeaves && own < m_leaves ? own : popularLeaf(page, slot),
                           html);
        }
        html += ' ';
    }
    html += "</p>\n</main><footer><p>Site Test, all rights reserved.</p></footer></body></html>\n";
}

} // namespace orel::bench
