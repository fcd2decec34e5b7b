// Fragment checking of a crawl: the names each internal page offers and the "page#name" records
// that wait for their page to be read; main thread.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>

#include <vector>

namespace orel {

class LinkCheckerUrl;

// A link "page#name" keeps the one record of its page, which is fetched as before, and gets a
// second record of its own under the key "page key#name". That record is never fetched: once
// the page's fetch has ended it takes its verdict from the page, so each missing name is
// reported with the pages that use it, while the page is still fetched once.
class AnchorCheck
{
public:
    struct Decisions
    {
        std::vector<LinkCheckerUrl *> decided; // waited for the page, now have a status
        std::vector<LinkCheckerUrl *> changed; // decided before, given another status now
    };
    // The page's fetch has ended (its body, when it had one, is still there): its names are
    // kept when it is an HTML page, and the records waiting for it are decided. A page fetched
    // again (a re-check, status only) keeps the names read before and decides its records anew.
    Decisions pageDone(LinkCheckerUrl *page);

    // A new fragment record for page: decided at once when the page's fetch has already ended
    // (answers true), else it waits for pageDone().
    bool track(LinkCheckerUrl *fragmentRecord, LinkCheckerUrl *page, const QByteArray &fragment);

    // Records made by track(): never fetched.
    bool isFragmentRecord(const LinkCheckerUrl *record) const
    {
        return m_fragments.contains(record);
    }

    // The status a fragment record takes: the page's own when the page failed or is not HTML,
    // "missing anchor" when the page has no such name.
    static QString verdict(const LinkCheckerUrl &page, bool pageIsHtml,
                           const std::vector<quint64> &names, const QByteArray &fragment);

private:
    struct Waiting
    {
        LinkCheckerUrl *record;
        QByteArray fragment; // as written in the link, percent-encoded
    };
    struct Page
    {
        bool done = false;
        bool html = false;
        std::vector<quint64> names; // see AnchorNames
        std::vector<Waiting> waiting;
        std::vector<Waiting> decided;
    };

    QHash<const LinkCheckerUrl *, Page> m_pages;
    QSet<const LinkCheckerUrl *> m_fragments;
};

} // namespace orel
