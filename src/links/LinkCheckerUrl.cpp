// Fields, on-page lists, classification, keyed access, sizes, times and SEO counts of a link
// record. URL handling and the fetch delegate live in their own files.
#include "links/LinkCheckerUrl.h"

#include "common/AppSupport.h"
#include "common/LocalFile.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "links/ArchiveName.h"
#include "links/LinkCheckerUrlExtras.h"
#include "links/LinkOwner.h"
#include "links/myNSURLConnection.h"

#include <QLocale>

namespace orel {

namespace {

QString emptyString()
{
    return QString(QLatin1String(""));
}

QString numberOrEmpty(int value, int emptyValue)
{
    return value == emptyValue ? emptyString() : QString::number(value);
}

QString secondsOrEmpty(double seconds)
{
    return seconds == 0 ? emptyString() : QString::asprintf("%g", seconds);
}

QString anchor(const QString &target, const QString &text, bool blanksAroundEquals)
{
    const char *format = blanksAroundEquals ? "<a href = \"%1\" target=\"_blank\">%2</a>"
                                            : "<a href=\"%1\" target=\"_blank\">%2</a>";
    return QString::fromLatin1(format).arg(target, text);
}

} // namespace

LinkCheckerUrl::LinkCheckerUrl(LinkOwner *owner) : m_owner(owner) { }

LinkCheckerUrl::~LinkCheckerUrl()
{
    // A transfer still in flight must not call back into a deleted record.
    if (m_connection && !m_connection->isCancelled())
        m_connection->cancel();
}

LinkCheckerUrl::PageExtras &LinkCheckerUrl::extras()
{
    if (!m_extra)
        m_extra = std::make_unique<PageExtras>();
    return *m_extra;
}

void LinkCheckerUrl::releaseAll()
{
    if (m_connection && !m_connection->isCancelled())
        m_connection->cancel();
    m_connection = nullptr;
    m_owner = nullptr;
    m_extra.reset();
    m_onPage.clear();
    m_data = QByteArray();
    m_linkUrl = QByteArray();
    m_redir = QByteArray();
    m_nsslinkUrl = m_nssredir = QString();
    m_status = m_linkText = m_linkPageTitle = QString();
    m_linkTextIsLastOccurrence = false;
}

void LinkCheckerUrl::clearData()
{
    m_data = QByteArray();
}

void LinkCheckerUrl::setConnection(myNSURLConnection *connection)
{
    m_connection = connection;
}

myNSURLConnection *LinkCheckerUrl::getConnection() const
{
    return m_connection.data();
}

// ---- Status ---------------------------------------------------------------------------------

void LinkCheckerUrl::setStatus(const QString &status)
{
    if (!status.isNull())
        m_status = status;
}

void LinkCheckerUrl::updateStatus(const QString &status)
{
    if (status.isNull())
        return;
    if (m_status.isEmpty())
        m_status = status;
    else
        m_status = status + QLatin1String(" < ") + m_status;
}

namespace {

// The class of a status is its first character read as a digit; anything else counts as 0.
int firstDigit(const QString &status)
{
    if (status.isEmpty())
        return 0;
    const QChar c = status.at(0);
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ? c.unicode() - '0' : 0;
}

bool isNotChecked(const QString &s)
{
    return s == localized("Not checked");
}
bool isFileIsDirectory(const QString &s)
{
    return s == QLatin1String("file is directory");
}
bool isFileDoesntExist(const QString &s)
{
    return s == localized("file doesnt exist");
}
bool isMissingLinkUrl(const QString &s)
{
    return s == localized("missing link url");
}
bool isMcmsZref(const QString &s)
{
    return s == QLatin1String("MCMS zref");
}

} // namespace

// ---- Classification --------------------------------------------------------------------------

// The order of the rules matters: earlier rules shadow later ones (a blacklisted 404 stays a
// client error; "missing link url" falls under the non-numeric rule before its own).
int LinkCheckerUrl::getColour() const
{
    const QString &s = m_status;
    if (s.isEmpty())
        return 0;
    const int digit = firstDigit(s);
    if (digit == 4)
        return 3;
    if (m_owner && m_owner->shouldFlagBlacklisted() && m_isBlacklisted)
        return 2;
    if (isNotChecked(s))
        return 0;
    if (digit == 2)
        return (!m_redir.isEmpty() || m_recursion) ? 2 : 0;
    if (isFileIsDirectory(s))
        return 0;
    if (digit == 0)
        return 4;
    if (digit == 5)
        return 4;
    if (isMissingLinkUrl(s))
        return 3;
    if (digit == 3)
        return 2;
    if (isMcmsZref(s))
        return 4;
    return m_redir.isEmpty() ? 0 : 2;
}

int LinkCheckerUrl::getValidatorColour() const
{
    return getValidatorStatus() == QLatin1String("Invalid") ? 2 : 0;
}

bool LinkCheckerUrl::isGoodLink() const
{
    if (m_status.isEmpty())
        return false;
    const int colour = getColour();
    return colour != 3 && colour != 4;
}

bool LinkCheckerUrl::isErrorPage() const
{
    if (m_status.isEmpty() || isNotChecked(m_status))
        return false;
    return firstDigit(m_status) >= 3;
}

bool LinkCheckerUrl::shouldBeMemberOfBadCollection() const
{
    const QString &s = m_status;
    if (s.isEmpty())
        return true;
    const int digit = firstDigit(s);
    if (digit == 2)
        return true;
    if (isMcmsZref(s))
        return false;
    if (isNotChecked(s) || isFileIsDirectory(s))
        return true;
    if (isFileDoesntExist(s))
        return false;
    if (digit >= 3)
        return false;
    if (digit == 0)
        return false;
    return true;
}

bool LinkCheckerUrl::isExempt() const
{
    return isMcmsZref(m_status) || isNotChecked(m_status) || isMissingLinkUrl(m_status);
}

// The first occurrence decides. A "mixed" answer (2) was intended when occurrences differ, but
// the comparison always read the first entry again; the views have always shown it this way.
int LinkCheckerUrl::isNofollow() const
{
    return m_onPage.nofollowAt(0) ? 1 : 0;
}

QString LinkCheckerUrl::getNofollow() const
{
    switch (isNofollow()) {
    case 1:
        return QStringLiteral("Yes");
    case 2:
        return QStringLiteral("mixed");
    default:
        return QStringLiteral("No");
    }
}

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
            + localized("occurrences over more than one page");
}

