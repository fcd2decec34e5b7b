// A generated site of the results benchmark: pages of HTML with a menu repeated on every page,
// links between pages, and links to downloads and to other sites, a share of which are broken.
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <optional>

namespace orel::bench {

// Every page carries the same number of links (the first pages one more when the occurrences do
// not divide evenly): the menu (home and sections, the first pages of the site), links to other
// pages (next, previous, its section and pages picked at random) and links to leaves. Leaves are
// the records that are not pages: downloads on the site and pages of other sites, half each.
// Each page links a few leaves of its own, so that every leaf is found; its other leaf links
// favour a few popular leaves, as shared resources and partner sites are on a real site.
class SyntheticSite
{
public:
    struct Shape
    {
        qint64 records = 1'000'000;
        qint64 pages = 100'000;
        qint64 occurrences = 10'000'000;
        int menu = 30;
    };

    // What a fetch of a record answers.
    struct Answer
    {
        QString status; // "404 not found", or a failure text
        bool html = true;
        std::optional<QString> redirect; // the target of a "301" answered before the status
        bool bad = false;
    };

    // Answers a description of what is wrong when the shape cannot be built.
    static std::optional<QString> check(const Shape &shape);
    explicit SyntheticSite(const Shape &shape);

    const Shape &shape() const { return m_shape; }
    qint64 leaves() const { return m_leaves; }
    qint64 badLeaves() const { return m_badLeaves; }
    int linksOnPage(qint64 page) const;
    int menuLinks() const { return m_menu; }
    int pageLinks() const { return m_pageLinks; }
    static QString host() { return QStringLiteral("site.test"); }
    static QString homeUrl() { return QStringLiteral("http://site.test/"); }

    QString pageUrl(qint64 page) const;
    QString leafUrl(qint64 leaf) const;
    // The page body, written into html (its buffer reused from page to page).
    void pageHtml(qint64 page, QByteArray &html) const;

    // A record's URL read back: a page's number, or a leaf's.
    struct Target
    {
        bool page = false;
        qint64 index = -1;
    };
    std::optional<Target> target(const QString &url) const;
    Answer answer(const Target &target) const;

private:
    qint64 sectionOf(qint64 page) const;
    QByteArray pagePath(qint64 page) const;
    void appendLeafLink(qint64 leaf, QByteArray &html) const;
    void appendPageLink(qint64 page, QByteArray &html) const;
    qint64 popularLeaf(qint64 page, int slot) const;
    qint64 randomPage(qint64 page, int slot) const;
    bool isBadLeaf(qint64 leaf) const;

    Shape m_shape;
    qint64 m_leaves;
    qint64 m_badLeaves;
    qint64 m_badStride;
    int m_menu;
    int m_perPage;
    int m_extra; // pages with one more leaf link
    int m_pageLinks;
    int m_ownLeaves; // leaves each page links first, so that every leaf is found
};

} // namespace orel::bench
