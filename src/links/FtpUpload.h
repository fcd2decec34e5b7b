// Sends one local file to an FTP server through the program's transfer path and waits for the
// end of the transfer; main thread.
#pragma once

#include <QString>

namespace orel {

class FtpUpload
{
public:
    struct Result
    {
        // 0 on success, else libcurl's code for the failure (the exit status the command-line
        // tool would give), such as 67 for a refused login.
        int code = 0;
        QString text; // libcurl's fixed text for the failure; empty on success
    };

    // Uploads file to destination ("server/dir/name", ftp:// when no scheme is written) with
    // the login, waiting in an event loop of its own. Refused (code 93, a call from inside
    // libcurl) when called from one of libcurl's callbacks, where no event loop may run.
    static Result run(const QString &file, const QString &destination, const QString &user,
                      const QString &password, double timeoutSeconds = 60);
};

} // namespace orel
