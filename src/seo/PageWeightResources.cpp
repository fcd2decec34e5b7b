// The page-weight analyser reading its start page: the images, the linked resources that a
// browser loads with the page and the scripts become records of their own.
#include "seo/PageWeightGatherer.h"

#include "common/Localize.h"
#include "common/Log.h"
#include "common/UrlResolution.h"
#include "links/LinkCheckerUrl.h"
#include "parser/OrelParser.h"

#include <QRegularExpression>

namespace orel {

namespace {

// Whether the <link> tag just read names something loaded with the page (a style sheet, an
// icon, a preloaded file) rather than a relation to another document (canonical, alternate,
// next, author ...).
bool isLoadedResource(const OrelParser &parser)
{
    const qsizetype start = parser.getLastTagPassed();
    const QByteArray tag = parser.getBytes().mid(start, parser.getCounter() - start).toLower();
    static const QRegularExpression rel(
            QStringLiteral(R"re((?:^|\s)rel\s*=\s*(?:"([^"]*)"|'([^']*)'|([^\s>]*)))re"));
    const QRegularExpressionMatch m = rel.match(QString::fromLatin1(tag));
    if (!m.hasMatch())
        return false;
    const QString value = m.captured(1) + m.captured(2) + m.captured(3);
    static const char *const loaded[] = { "stylesheet", "icon",    "apple-touch-icon",
                                          "mask-icon",  "preload", "modulepreload" };
    const QStringList tokens = value.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &token : tokens) {
        for (const char *name : loaded) {
            if (token == QLatin1String(name))
                return true;
        }
    }
    return false;
}

QString withoutWww(const QString &host)
{
    return host.startsWith(QLatin1String("www."), Qt::CaseInsensitive) ? host.mid(4) : host;
}

} // namespace

void PageWeightGatherer::extractLinks(LinkCheckerUrl *record)
{
    if (record && record->isStartingPoint() && !m_crawlFinished)
        addResources(record);
}

void PageWeightGatherer::addResources(LinkCheckerUrl *page)
{
    if (!page->getIsHTML() || page->getData().isEmpty())
        return;
    std::unique_ptr<OrelParser> parser = OrelParser::initWithData(
            page->getData(), QLatin1String(DefaultUserAgent), false, false, false, false);
    if (!parser)
        return;
    // Resources are read against the page's base, else the URL the page was found at.
    const QUrl pageUrl(page->getActualLinkUrl());
    m_baseUrl = parser->getBaseHref().value_or(pageUrl);
    m_strBaseUrl = m_baseUrl.toString();
    m_domain = pageUrl.host();
    const bool pageIsLocal = pageUrl.isLocalFile();

    Q_EMIT tableAboutToChange();
    parser->reset();
    while (const std::optional<QString> src = parser->getNextImg())
        addResource(*src, parser->getData(), m_baseUrl, pageIsLocal);
    parser->reset();
    while (const std::optional<QString> href = parser->findNextLinkHref()) {
        if (isLoadedResource(*parser))
            addResource(*href, QString(), m_baseUrl, pageIsLocal);
    }
    parser->reset();
    while (const std::optional<QString> src = parser->getNextScriptSrc()) {
        log(QStringLiteral("found script %1").arg(*src));
        addResource(*src, QString(), m_baseUrl, pageIsLocal);
    }
    Q_EMIT tableChanged();
}

void PageWeightGatherer::addResource(const QString &value, const QString &linkText,
                                     const QUrl &base, bool pageIsLocal)
{
    if (value.isEmpty() || value == QLatin1String("#") || value == QLatin1String("MCMS zref"))
        return;
    const std::optional<QUrl> resolved = resolveUrl(base, value);
    if (!resolved)
        return;
    // data: and javascript: sources bring no transfer of their own.
    const QString scheme = resolved->scheme().toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https")
        && scheme != QLatin1String("file"))
        return;
    const QString url = QString::fromLatin1(resolved->toEncoded());
    if (weHaveThisOneAlready(url, nullptr))
        return;
    auto record = std::make_unique<LinkCheckerUrl>(this);
    record->setLinkUrl(url, getIgnoreQS());
    record->setLinkText(linkText);
    record->setDistanceFromHome(1);
    record->setIsInternal(compareHost(resolved->host(), m_domain));
    // A page from a server never has a local file opened for it.
    if (scheme == QLatin1String("file") && !pageIsLocal)
        record->setStatus(localized("Not checked"));
    bhDataSource::add(std::move(record));
}

LinkCheckerUrl *PageWeightGatherer::weHaveThisOneAlready(const QString &url,
                                                         const LinkCheckerUrl *ignore) const
{
    if (url.isEmpty())
        return nullptr;
    // Stored URLs are cut at "#"; the candidate is cut the same way.
    QByteArray key = url.toLatin1();
    LinkCheckerUrl::trimHash(key, getIgnoreQS());
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record != ignore
            && (record->getLinkUrlBytes() == key || record->getRedirBytes() == key))
            return record;
    }
    return nullptr;
}

bool PageWeightGatherer::compareHost(const QString &host, const QString &domain)
{
    // A local page has no host: everything it loads is its own.
    if (domain.isEmpty())
        return true;
    return withoutWww(host).compare(withoutWww(domain), Qt::CaseInsensitive) == 0;
}

} // namespace orel
