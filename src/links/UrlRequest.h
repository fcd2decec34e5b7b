// A request, a response, an error and an authentication challenge of one URL transfer; any
// thread (plain values).
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

namespace orel {

using HeaderList = QList<QPair<QByteArray, QByteArray>>;

// Header lookup ignoring case; the first match wins.
QByteArray headerValue(const HeaderList &headers, const QByteArray &name, bool *found = nullptr);

struct UrlRequest
{
    QString url;
    QByteArray method = "GET";
    HeaderList headers; // set with setHeader(); sent as given (no cookies, no cache)
    QByteArray body;
    double timeoutSeconds = 60;
    bool handleCookies = false; // never enabled by this program; kept for clarity
    bool reloadIgnoringCache = true;
    // A file:// URL naming a folder reads the folder's index.html, as a web server serves a
    // folder (a built site checked from its folder); else a folder reads "file is directory".
    bool folderIndex = false;
    // An upload (ftp: or ftps: URL): the local file sent to the URL, and the login given to
    // the server. The password stays in memory; nothing of the transfer ever logs it.
    QString uploadFile;
    QString user;
    QString password;

    void setHeader(const QByteArray &name, const QByteArray &value); // replaces, ignoring case
    QByteArray header(const QByteArray &name) const { return headerValue(headers, name); }
};

// The GET of url as every part of the program sends it: nothing cached, no cookies, the user
// agent, and a "Host" header naming the port when the URL does (servers build their redirects
// from it). timeoutSeconds 0: no limit.
UrlRequest fetchRequest(const QString &url, const QString &userAgent, double timeoutSeconds);

struct UrlResponse
{
    QString url; // the URL that answered
    bool isHttp = false; // false for file:// answers
    int statusCode = 0; // HTTP status; 0 for non-HTTP answers
    QString mimeType; // from Content-Type (without parameters), or from the file name
    HeaderList headers; // HTTP header fields as received; empty for non-HTTP answers
    qint64 expectedContentLength = -1; // -1 when unknown

    bool hasHeader(const QByteArray &name) const
    {
        bool found = false;
        headerValue(headers, name, &found);
        return found;
    }
    QByteArray header(const QByteArray &name) const { return headerValue(headers, name); }
};

struct UrlError
{
    int code = 0; // the libcurl code, or one of the codes below for our own failures
    QString localizedDescription; // "The request timed out.", "file doesnt exist", …

    static constexpr int FileDoesntExist = -1100;
    static constexpr int FileIsDirectory = -1101;
    static constexpr int FileIsNotRegular = -1102; // a FIFO, a socket or a device
    static constexpr int TimedOut = -1001;
    // A synchronous fetch ended by a redirect as a link record would end it.
    static constexpr int RecurringRedirect = -1110;
    static constexpr int RedirectionToNowhere = -1111;
};

// Kinds of protection space a challenge can come from.
enum class AuthMethod { ServerTrust, HttpBasic, HttpDigest, HttpOther };

// The delegate answers a challenge with exactly one of the three calls.
struct AuthChallenge
{
    AuthMethod method = AuthMethod::HttpOther;
    QString host;
    QString realm;
    enum class Answer { None, UseServerTrust, ContinueWithoutCredential, Cancel };
    Answer answer = Answer::None;

    void useServerTrustCredential() { answer = Answer::UseServerTrust; }
    void continueWithoutCredential() { answer = Answer::ContinueWithoutCredential; }
    void cancel() { answer = Answer::Cancel; }
};

} // namespace orel
