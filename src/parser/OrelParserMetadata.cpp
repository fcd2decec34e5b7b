// The scanner's page metadata finders and the highlighting of a bad link.
#include "parser/OrelParser.h"

#include "common/Log.h"
#include "common/UrlResolution.h"
#include "parser/OrelParserText.h"

namespace orel {

namespace parsertext {

QString quotedValueAfter(const QString &text, QLatin1StringView name)
{
    const qsizetype at = text.indexOf(name, 0, Qt::CaseInsensitive);
    if (at < 0)
        return QLatin1String("");
    qsizetype open = -1;
    for (qsizetype i = at + name.size(); i < text.size(); ++i) {
        if (text[i] == QLatin1Char('"') || text[i] == QLatin1Char('\'')) {
            open = i;
            break;
        }
    }
    if (open < 0)
        return QLatin1String("");
    const qsizetype close = text.indexOf(text[open], open + 1);
    if (close < 0)
        return QLatin1String("");
    return text.mid(open + 1, close - open - 1);
}

} // namespace parsertext

namespace {

QString withoutLineBreaks(QString text)
{
    text.remove(QLatin1Char('\r'));
    text.remove(QLatin1Char('\n'));
    return text;
}

} // namespace

QString OrelParser::findTitle()
{
    reset();
    TagBytes tag;
    std::optional<QString> title;
    while (readTagBytes(false, tag)) {
        if (!title && !tag.closing && parsertext::equalsIgnoringCase(tag.buf, tag.n, "title"))
            title = withoutLineBreaks(getData());
        else if (tag.closing && parsertext::equalsIgnoringCase(tag.buf, tag.n, "head")) {
            m_endHead = m_counter;
            return title ? *title : QLatin1String("");
        }
    }
    if (title)
        return *title;
    m_endHead = 0;
    return QLatin1String("");
}

void OrelParser::findKeywordsAndDescription()
{
    reset();
    TagBytes tag;
    while (readTagBytes(false, tag)) {
        if (tag.closing && parsertext::equalsIgnoringCase(tag.buf, tag.n, "head"))
            return;
        const bool meta = parsertext::containsIgnoringCase(tag.buf, tag.n, "meta");
        if (meta && parsertext::containsIgnoringCase(tag.buf, tag.n, "description")) {
            // The Open Graph description is not the page's description.
            if (!parsertext::containsIgnoringCase(tag.buf, tag.n, "og:description"))
                m_metadescription = withoutLineBreaks(
                        pullOutMetaDescription(parsertext::decode(tag.buf, tag.n)));
        } else if (meta && parsertext::containsIgnoringCase(tag.buf, tag.n, "keywords")) {
            m_keywords =
                    withoutLineBreaks(pullOutMetaDescription(parsertext::decode(tag.buf, tag.n)));
        } else if (parsertext::containsIgnoringCase(tag.buf, tag.n, "canonical")) {
            m_canonical = withoutLineBreaks(pullOutHref(parsertext::decode(tag.buf, tag.n)));
        }
    }
}

QString OrelParser::pullOutMetaDescription(const QString &tagText)
{
    return parsertext::quotedValueAfter(tagText, QLatin1String("content"));
}

QString OrelParser::findHeadings()
{
    reset();
    TagBytes tag;
    QStringList texts;
    while (readTagBytes(false, tag)) {
        if (tag.closing) {
            if (parsertext::equalsIgnoringCase(tag.buf, tag.n, "body"))
                break;
        } else if (parsertext::equalsIgnoringCase(tag.buf, tag.n, "h1")) {
            const QString text = getData();
            if (!text.isEmpty())
                texts.append(text);
        }
    }
    return texts.join(QLatin1String(", "));
}

bool OrelParser::headContainsNoIndex()
{
    reset();
    TagBytes tag;
    while (readTagBytes(false, tag)) {
        if (parsertext::containsIgnoringCase(tag.buf, tag.n, "meta")
            && parsertext::containsIgnoringCase(tag.buf, tag.n, "noindex"))
            return true;
        if (tag.closing && parsertext::equalsIgnoringCase(tag.buf, tag.n, "head"))
            return false;
    }
    return false;
}

bool OrelParser::headContainsNoFollow()
{
    reset();
    TagBytes tag;
    while (readTagBytes(false, tag)) {
        if (parsertext::containsIgnoringCase(tag.buf, tag.n, "meta")
            && parsertext::containsIgnoringCase(tag.buf, tag.n, "nofollow"))
            return true;
        if (tag.closing && parsertext::equalsIgnoringCase(tag.buf, tag.n, "head"))
            return false;
    }
    return false;
}

std::optional<QByteArray> OrelParser::highlightBadink(const QString &badLink, const QString &style,
                                                      const QString &basHref, bool ignoringQS,
                                                      bool trim)
{
    const QUrl base(basHref);
    // Work on a private copy; the cached length stays as it was, so the scan below stops short
    // of the end by the bytes inserted so far.
    m_data.detach();
    m_bytes = m_data.constData();
    auto insertAtCursor = [this](const QByteArray &text) {
        m_data.insert(m_counter, text);
        m_bytes = m_data.constData();
    };
    if (!m_codebase) {
        // Give the local copy a base so that its relative links still work.
        for (;;) {
            if (!moveIntoNextTag()) {
                log(QStringLiteral("highlight failing because can't find head tag"));
                return std::nullopt;
            }
            if (isThisAHeadTag())
                break;
        }
        while (m_aBuffer != '>') {
            if (!getNextByte()) {
                log(QStringLiteral("highlight failing because can't find next > after head"));
                return std::nullopt;
            }
        }
        insertAtCursor(
                parsertext::asciiLossy(QStringLiteral("\n<base href = \"%1\">\n").arg(basHref)));
    }
    reset();
    const QByteArray styleBytes = parsertext::asciiLossy(style);
    while (std::optional<QString> href = getNextHref(false, trim)) {
        // Read as the crawl reads it, so that a link kept with ".." above the root matches.
        const std::optional<QUrl> resolved = resolveUrl(base, *href);
        if (!resolved)
            continue;
        const QUrl &absolute = *resolved;
        const QString encoded = absolute.toString(QUrl::FullyEncoded);
        const QString plain = absolute.toString();
        const bool match = ignoringQS ? (badLink.contains(encoded) || badLink.contains(plain))
                                      : (compareIgnoringTrailingSlash(badLink, encoded)
                                         || compareIgnoringTrailingSlash(badLink, plain));
        if (!match)
            continue;
        // Back to just after the tag name's first letter; the style goes in there.
        m_counter = m_lastTagPassed;
        isThisAnATag();
        insertAtCursor(styleBytes);
    }
    return m_data;
}

QString OrelParser::borderStyle(const QString &width, const QString &lineStyle, double red,
                                double green, double blue)
{
    return QStringLiteral(" style = \"border:%1 %2 rgb(%3,%4,%5);\"")
            .arg(width, lineStyle)
            .arg(static_cast<int>(red * 255))
            .arg(static_cast<int>(green * 255))
            .arg(static_cast<int>(blue * 255));
}

QString OrelParser::backgroundStyle(double red, double green, double blue)
{
    return QStringLiteral(" style = \"background:rgb(%1,%2,%3);\"")
            .arg(static_cast<int>(red * 255))
            .arg(static_cast<int>(green * 255))
            .arg(static_cast<int>(blue * 255));
}

} // namespace orel
