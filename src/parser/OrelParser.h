// Forward-only byte scanner over one page (or one local file): links, images, scripts, frames,
// base href, title, robots markers, link texts, highlighting; used by one caller on one thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <cstring>
#include <memory>
#include <optional>

namespace orel {

class OrelXmlTag;
class OrelDbItem;

// The scanner never builds a tree: every reader walks one cursor forward from where the previous
// one stopped, decides by a few bytes which tag it has entered and copies values out byte by
// byte. Text becomes a QString only at the end of each extraction. The page is held as an
// implicitly shared QByteArray, so making a scanner never copies the page.
class OrelParser
{
public:
    // The crawl's form, on bytes the fetch already holds. nullptr for a null QByteArray ("data is
    // invalid"); an empty one gives a parser of length 0. seo is accepted and not used: word
    // counting stays off here.
    static std::unique_ptr<OrelParser> initWithData(const QByteArray &data,
                                                    const QString &userAgent, bool seo,
                                                    bool cachePage, bool checkNoIndex,
                                                    bool checkNofollow);
    // Fetches the page synchronously, redirects followed (60 s time-out; blocks the calling
    // thread, see fetchSynchronously()). nullptr for a skipped extension (no fetch), a malformed
    // URL, a failed fetch or a non-HTML content type.
    static std::unique_ptr<OrelParser> initWithUrl(const QString &url, const QString &userAgent);
    // Reads a whole local regular file ("~" expanded), for getItem(); plain-text mode.
    static std::unique_ptr<OrelParser> initWithFilePath(const QString &path);

    ~OrelParser();
    OrelParser(const OrelParser &) = delete;
    OrelParser &operator=(const OrelParser &) = delete;

    // Modes, set once right after construction.
    void setPlainTextMode() { m_plaintextmode = true; }
    void setXMLMode();
    // Word counting in getNextByte() for callers that want a word count; off unless set.
    void setWordCounting(bool on) { m_seoOn = on; }

    // Cursor.
    // Reads the byte at the cursor into m_aBuffer and advances; false at the end.
    inline bool getNextByte()
    {
        if (m_counter >= m_l)
            return false;
        m_aBuffer = static_cast<signed char>(m_bytes[m_counter]);
        if (m_seoOn)
            countWord();
        ++m_counter;
        return true;
    }
    void reset();
    qsizetype length() const { return m_l; }
    qsizetype getLength() const { return m_l; }
    qint64 getFileSize() const { return m_data.size(); }
    qint32 getInitialStatus() const { return m_initialStatus; }
    qsizetype getCounter() const { return m_counter; }
    qsizetype getLastTagPassed() const { return m_lastTagPassed; }
    const QByteArray &getBytes() const { return m_data; }
    // Releases the page, the title and the base; the parser is empty afterwards.
    void curlUpAndDie();

    // Steps into the next tag, over comments (ended by "->") and "<!" constructs. On success
    // m_aBuffer holds the first byte after "<" and m_lastTagPassed the index just past it.
    bool moveIntoNextTag();

    // Tag recognisers: called with m_aBuffer on the first byte after "<"; they read forward.
    bool isThisAnATag();
    bool isThisABaseTag();
    bool isThisALinkTag();
    bool isThisAnImgTag();
    bool isThisAHeadTag();
    bool isThisAScriptTag();
    bool isThisAFrameTag();
    bool isThisEndScriptTag();

    // Text that follows the cursor (link text, element content), or "[img src]" plus the alt
    // text after an image. Cut at 1,500 bytes; trimmed; entities replaced.
    QString getData();
    // The same into `text`, reusing its buffer when it has one of its own (a page's links are
    // read one after another into the same few strings).
    void getData(QString &text);
    // Replaces &quot; &amp; &apos; &lt; &gt; (any case) in that order, so "&amp;lt;" becomes "<".
    static void unescapeEntities(QString &text);

    // Reads one tag (the bytes between "<" and ">", at most 1,000); nullptr at the end.
    // alreadyInside: m_aBuffer already holds the tag's first byte.
    std::unique_ptr<OrelXmlTag> getTag(bool alreadyInside);
    // Next record row of a link database file; nullptr when the records end.
    std::unique_ptr<OrelDbItem> getItem();

