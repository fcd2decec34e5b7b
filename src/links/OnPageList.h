// Where one link appears: per occurrence the page's URL and title, the link's text there and its
// nofollow flag, as four columns; main thread (read from any thread once the crawl has stopped).
#pragma once

#include <QExplicitlySharedDataPointer>
#include <QList>
#include <QSharedData>
#include <QString>
#include <QStringList>
#include <QStringView>

namespace orel {

// A crawl stores millions of occurrences, so they are packed: one array of 24-byte entries per
// record instead of four lists. A page's URL and title are the same for every link on it; each
// entry holds a counted reference to one shared pair of them. Link texts are copied end to end
// into large shared blocks, in the order they are read, instead of one string each; an entry
// keeps its block, where its text starts and how long it is, and its nofollow flag in the same
// word.
//
// The columns normally grow together but need not (a saved list may carry fewer titles than
// pages); each has its own length and reads past it answer empty.
class OnPageList
{
public:
    qsizetype urlCount() const { return m_urls; }
    qsizetype nameCount() const { return m_names; }
    qsizetype textCount() const { return m_texts; }
    qsizetype nofollowCount() const { return m_nofollows; }

    void appendUrl(const QString &url);
    void appendName(const QString &name);
    void appendText(const QString &text);
    void appendNofollow(bool nofollow);

    // Out-of-range reads answer a null string (or false).
    QString urlAt(qsizetype i) const;
    QString nameAt(qsizetype i) const;
    QString textAt(qsizetype i) const;
    bool nofollowAt(qsizetype i) const;
    // The same without a copy, for reading many in a row (a copy of a shared string is an atomic
    // write, which waits for its memory); valid while the list is unchanged.
    QStringView urlView(qsizetype i) const
    {
        return i >= 0 && i < m_urls ? QStringView(m_entries[i].page->url) : QStringView();
    }
    QStringView nameView(qsizetype i) const
    {
        return i >= 0 && i < m_names ? QStringView(m_entries[i].page->name) : QStringView();
    }
    QStringView textView(qsizetype i) const;

    QStringList urls() const;
    QStringList names() const;
    QStringList texts() const;
    QList<bool> nofollows() const;
    void setUrls(const QStringList &list);
    void setNames(const QStringList &list);
    void setTexts(const QStringList &list);
    void setNofollows(const QList<bool> &list);

    // Asks the cache for the entry the next append writes and for the list's header, so that
    // appends to many lists in a row do not wait for each one's memory in turn.
    void prefetchNext() const
    {
        if (m_entries.isEmpty())
            return;
        // The list's header (its reference count is read on every write) sits just before
        // its first entry.
        __builtin_prefetch(reinterpret_cast<const char *>(m_entries.constData()) - 1, 1);
        __builtin_prefetch(m_entries.constData() + m_urls, 1);
    }

    bool containsUrl(const QString &url) const;
    bool containsName(const QString &name) const;
    void clear();

private:
    // A page's URL and title; either may be missing (null) while its column is shorter. Both
    // are copies made with the pair, so that they lie next to it: a view reading a row's page
    // then waits for one place in memory, not three.
    struct Page : QSharedData
    {
        Page(const QString &u, const QString &n) : url(copy(u)), name(copy(n)) { }
        static QString copy(const QString &s)
        {
            return s.isNull() ? s : QString(s.data(), s.size());
        }
        QString url;
        QString name;
    };
    using Ref = QExplicitlySharedDataPointer<Page>;
    // The pair made last and the strings it was made from, which the next call most likely
    // passes again.
    struct LastPage
    {
        Ref page;
        QString url;
        QString name;
    };

    struct TextBlock : QSharedData
    {
        QString chars; // reserved once, never moved
    };
    using TextRef = QExplicitlySharedDataPointer<TextBlock>;

    // textBits: bit 0 the nofollow flag, bit 1 set when the entry has a (possibly empty) text,
    // the rest the text's length in its block from textStart.
    static constexpr quint32 NofollowBit = 1;
    static constexpr quint32 HasTextBit = 2;
    static constexpr int LengthShift = 2;

    struct Entry
    {
        Ref page;
        TextRef textBlock;
        quint32 textStart = 0;
        quint32 textBits = 0;
    };
    friend class QTypeInfo<Entry>;

    static Ref share(const QString &url, const QString &name, LastPage &last);
    static void setUrl(Entry &e, const QString &url, LastPage &last);
    static void setName(Entry &e, const QString &name, LastPage &last);
    static void setText(Entry &e, const QString &text);
    void setPageColumn(qsizetype &count, const QStringList &list,
                       void (*set)(Entry &, const QString &, LastPage &));
    Entry &slot(qsizetype column);
    QStringList pageColumn(QString Page::*column, qsizetype count) const;
    void resizeEntries();

    QList<Entry> m_entries; // relocatable entries: growth reallocates in place where it can
    qsizetype m_urls = 0;
    qsizetype m_names = 0;
    qsizetype m_texts = 0;
    qsizetype m_nofollows = 0;
};

} // namespace orel

// The entries hold only counted pointers and integers, so moving one is a plain byte copy.
template<>
class QTypeInfo<orel::OnPageList::Entry> : public QTypeInfoMerger<orel::OnPageList::Entry, int>
{
public:
    static constexpr bool isRelocatable = true;
    static constexpr bool isComplex = true;
};
