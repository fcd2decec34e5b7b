#include "links/OnPageList.h"

#include <algorithm>

namespace orel {

// Consecutive calls pass the same page string (every link of the page being read), so the last
// shared copy is reused while its text is the very same string data; anything else gets its own.
OnPageList::Ref OnPageList::share(const QString &s, Ref &last)
{
    if (last && last->text.constData() == s.constData() && last->text.size() == s.size()
        && last->text.isNull() == s.isNull())
        return last;
    last = Ref(new Shared(s));
    return last;
}

OnPageList::Entry &OnPageList::slot(qsizetype column)
{
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
    static thread_local Ref last;
    slot(m_urls).url = share(url, last);
    ++m_urls;
}

void OnPageList::appendName(const QString &name)
{
    static thread_local Ref last;
    slot(m_names).name = share(name, last);
    ++m_names;
}

void OnPageList::appendText(const QString &text)
{
    slot(m_texts).text = text;
    ++m_texts;
}

void OnPageList::appendNofollow(bool nofollow)
{
    slot(m_nofollows).nofollow = nofollow;
    ++m_nofollows;
}

QString OnPageList::urlAt(qsizetype i) const
{
    return i >= 0 && i < m_urls ? m_entries[i].url->text : QString();
}

QString OnPageList::nameAt(qsizetype i) const
{
    return i >= 0 && i < m_names ? m_entries[i].name->text : QString();
}

QString OnPageList::textAt(qsizetype i) const
{
    return i >= 0 && i < m_texts ? m_entries[i].text : QString();
}

bool OnPageList::nofollowAt(qsizetype i) const
{
    return i >= 0 && i < m_nofollows && m_entries[i].nofollow;
}

QStringList OnPageList::sharedColumn(Ref Entry::*column, qsizetype count) const
{
    QStringList list;
    list.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        list.append((m_entries[i].*column)->text);
    return list;
}

QStringList OnPageList::urls() const
{
    return sharedColumn(&Entry::url, m_urls);
}

QStringList OnPageList::names() const
{
    return sharedColumn(&Entry::name, m_names);
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

void OnPageList::setShared(Ref Entry::*column, qsizetype &count, const QStringList &list)
{
    for (Entry &e : m_entries)
        (e.*column).reset();
    count = 0;
    Ref last;
    for (const QString &s : list) {
        slot(count).*column = share(s, last);
        ++count;
    }
    resizeEntries();
}

void OnPageList::setUrls(const QStringList &list)
{
    setShared(&Entry::url, m_urls, list);
}

void OnPageList::setNames(const QStringList &list)
{
    setShared(&Entry::name, m_names, list);
}

void OnPageList::setTexts(const QStringList &list)
{
    for (Entry &e : m_entries)
        e.text = QString();
    m_texts = 0;
    for (const QString &s : list)
        appendText(s);
    resizeEntries();
}

void OnPageList::setNofollows(const QList<bool> &list)
{
    for (Entry &e : m_entries)
        e.nofollow = false;
    m_nofollows = 0;
    for (bool b : list)
        appendNofollow(b);
    resizeEntries();
}

bool OnPageList::containsUrl(const QString &url) const
{
    for (qsizetype i = 0; i < m_urls; ++i) {
        if (m_entries[i].url->text == url)
            return true;
    }
    return false;
}

bool OnPageList::containsName(const QString &name) const
{
    for (qsizetype i = 0; i < m_names; ++i) {
        if (m_entries[i].name->text == name)
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
