// Fields, classification, keyed access, sizes and times of a link record. URL handling, the
// pages a link is on, the SEO counts and the fetch delegate live in files of their own.
#include "links/LinkCheckerUrl.h"

#include "common/Localize.h"
#include "links/LinkCheckerUrlExtras.h"
#include "links/LinkOwner.h"
#include "links/myNSURLConnection.h"

#include <QLocale>

namespace orel {

namespace {

QString numberOrEmpty(int value, int emptyValue)
{
    return value == emptyValue ? emptyString() : QString::number(value);
}

QString secondsOrEmpty(double seconds)
{
    return seconds == 0 ? emptyString() : QString::asprintf("%g", seconds);
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

// Links left out of the check on purpose: never fetched, neither good nor bad. A link that the
// site's robots.txt keeps the crawler from is one of them.
bool isNotChecked(const QString &s)
{
    return s == localizedOften("Not checked") || s == localizedOften("blocked by robots.txt");
}
bool isFileIsDirectory(const QString &s)
{
    return s == QLatin1String("file is directory");
}
bool isFileDoesntExist(const QString &s)
{
    return s == localizedOften("file doesnt exist");
}
bool isMissingLinkUrl(const QString &s)
{
    return s == localizedOften("missing link url");
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

// ---- Keyed access ----------------------------------------------------------------------------

QString LinkCheckerUrl::getFieldByName(const QString &name) const
{
    const auto is = [&name](const char *key) { return name == QLatin1String(key); };
    // The link views' columns first: a view asks for them for every row it paints.
    if (is("status"))
        return m_status;
    if (is("linkurl"))
        return m_nsslinkUrl;
    if (is("redir"))
        return m_nssredir;
    if (is("linktext"))
        return getLinkText();
    if (is("onpageurl"))
        return getOnPageUrl();
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
    if (is("onpageurlhtml"))
        return getOnPagesHTML();
    if (is("onpageurlcsv"))
        return getOnPagesCSV();
    if (is("onpageurltext"))
        return getOnPagesText();
    if (is("linkpagetitle"))
        return m_linkPageTitle;
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
    m_redirectHistory.reset(); // the hops of this fetch only
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

} // namespace orel
