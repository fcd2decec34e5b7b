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
    void setPlainTextMode() { plaintextmode = true; }
    void setXMLMode();
    // Word counting in getNextByte() for callers that want a word count; off unless set.
    void setWordCounting(bool on) { seoOn = on; }

    // Cursor.
    // Reads the byte at the cursor into aBuffer and advances; false at the end.
    inline bool getNextByte()
    {
        if (counter >= static_cast<qint32>(l))
            return false;
        aBuffer = static_cast<signed char>(bytes[counter]);
        if (seoOn)
            countWord();
        ++counter;
        return true;
    }
    void reset();
    quint32 length() const { return l; }
    quint32 getLength() const { return l; }
    qint64 getFileSize() const { return data.size(); }
    qint32 getInitialStatus() const { return initialStatus; }
    qint32 getCounter() const { return counter; }
    qint32 getLastTagPassed() const { return lastTagPassed; }
    const QByteArray &getBytes() const { return data; }
    // Releases the page, the title and the base; the parser is empty afterwards.
    void curlUpAndDie();

    // Steps into the next tag, over comments (ended by "->") and "<!" constructs. On success
    // aBuffer holds the first byte after "<" and lastTagPassed the index just past it.
    bool moveIntoNextTag();

    // Tag recognisers: called with aBuffer on the first byte after "<"; they read forward.
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
    // alreadyInside: aBuffer already holds the tag's first byte.
    std::unique_ptr<OrelXmlTag> getTag(bool alreadyInside);
    // Next record row of a link database file; nullptr when the records end.
    std::unique_ptr<OrelDbItem> getItem();

    // Extraction. The next link, frame or (with checkImages) image URL as written in the page,
    // "MCMS zref" for a zref anchor, or none at the end.
    std::optional<QString> getNextHref(bool checkImages, bool trim);
    bool lastLinkWasNofollow() const { return nofollow; }
    std::optional<QString> getNextImg();
    std::optional<QString> getNextScriptSrc();
    std::optional<QString> getNextHttp(); // plain-text mode: next token
    std::optional<QString> getNextXml(); // XML mode: next <loc> text
    // The page's <base href> normalised; "" for an empty or "/" base; none without one.
    std::optional<QString> findBaseHref();
    std::optional<QString> findNextLinkHref();
    std::optional<QUrl> getBaseHref() const; // codebase, or none
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
    QString getTitle() const { return metatitle; }
    qint32 getEndHead() const { return endHead; }
    void findKeywordsAndDescription();
    QString getDescription() const { return metadescription; }
    QString getKeywords() const { return keywords; }
    QString getCanonical() const { return canonical; }
    static QString pullOutMetaDescription(const QString &tagText);
    QString findHeadings();
    QString getHeadings() const { return headings; }
    bool headContainsNoIndex();
    bool headContainsNoFollow();
    bool getShouldBeIndexed() const { return shouldBeIndexed; }
    bool getHeadContainsNoFollow() const { return headContainsNofollow; }
    qint32 getWordCount() const { return wordCount; }

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

    QByteArray data;
    const char *bytes = nullptr; // data.constData(), cached for the byte step
    QString valueBuffer; // reused for link values the caller has let go of; see valueString()
    QString grandParent;
    QString parent;
    QString content;
    std::optional<QUrl> codebase;
    QString metadescription;
    QString metatitle;
    QString keywords;
    QString headings;
    QString canonical;
    qint32 initialStatus = 0;
    signed char aBuffer = 0;
    quint32 l = 0;
    qint32 indent = 0;
    qint32 counter = 0;
    qint32 lastTagPassed = 0;
    bool zrefFound = false;
    bool insideQuotes = false;
    bool insideSingleQuotes = false;
    bool lastWasImg = false;
    bool plaintextmode = false;
    bool xmlmode = false;
    bool shouldBeIndexed = true;
    bool nofollow = false;
    bool followNofollow = false;
    bool headContainsNofollow = false;
    bool seoOn = false;
    qint32 endHead = 0;
    bool insideBrackets = true;
    qint32 wordCount = 0;
    bool insideWord = false;
    qint32 characterCount = 0;
    bool isScriptOrComment = false;
    bool newParentPending = false;
};

} // namespace orel