QString LinkCheckerUrl::getOnPageName() const
{
    if ((m_onPage.urlCount() == 0))
        return emptyString();
    if (m_onPage.urlCount() == 1)
        return onPageNameAt(0);
    return QString::number(m_onPage.urlCount()) + QLatin1Char(' ')
            + localized("occurrences over more than one page");
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

// ---- Keyed access ----------------------------------------------------------------------------

QString LinkCheckerUrl::getFieldByName(const QString &name) const
{
    const auto is = [&name](const char *key) { return name == QLatin1String(key); };
    if (is("canonical"))
        return getCanonical();
    if (is("changefrequency"))
        return getChangeFrequency();
    if (is("distancefromhome") || is("distance"))
        return QString::number(m_distanceFromHome);
    if (is("filesize"))
        return getFileSize();
    if (is("filesizecompressed"))
        return getFileSizeCompressed();
    if (is("headings"))
        return getHeadings();
    if (is("keywords"))
        return getKeywords();
    if (is("onpageurlarray"))
        return getOnPagesArray().join(QLatin1Char('\r'));
    if (is("onpagename"))
        return getOnPageName();
    if (is("onpageurl"))
        return getOnPageUrl();
    if (is("onpageurlhtml"))
        return getOnPagesHTML();
    if (is("onpageurlcsv"))
        return getOnPagesCSV();
    if (is("onpageurltext"))
        return getOnPagesText();
    if (is("linktext"))
        return getLinkText();
    if (is("linkpagetitle"))
        return m_linkPageTitle;
    if (is("linkurl"))
        return m_nsslinkUrl;
    if (is("actualurl"))
        return getActualLinkUrl();
    if (is("linkurlhtml"))
        return getLinkUrlHTML();
    if (is("linkredirhtml"))
        return getLinkRedirHTML();
    if (is("linkcount"))
        return QString::number(getLinkCount());
    if (is("metadescription"))
        return getMetaDescription();
    if (is("nofollow"))
        return getNofollow();
    if (is("status"))
        return m_status;
    if (is("redir"))
        return m_nssredir;
    if (is("timestamp"))
        return getTimestamp();
    if (is("validatorstatus"))
        return getValidatorStatus();
    if (is("validatorerrors"))
        return numberOrEmpty(getValidatorErrors(), -1);
    if (is("validatorwarnings"))
        return numberOrEmpty(getValidatorWarnings(), -1);
    if (is("wordcount"))
        return numberOrEmpty(m_wordCount, -1);
    if (is("responsetime"))
        return secondsOrEmpty(m_responseTimeInterval);
    if (is("loadtime"))
        return secondsOrEmpty(m_loadTimeInterval);
    if (is("imageweight"))
        return getTotalImageWeight();
    if (is("imageqty"))
        return getImageqty();
    if (is("totalOcurrences"))
        return QString::number(getTotalOccurrences());
    if (is("ocurrencesinarchive"))
        return QString::number(getOcurrencesInArchive());
    return emptyString();
}

float LinkCheckerUrl::getFieldAsNumberByName(const QString &name) const
{
    const auto is = [&name](const char *key) { return name == QLatin1String(key); };
    if (is("distancefromhome"))
        return float(m_distanceFromHome);
    if (is("responsetime"))
        return float(m_responseTimeInterval);
    if (is("loadtime"))
        return float(m_loadTimeInterval);
    if (is("filesize"))
        return float(m_fileSize);
    if (is("filesizecompressed"))
        return float(m_fileSizeCompressed);
    if (is("imageqty"))
        return float(getLinkedImages().size());
    if (is("imageweight"))
        return float(getTotalImageWeightAsNumber());
    if (is("validatorerrors"))
        return float(getValidatorErrors());
    if (is("validatorwarnings"))
        return float(getValidatorWarnings());
    if (is("totalocurrences"))
        return float(getTotalOccurrences());
    if (is("linkcount"))
        return float(getLinkCount());
    if (is("wordcount"))
        return float(m_wordCount);
    return 0;
}

// ---- Plain fields kept in the extras block ---------------------------------------------------

#define OREL_EXTRA_STRING(getter, setter, field)                                                   \
    QString LinkCheckerUrl::getter() const                                                         \
    {                                                                                              \
        return m_extra ? m_extra->field : emptyString();                                           \
    }                                                                                              \
    void LinkCheckerUrl::setter(const QString &text)                                               \
    {                                                                                              \
        if (m_extra || !text.isEmpty())                                                            \
            extras().field = text;                                                                 \
    }

OREL_EXTRA_STRING(getMetaDescription, setMetaDescription, metaDescription)
OREL_EXTRA_STRING(getKeywords, setKeywords, keywords)
OREL_EXTRA_STRING(getHeadings, setHeadings, headings)
OREL_EXTRA_STRING(getCanonical, setCanonical, canonical)
OREL_EXTRA_STRING(getChangeFrequency, setChangeFrequency, changeFrequency)
OREL_EXTRA_STRING(getValidatorStatus, setValidatorStatus, validatorStatus)

#undef OREL_EXTRA_STRING

int LinkCheckerUrl::getValidatorErrors() const
{
    return m_extra ? m_extra->validatorErrors : -1;
}

QString LinkCheckerUrl::getValidatorerrors() const
{
    return QString::number(getValidatorErrors());
}

void LinkCheckerUrl::setValidatorErrors(int n)
{
    extras().validatorErrors = n;
}

int LinkCheckerUrl::getValidatorWarnings() const
{
    return m_extra ? m_extra->validatorWarnings : -1;
}

QString LinkCheckerUrl::getValidatorwarnings() const
{
    return QString::number(getValidatorWarnings());
}

void LinkCheckerUrl::setValidatorWarnings(int n)
{
    extras().validatorWarnings = n;
}

QString LinkCheckerUrl::getWordcount() const
{
    return QString::number(m_wordCount);
}

QString LinkCheckerUrl::getDistancefromhome() const
{
    return QString::number(m_distanceFromHome);
}

int LinkCheckerUrl::getLinkCount() const
{
    return m_owner ? m_owner->numberOfLinksOnThisPage(getActualLinkUrl()) : 0;
}

QString LinkCheckerUrl::getLinkcount() const
{
    return QString::number(getLinkCount());
}

QByteArray LinkCheckerUrl::getOnPageData() const
{
    return m_extra ? m_extra->onPageData : QByteArray();
}

void LinkCheckerUrl::setOnPageData(const QByteArray &data)
{
    extras().onPageData = data;
}

QByteArray LinkCheckerUrl::getCacheData() const
{
    return (m_extra && m_extra->cacheData) ? *m_extra->cacheData : QByteArray();
}

// ---- Sizes and times -------------------------------------------------------------------------

void LinkCheckerUrl::setFileSize(int bytes)
{
    m_fileSizeBytes = bytes;
    m_fileSize = bytes / 1024;
}

void LinkCheckerUrl::setFileSizeCompressed(int bytes)
{
    m_fileSizeCompressed = bytes / 1024;
}

QString LinkCheckerUrl::getFileSize() const
{
    return QString::number(m_fileSize) + QLatin1String("kb");
}

QString LinkCheckerUrl::getFileSizeCompressed() const
{
    return QString::number(m_fileSizeCompressed) + QLatin1String("kb");
}

// The text sums bytes before dividing, the number sums the images' rounded KB values, so the
// two can differ by rounding; sorting uses the number, display the text.
QString LinkCheckerUrl::getTotalImageWeight() const
{
    const QList<LinkCheckerUrl *> &images = getLinkedImages();
    if (images.isEmpty())
        return emptyString();
    qint64 bytes = 0;
    for (const LinkCheckerUrl *image : images)
        bytes += image->getFileSizeInBytes();
    return QString::number(bytes / 1024) + QLatin1String(" kb");
}

int LinkCheckerUrl::getTotalImageWeightAsNumber() const
{
    int kb = 0;
    for (const LinkCheckerUrl *image : getLinkedImages())
        kb += image->getFileSizeInKBytes();
    return kb;
}

QString LinkCheckerUrl::getImageqty() const
{
    const qsizetype n = getLinkedImages().size();
    return n == 0 ? emptyString() : QString::number(n);
}

void LinkCheckerUrl::setSentRequest()
{
    // The epoch clock needs no time zone; the local-time text is made only when asked for.
    stampSentRequest(QDateTime::currentMSecsSinceEpoch());
}

void LinkCheckerUrl::setSentRequest(const QDateTime &when)
{
    stampSentRequest(when.toMSecsSinceEpoch());
}

void LinkCheckerUrl::stampSentRequest(qint64 msSinceEpoch)
{
    m_sentRequestMs = msSinceEpoch;
    m_numberOfRedirects = 0;
    if (m_extra)
        m_extra->timestamp = QString();
}

QString LinkCheckerUrl::getTimestamp() const
{
    if (m_extra && !m_extra->timestamp.isNull())
        return m_extra->timestamp;
    if (m_sentRequestMs < 0)
        return emptyString();
    return QLocale::system().toString(QDateTime::fromMSecsSinceEpoch(m_sentRequestMs),
                                      QLocale::ShortFormat);
}

void LinkCheckerUrl::setTimestamp(const QString &text)
{
    extras().timestamp = text.isNull() ? emptyString() : text;
}

std::optional<QDateTime> LinkCheckerUrl::getSentRequest() const
{
    if (m_sentRequestMs < 0)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(m_sentRequestMs);
}

double LinkCheckerUrl::getTimeSinceSent() const
{
    if (m_sentRequestMs < 0)
        return 0;
    const qint64 elapsed = QDateTime::currentMSecsSinceEpoch() - m_sentRequestMs;
    return elapsed > 0 ? elapsed / 1000.0 : 0;
}

double LinkCheckerUrl::getTimeSinceLastActivity() const
{
    const double sinceSent = getTimeSinceSent();
    if (m_connection && !m_connection->isCancelled())
        return qMin(sinceSent, m_connection->getTimeSinceLastActivity());
    return sinceSent;
}

QString LinkCheckerUrl::getResponsetime() const
{
    return QString::asprintf("%g", m_responseTimeInterval);
}

// ---- SEO counts ------------------------------------------------------------------------------

int LinkCheckerUrl::countOcurrencesOfString(const QString &term, const QString &text)
{
    if (term.isEmpty() || text.isEmpty())
        return 0;
    int count = 0;
    qsizetype from = 0;
    while (text.size() - from >= term.size()) {
        const qsizetype at = text.indexOf(term, from, Qt::CaseInsensitive);
        if (at < 0)
            break;
        ++count;
        from = at + 1; // overlapping matches count
    }
    return count;
}

namespace {

// The archived copy of a page as text; null when there is none.
QString readArchive(const QString &actualUrl)
{
    if (actualUrl.isEmpty())
        return QString();
    const std::optional<QByteArray> page = LocalFile::readRegular(
            AppSupport::archiveFolder() + QLatin1Char('/') + archiveFileNameForUrl(actualUrl));
    return page ? QString::fromUtf8(*page) : QString();
}

bool textContainsOneOf(const QString &text, const QStringList &terms)
{
    for (const QString &term : terms) {
        if (LinkCheckerUrl::countOcurrencesOfString(term, text) > 0)
            return true;
    }
    return false;
}

} // namespace

bool LinkCheckerUrl::countSEOTerm(const QString &term)
{
    PageExtras &x = extras();
    x.ocurrencesInUrl = countOcurrencesOfString(term, getActualLinkUrl());
    x.ocurrencesInTitle = countOcurrencesOfString(term, m_linkPageTitle);
    x.ocurrencesInDescription = countOcurrencesOfString(term, x.metaDescription);
    x.ocurrencesInHeadings = countOcurrencesOfString(term, x.headings);
    x.ocurrencesInKeywords = countOcurrencesOfString(term, x.keywords);
    // The archived page holds the title, description, headings and keywords too; count them
    // once only.
    const int archive = countOcurrencesOfStringInArchive(term) - x.ocurrencesInTitle
            - x.ocurrencesInDescription - x.ocurrencesInHeadings - x.ocurrencesInKeywords;
    x.ocurrencesInArchive = archive > 0 ? archive : 0;
    x.totalOcurrences = x.ocurrencesInUrl + x.ocurrencesInTitle + x.ocurrencesInDescription
            + x.ocurrencesInHeadings + x.ocurrencesInKeywords + x.ocurrencesInArchive;
    return x.totalOcurrences != 0;
}

int LinkCheckerUrl::countOcurrencesOfStringInArchive(const QString &term) const
{
    const QString text = readArchive(getActualLinkUrl());
    return text.isNull() ? 0 : countOcurrencesOfString(term, text);
}

// Falls back to the body still held when the page was not archived.
bool LinkCheckerUrl::archiveContainsOneOfTheseTerms(const QStringList &terms) const
{
    QString text = readArchive(getActualLinkUrl());
    if (text.isNull())
        text = QString::fromUtf8(m_data);
    return textContainsOneOf(text, terms);
}

bool LinkCheckerUrl::dataContainsOneOfTheseTerms(const QStringList &terms) const
{
    return textContainsOneOf(QString::fromUtf8(m_data), terms);
}

#define OREL_EXTRA_COUNT(getter, field)                                                            \
    int LinkCheckerUrl::getter() const                                                             \
    {                                                                                              \
        return m_extra ? m_extra->field : 0;                                                       \
    }

OREL_EXTRA_COUNT(getOcurrencesInUrl, ocurrencesInUrl)
OREL_EXTRA_COUNT(getOcurrencesInTitle, ocurrencesInTitle)
OREL_EXTRA_COUNT(getOcurrencesInDescription, ocurrencesInDescription)
OREL_EXTRA_COUNT(getOcurrencesInKeywords, ocurrencesInKeywords)
OREL_EXTRA_COUNT(getOcurrencesInHeadings, ocurrencesInHeadings)
OREL_EXTRA_COUNT(getOcurrencesInArchive, ocurrencesInArchive)
OREL_EXTRA_COUNT(getTotalOccurrences, totalOcurrences)

#undef OREL_EXTRA_COUNT

// ---- Appears-on table ------------------------------------------------------------------------

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
