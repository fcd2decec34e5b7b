// Starts the FTP fixture server (tests/fixtures/ftp_server.py, on Debian's python3-pyftpdlib)
// on 127.0.0.1 for one test and stops it again; main thread.
#pragma once

#include <QString>

#include <memory>

class QProcess;
class QTemporaryDir;

namespace orel::test {

// One user, whose password reaches the server on its standard input, never on its command line.
// The served folder is root(), writable by the user. Constructing blocks until the server
// accepts connections; when it cannot start, isRunning() is false and why() says why.
class FtpServer
{
public:
    FtpServer(const QString &user, const QString &password);
    ~FtpServer();
    Q_DISABLE_COPY(FtpServer)

    bool isRunning() const { return m_port != 0; }
    QString why() const { return m_why; }
    quint16 port() const { return m_port; }
    QString root() const; // the served folder
    // "ftp://127.0.0.1:<port>"
    QString url() const;

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
    QString m_why;
};

} // namespace orel::test
