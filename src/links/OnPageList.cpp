#include "links/OnPageList.h"

#include <algorithm>

namespace orel {

namespace {

bool sameString(const QString &a, const QString &b)
{
    return a.constData() == b.constData() && a.size() == b.size() && a.isNull() == b.isNull();
}

} // namespace

// Consecutive calls pass the same page strings (every link of the page being read), so the last
// shared pair is reused while its texts are the very same string data; anything else gets its
// own.
OnPageList::Ref OnPageList::share(const QString &url, const QString &name, LastPage &last)
{
    if (last.page && sameString(last.url, url) && sameString(last.name, name))
        return last.page;
    last.page = Ref(new Page(url, name));
    last.url = url;
    last.name = name;
    return last.page;
}

// The URL of an entry is set before its title while a page is read, so URL and title each keep
// their own last pair: the title's is the page's finished one.
void OnPageList::setUrl(Entry &e, const QString &url, LastPage &last)
{
    e.page = share(url, e.page ? e.page->name : QString(), last);
}

void OnPageList::setName(Entry &e, const QString &name, LastPage &last)
{
    e.page = share(e.page ? e.page->url : QString(), name, last);
}

// Texts are appended to the current block until it is full; a text longer than a whole block
// gets one of its own. A block lives as long as an entry refers to it.
void OnPageList::setText(Entry &e, const QString &text)
{
    if (e.textBlock)
        e.textBlock.reset();
    e.textStart = 0;
    e.textBits &= NofollowBit;
    if (text.isNull())
        return;
    constexpr qsizetype BlockChars = 64 * 1024;
    constexpr qsizetype LengthLimit = (qsizetype(1) << (32 - LengthShift)) - 1;
    const qsizetype length = qMin(text.size(), LengthLimit);
    static thread_local TextRef current;
    if (!current || current->chars.capacity() - current->chars.size() < length) {
        current = TextRef(new TextBlock);
        current->chars.reserve(qMax(BlockChars, length));
    }
    QString &chars = current->chars;
    e.textStart = quint32(chars.size());
    chars.append(text.constData(), length);
    e.textBits |= HasTextBit | (quint32(length) << LengthShift);
    e.textBlock = current;
}

OnPageList::Entry &OnPageList::slot(qsizetype column)
{
    static_assert(sizeof(Entry) == 24, "an entry is made for every occurrence");
    if (column == m_entries.size())
        m_entries.emplaceBack();
    return m_entries[column];
}

void OnPageList::resizeEntries()
{
    const qsizetype n = std::max({ m_urls, m_names, m_texts, m_nofollows });
    m_entries.resize(n);
}

void OnPageList::appendUrl(const QString &url)
{
    static thread_local LastPage last;
    setUrl(slot(m_urls), url, last);
    ++m_urls;
}

void OnPageList::appendName(const QString &name)
{
    static thread_local LastPage last;
    setName(slot(m_names), name, last);
    ++m_names;
}

void OnPageList::appendText(const QString &text)
{
    setText(slot(m_texts), text);
    ++m_texts;
}

void OnPageList::appendNofollow(bool nofollow)
{
    quint32 &bits = slot(m_nofollows).textBits;
    bits = nofollow ? bits | NofollowBit : bits & ~NofollowBit;
    ++m_nofollows;
}

QString OnPageList::urlAt(qsizetype i) const
{
    return i >= 0 && i < m_urls ? m_entries[i].page->url : QString();
}

QString OnPageList::nameAt(qsizetype i) const
{
    return i >= 0 && i < m_names ? m_entries[i].page->name : QString();
}

QString OnPageList::textAt(qsizetype i) const
{
    const QStringView text = textView(i);
    // Never null when the entry has a text, also when empty: a block's data pointer is valid from
    // its reservation on.
    return text.isNull() ? QString() : text.toString();
}

QStringView OnPageList::textView(qsizetype i) const
{
    if (i < 0 || i >= m_texts)
        return {};
    const Entry &e = m_entries[i];
    if (!(e.textBits & HasTextBit))
        return {};
    return QStringView(e.textBlock->chars.constData() + e.textStart,
                       qsizetype(e.textBits >> LengthShift));
}

bool OnPageList::nofollowAt(qsizetype i) const
{
    return i >= 0 && i < m_nofollows && (m_entries[i].textBits & NofollowBit);
}

QStringList OnPageList::pageColumn(QString Page::*column, qsizetype count) const
{
    QStringList list;
    list.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        list.append(m_entries[i].page.data()->*column);
    return list;
}

QStringList OnPageList::urls() const
{
    return pageColumn(&Page::url, m_urls);
}

QStringList OnPageList::names() const
{
    return pageColumn(&Page::name, m_names);
}

QStringList OnPageList::texts() const
{
    QStringList list;
    list.reserve(m_texts);
    for (qsizetype i = 0; i < m_texts; ++i)
        list.append(textAt(i));
    return list;
}

QList<bool> OnPageList::nofollows() const
{
    QList<bool> list;
    list.reserve(m_nofollows);
    for (qsizetype i = 0; i < m_nofollows; ++i)
        list.append(nofollowAt(i));
    return list;
}

// Entries past a column's new end keep their old text of it; reads check the column's length.
void OnPageList::setPageColumn(qsizetype &count, const QStringList &list,
                               void (*set)(Entry &, const QString &, LastPage &))
{
    count = 0;
    LastPage last;
    for (const QString &s : list) {
        set(slot(count), s, last);
        ++count;
    }
    resizeEntries();
}

void OnPageList::setUrls(const QStringList &list)
{
    setPageColumn(m_urls, list, &OnPageList::setUrl);
}

void OnPageList::setNames(const QStringList &list)
{
    setPageColumn(m_names, list, &OnPageList::setName);
}

void OnPageList::setTexts(const QStringList &list)
{
    for (Entry &e : m_entries)
        setText(e, QString());
    m_texts = 0;
    for (const QString &s : list)
        appendText(s);
    resizeEntries();
}

void OnPageList::setNofollows(const QList<bool> &list)
{
    for (Entry &e : m_entries)
        e.textBits &= ~NofollowBit;
    m_nofollows = 0;
    for (bool b : list)
        appendNofollow(b);
    resizeEntries();
}

bool OnPageList::containsUrl(const QString &url) const
{
    for (qsizetype i = 0; i < m_urls; ++i) {
        if (m_entries[i].page->url == url)
            return true;
    }
    return false;
}

bool OnPageList::containsName(const QString &name) const
{
    for (qsizetype i = 0; i < m_names; ++i) {
        if (m_entries[i].page->name == name)
            return true;
    }
    return false;
}

void OnPageList::clear()
{
    m_entries = QList<Entry>();
    m_urls = m_names = m_texts = m_nofollows = 0;
}

} // namespace orel