    // Extraction. The next link, frame or (with checkImages) image URL as written in the page,
    // "MCMS zref" for a zref anchor, or none at the end.
    std::optional<QString> getNextHref(bool checkImages, bool trim);
    bool lastLinkWasNofollow() const { return m_nofollow; }
    // The href just returned is an image's source.
    bool lastLinkWasImage() const { return m_lastWasImg; }
    std::optional<QString> getNextImg();
    std::optional<QString> getNextScriptSrc();
    std::optional<QString> getNextHttp(); // plain-text mode: next token
    std::optional<QString> getNextXml(); // XML mode: next <loc> text
    // The page's <base href> normalised; "" for an empty or "/" base; none without one.
    std::optional<QString> findBaseHref();
    std::optional<QString> findNextLinkHref();
    std::optional<QUrl> getBaseHref() const; // m_codebase, or none
    bool moveToStartOfUrl();
    bool moveToStartOfSrc();
    bool digOutAlt();
    bool isThisNofollow() const;
    static QString pullOutHref(const QString &text);
    static bool compareIgnoringTrailingSlash(const QString &a, const QString &b);
    // In-place trimming of a zero-terminated byte string.
    static void trimThisCharacter(char c, char *url);
    static void trimWhitespaceFromUrl(char *url);

    // Metadata; each finder runs from a reset cursor.
    QString findTitle();
    QString getTitle() const { return m_metatitle; }
    qsizetype getEndHead() const { return m_endHead; }
    void findKeywordsAndDescription();
    QString getDescription() const { return m_metadescription; }
    QString getKeywords() const { return m_keywords; }
    QString getCanonical() const { return m_canonical; }
    static QString pullOutMetaDescription(const QString &tagText);
    QString findHeadings();
    QString getHeadings() const { return m_headings; }
    bool headContainsNoIndex();
    bool headContainsNoFollow();
    bool getShouldBeIndexed() const { return m_shouldBeIndexed; }
    bool getHeadContainsNoFollow() const { return m_headContainsNofollow; }
    qint64 getWordCount() const { return m_wordCount; }

    // Marks every occurrence of badLink with style and, when the page has no base of its own,
    // inserts one after <head>. Returns the changed bytes (also the parser's data), or none.
    std::optional<QByteArray> highlightBadink(const QString &badLink, const QString &style,
                                              const QString &basHref, bool ignoringQS, bool trim);
    // Style attributes for highlightBadink(); colour components are fractions 0..1.
    static QString borderStyle(const QString &width, const QString &lineStyle, double red,
                               double green, double blue);
    static QString backgroundStyle(double red, double green, double blue);

private:
    OrelParser();
    void setBytes(const QByteArray &bytes);
    void countWord();
    bool matchWord(const char *lower, bool (*after)(signed char));
    enum class ValueKind { Anchor, Frame, Image, Resource };
    QString readValue(ValueKind kind, bool trim);
    QString valueString(const char *text, qsizetype n);
    void readToEndOfTag();
    // Steps over the value under the cursor and on to the end of its tag, as readValue() does.
    void skipValue();
    std::optional<QString> findTagHref(bool (OrelParser::*recogniser)());
    QString altText();
    void readText(QString &text);
    // The bytes of one tag, before they become a string.
    struct TagBytes
    {
        static constexpr int cap = 1000;
        char buf[cap];
        int n = 0;
        bool closing = false;
    };
    bool readTagBytes(bool alreadyInside, TagBytes &tag);

    QByteArray m_data;
    const char *m_bytes = nullptr; // m_data.constData(), cached for the byte step
    QString m_valueBuffer; // reused for link values the caller has let go of; see valueString()
    QString m_grandParent;
    QString m_parent;
    QString m_content;
    std::optional<QUrl> m_codebase;
    QString m_metadescription;
    QString m_metatitle;
    QString m_keywords;
    QString m_headings;
    QString m_canonical;
    qint32 m_initialStatus = 0;
    signed char m_aBuffer = 0;
    qsizetype m_l = 0;
    qint32 m_indent = 0;
    qsizetype m_counter = 0;
    qsizetype m_lastTagPassed = 0;
    bool m_zrefFound = false;
    bool m_insideQuotes = false;
    bool m_insideSingleQuotes = false;
    bool m_lastWasImg = false;
    bool m_plaintextmode = false;
    bool m_xmlmode = false;
    bool m_shouldBeIndexed = true;
    bool m_nofollow = false;
    bool m_followNofollow = false;
    bool m_headContainsNofollow = false;
    bool m_seoOn = false;
    qsizetype m_endHead = 0;
    bool m_insideBrackets = true;
    qint64 m_wordCount = 0;
    bool m_insideWord = false;
    qint64 m_characterCount = 0;
    bool m_isScriptOrComment = false;
    bool m_newParentPending = false;
};

} // namespace orel
