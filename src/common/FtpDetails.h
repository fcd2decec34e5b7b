// Where the sitemap is uploaded and with which login; any thread (a plain value).
#pragma once

#include <QString>

namespace orel {

// The password is kept only in memory and in the owner-only details file; nothing logs it.
struct FtpDetails
{
    QString server;
    QString directory;
    QString username;
    QString password;
};

} // namespace orel
