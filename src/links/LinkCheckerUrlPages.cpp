// The pages a link record appears on: its on-page lists, their renderings and the inspector's
// appears-on table.
#include "links/LinkCheckerUrl.h"

#include "common/Localize.h"
#include "common/Log.h"
#include "links/LinkCheckerUrlExtras.h"
#include "links/LinkOwner.h"

namespace orel {

namespace {

QString anchor(const QString &target, const QString &text, bool blanksAroundEquals)
{
    const char *format = blanksAroundEquals ? "<a href = \"%1\" target=\"_blank\">%2</a>"
                                            : "<a href=\"%1\" target=\"_blank\">%2</a>";
    return QString::fromLatin1(format).arg(target, text);
}

} // namespace

// ---- On-page lists ---------------------------------------------------------------------------

void LinkCheckerUrl::addOnPageUrl(const QString &page)
{
    QString stored = page;
    if (page.isNull()) {
        log(QStringLiteral("null string submitted to url:%1").arg(getActualLinkUrl()));
        stored = QStringLiteral("no url");
    } else if (page.isEmpty()) {
        log(QStringLiteral("empty string submitted to url:%1").arg(getActualLinkUrl()));
        stored = QStringLiteral("no url");
    }
    m_onPage.appendUrl(stored);
    m_listsHaveChanged = true;
    if (m_owner)
        m_owner->addLink(this, stored);
}

void LinkCheckerUrl::addOnPageName(const QString &name)
{
    if (name.isNull()) {
        static const QString untitled = QStringLiteral("untitled");
        m_onPage.appendName(untitled);
        return;
    }
    m_onPage.appendName(name);
}

void LinkCheckerUrl::addOnPageLinkText(const QString &text)
{
    // The record's own link text stays what it was, not this occurrence's.
    if (m_linkTextIsLastOccurrence)
        setLinkText(getLinkText());
    if (text.isNull()) {
        log(QStringLiteral("null string submitted to url:%1").arg(getActualLinkUrl()));
        static const QString noText = QStringLiteral("no text");
        m_onPage.appendText(noText);
        return;
    }
    m_onPage.appendText(text);
}

void LinkCheckerUrl::addLinkTextOccurrence(const QString &text)
{
    if (text.isNull()) {
        setLinkText(text);
        addOnPageLinkText(text);
        return;
    }
    m_onPage.appendText(text);
    if (!m_linkTextIsLastOccurrence) {
        m_linkText = QString();
        m_linkTextIsLastOccurrence = true;
    }
}

QString LinkCheckerUrl::getLinkText() const
{
    return m_linkTextIsLastOccurrence ? m_onPage.textAt(m_onPage.textCount() - 1) : m_linkText;
}

void LinkCheckerUrl::setLinkText(const QString &text)
{
    m_linkText = text;
    m_linkTextIsLastOccurrence = false;
}

void LinkCheckerUrl::addNofollow(bool nofollow)
{
    m_onPage.appendNofollow(nofollow);
}

void LinkCheckerUrl::addLinkedImage(LinkCheckerUrl *image)
{
    if (image)
        extras().linkedImages.append(image);
}

void LinkCheckerUrl::setOnPageUrl(const QStringList &list)
{
    m_onPage.setUrls(list);
    m_listsHaveChanged = true;
}

void LinkCheckerUrl::setOnPageName(const QStringList &list)
{
    m_onPage.setNames(list);
}

void LinkCheckerUrl::setOnPageLinkText(const QStringList &list)
{
    if (m_linkTextIsLastOccurrence)
        setLinkText(getLinkText());
    m_onPage.setTexts(list);
}

void LinkCheckerUrl::setNofollowArray(const QList<bool> &list)
{
    m_onPage.setNofollows(list);
}

QString LinkCheckerUrl::onPageUrlAt(qsizetype i) const
{
    return i >= 0 && i < m_onPage.urlCount() ? m_onPage.urlAt(i) : emptyString();
}

QString LinkCheckerUrl::onPageNameAt(qsizetype i) const
{
    return i >= 0 && i < m_onPage.nameCount() ? m_onPage.nameAt(i) : emptyString();
}

QString LinkCheckerUrl::onPageLinkTextAt(qsizetype i) const
{
    return i >= 0 && i < m_onPage.textCount() ? m_onPage.textAt(i) : emptyString();
}

bool LinkCheckerUrl::isOnPage(const QString &page) const
{
    return m_onPage.containsUrl(page);
}

bool LinkCheckerUrl::appearsOn(const LinkCheckerUrl *page) const
{
    if (!page)
        return false;
    const QString url = page->getActualLinkUrl();
    if (url.isEmpty())
        log(QStringLiteral("%1 has actualLinkUrl length<1").arg(page->getLinkUrl()));
    return m_onPage.containsUrl(url);
}

const QList<LinkCheckerUrl *> &LinkCheckerUrl::getLinkedImages() const
{
    static const QList<LinkCheckerUrl *> none;
    return m_extra ? m_extra->linkedImages : none;
}

QStringList LinkCheckerUrl::getOnPagesArray() const
{
    return (m_owner && m_owner->displayPageTitle()) ? m_onPage.names() : m_onPage.urls();
}

qsizetype LinkCheckerUrl::onPagesArrayCount() const
{
    return (m_owner && m_owner->displayPageTitle()) ? m_onPage.nameCount() : m_onPage.urlCount();
}

QStringView LinkCheckerUrl::onPagesArrayView(qsizetype i) const
{
    return (m_owner && m_owner->displayPageTitle()) ? m_onPage.nameView(i) : m_onPage.urlView(i);
}

QString LinkCheckerUrl::getLastOnPageUrl() const
{
    return m_onPage.urlCount() == 0 ? emptyString() : m_onPage.urlAt(m_onPage.urlCount() - 1);
}

QString LinkCheckerUrl::getOnPages() const
{
    return m_onPage.urlCount() == 0 ? emptyString() : m_onPage.urls().join(QLatin1Char('\r'));
}

QString LinkCheckerUrl::getOnPageUrl() const
{
    if ((m_onPage.urlCount() == 0))
        return emptyString();
    if (m_onPage.urlCount() == 1) {
        if (m_owner && m_owner->displayPageTitle())
            return onPageNameAt(0);
        return m_onPage.urlAt(0);
    }
    return QString::number(m_onPage.urlCount()) + QLatin1Char(' ')
            + localizedOften("occurrences over more than one page");
}

QString LinkCheckerUrl::getOnPageName() const
{
    if ((m_onPage.urlCount() == 0))
        return emptyString();
    if (m_onPage.urlCount() == 1)
        return onPageNameAt(0);
    return QString::number(m_onPage.urlCount()) + QLatin1Char(' ')
            + localizedOften("occurrences over more than one page");
}

QString LinkCheckerUrl::getOnPagesHTML() const
{
    if ((m_onPage.urlCount() == 0))
        return emptyString();
    const bool titles = m_owner && m_owner->displayPageTitle();
    QStringList anchors;
    anchors.reserve(m_onPage.urlCount());
    for (qsizetype i = 0; i < m_onPage.urlCount(); ++i) {
        const QString &url = m_onPage.urlAt(i);
        anchors.append(anchor(url, titles ? onPageNameAt(i) : url, true));
    }
    return anchors.join(QLatin1String("<br />"));
}

QString LinkCheckerUrl::getOnPagesCSV() const
{
    return getOnPagesArray().join(QLatin1Char('\r'));
}

QString LinkCheckerUrl::getOnPagesText() const
{
    return getOnPagesArray().join(QLatin1Char(','));
}

QString LinkCheckerUrl::getLinkUrlHTML() const
{
    return anchor(m_nsslinkUrl, m_nsslinkUrl, false);
}

QString LinkCheckerUrl::getLinkRedirHTML() const
{
    return anchor(m_nssredir, m_nssredir, false);
}

// ---- Appears-on table ------------------------------------------------------------------------

QStringView LinkCheckerUrl::onPageShownView(qsizetype i) const
{
    if (i < 0 || i >= m_onPage.urlCount())
        return {};
    return m_owner && m_owner->displayPageTitle() ? m_onPage.nameView(i) : m_onPage.urlView(i);
}

QString LinkCheckerUrl::objectValueForTableColumn(const QString &columnId, int row) const
{
    if (row < 0 || row >= m_onPage.urlCount())
        return emptyString();
    if (columnId == QLatin1String("1")) {
        if (m_owner && m_owner->displayPageTitle())
            return onPageNameAt(row);
        return m_onPage.urlAt(row);
    }
    return onPageLinkTextAt(row);
}

QString LinkCheckerUrl::highlightBadLinksInSelectedPageOrVisitOnPage()
{
    if (m_owner && m_owner->shouldHighlight()) {
        m_owner->highlightBadLinksInSelectedPage(this);
        return QString();
    }
    return onPageUrlAt(m_lastClickedOnPage);
}

void LinkCheckerUrl::inspect()
{
    if (m_owner)
        m_owner->showInspector(this);
}
} // namespace orel
