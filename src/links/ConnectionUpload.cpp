// The upload side of a transfer of myNSURLConnection: a local file sent to an FTP server, with
// the login handed to libcurl in memory (never in a URL, an argument list or a file).
#include "links/ConnectionPrivate.h"

#include <curl/curl.h>

namespace orel {

bool myNSURLConnection::Private::configureUpload()
{
    uploadSource = std::make_unique<QFile>(request.uploadFile);
    if (!uploadSource->open(QIODevice::ReadOnly)) {
        // What the command-line tool answers for a file it cannot read.
        fail(CURLE_READ_ERROR, QString::fromUtf8(curl_easy_strerror(CURLE_READ_ERROR)));
        return false;
    }
    // A server name without a scheme is an FTP server.
    curl_easy_setopt(easy, CURLOPT_DEFAULT_PROTOCOL, "ftp");
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "ftp,ftps");
    curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy, CURLOPT_READFUNCTION, &Private::readCallback);
    curl_easy_setopt(easy, CURLOPT_READDATA, this);
    curl_easy_setopt(easy, CURLOPT_INFILESIZE_LARGE, curl_off_t(uploadSource->size()));
    // The server's replies only show that it is alive; nothing is downloaded.
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Private::uploadHeaderCallback);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Private::uploadHeaderCallback);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    const QByteArray user = request.user.toUtf8();
    QByteArray password = request.password.toUtf8();
    curl_easy_setopt(easy, CURLOPT_USERNAME, user.constData()); // libcurl keeps copies
    curl_easy_setopt(easy, CURLOPT_PASSWORD, password.constData());
    password.fill('\0');
    return limitTime();
}

size_t myNSURLConnection::Private::readCallback(char *buffer, size_t size, size_t count,
                                                void *userdata)
{
    auto *d = static_cast<Private *>(userdata);
    if (d->q->m_cancelled || !d->uploadSource || !d->bytesArrive())
        return CURL_READFUNC_ABORT;
    const qint64 n = d->uploadSource->read(buffer, qint64(size * count));
    return n < 0 ? CURL_READFUNC_ABORT : size_t(n);
}

size_t myNSURLConnection::Private::uploadHeaderCallback(char *, size_t size, size_t count,
                                                        void *userdata)
{
    auto *d = static_cast<Private *>(userdata);
    if (d->q->m_cancelled || !d->bytesArrive())
        return 0;
    return size * count;
}

// An upload ends with the server's last reply as the response (not HTTP; its code is the FTP
// reply code), then the end of the transfer; a failure carries libcurl's code.
void myNSURLConnection::Private::uploadDone(int curlCode)
{
    uploadSource.reset();
    if (curlCode != CURLE_OK) {
        failCurl(curlCode);
        return;
    }
    long reply = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &reply);
    UrlResponse response;
    response.url = request.url;
    response.statusCode = int(reply);
    if (!call([&] { delegate->didReceiveResponse(q, response); }))
        return;
    finish();
}

} // namespace orel
