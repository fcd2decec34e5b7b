#include "links/ReasonPhrase.h"

#include <QHash>

namespace orel {

namespace {

struct Phrase
{
    int code;
    const char *text;
};

// Registered HTTP status codes with their reason phrases in lower case. 200 reads "no error",
// as the program has always shown it.
constexpr Phrase phrases[] = {
    { 100, "continue" },
    { 101, "switching protocols" },
    { 102, "processing" },
    { 103, "early hints" },
    { 200, "no error" },
    { 201, "created" },
    { 202, "accepted" },
    { 203, "non-authoritative information" },
    { 204, "no content" },
    { 205, "reset content" },
    { 206, "partial content" },
    { 207, "multi-status" },
    { 208, "already reported" },
    { 226, "im used" },
    { 300, "multiple choices" },
    { 301, "moved permanently" },
    { 302, "found" },
    { 303, "see other" },
    { 304, "not modified" },
    { 305, "use proxy" },
    { 307, "temporary redirect" },
    { 308, "permanent redirect" },
    { 400, "bad request" },
    { 401, "unauthorized" },
    { 402, "payment required" },
    { 403, "forbidden" },
    { 404, "not found" },
    { 405, "method not allowed" },
    { 406, "not acceptable" },
    { 407, "proxy authentication required" },
    { 408, "request timeout" },
    { 409, "conflict" },
    { 410, "gone" },
    { 411, "length required" },
    { 412, "precondition failed" },
    { 413, "content too large" },
    { 414, "uri too long" },
    { 415, "unsupported media type" },
    { 416, "range not satisfiable" },
    { 417, "expectation failed" },
    { 418, "i'm a teapot" },
    { 421, "misdirected request" },
    { 422, "unprocessable content" },
    { 423, "locked" },
    { 424, "failed dependency" },
    { 425, "too early" },
    { 426, "upgrade required" },
    { 428, "precondition required" },
    { 429, "too many requests" },
    { 431, "request header fields too large" },
    { 451, "unavailable for legal reasons" },
    { 500, "internal server error" },
    { 501, "not implemented" },
    { 502, "bad gateway" },
    { 503, "service unavailable" },
    { 504, "gateway timeout" },
    { 505, "http version not supported" },
    { 506, "variant also negotiates" },
    { 507, "insufficient storage" },
    { 508, "loop detected" },
    { 510, "not extended" },
    { 511, "network authentication required" },
};

// Unregistered codes of a known class read as their class.
constexpr const char *classPhrases[] = {
    nullptr, "informational", "success", "redirection", "client error", "server error",
};

} // namespace

QString reasonPhrase(int code)
{
    for (const Phrase &p : phrases) {
        if (p.code == code)
            return QString::fromLatin1(p.text);
    }
    if (code >= 100 && code <= 599)
        return QString::fromLatin1(classPhrases[code / 100]);
    return QStringLiteral("unknown");
}

// The texts of registered codes are built once and shared: a crawl stores one per record.
QString statusText(int code)
{
    static const QHash<int, QString> registered = [] {
        QHash<int, QString> texts;
        for (const Phrase &p : phrases)
            texts.insert(p.code,
                         QString::number(p.code) + QLatin1Char(' ') + QLatin1String(p.text));
        return texts;
    }();
    const auto it = registered.constFind(code);
    if (it != registered.cend())
        return *it;
    return QString::number(code) + QLatin1Char(' ') + reasonPhrase(code);
}

} // namespace orel
