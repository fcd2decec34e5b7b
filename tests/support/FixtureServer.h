// Starts the python fixture HTTP(S) server (or nginx) on 127.0.0.1 for one test and stops it
// again; main thread (the thread that owns the object).
#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class QProcess;
class QTemporaryDir;

namespace orel::test {

// The script's routes are listed at the top of tests/fixtures/fixture_server.py. Constructing
// blocks until the server accepts connections (or fails: isRunning() is false and every test
// using it should fail). The destructor kills the server.
class FixtureServer
{
public:
    // Plain and Tls run the script with all its routes; Nginx serves only the static files below
    // root, fast (for throughput tests), with keep-alive.
    enum Mode { Plain, Tls, Nginx };

    // root: a folder whose files are served as a static site (files win over fixed routes).
    // port: the port to listen on, a free one when 0. extraArgs go to the script as they are
    // (such as "--log-referer"); Plain and Tls only.
    explicit FixtureServer(Mode mode = Plain, const QString &root = QString(), quint16 port = 0,
                           const QStringList &extraArgs = {});
    explicit FixtureServer(const QString &root) : FixtureServer(Plain, root) { }
    ~FixtureServer();
    Q_DISABLE_COPY(FixtureServer)

    bool isRunning() const { return m_port != 0; }
    quint16 port() const { return m_port; }
    // "http://127.0.0.1:<port>" (https for Tls), no trailing slash.
    QString baseUrl() const;
    // baseUrl() + path; path should start with "/".
    QString url(const QString &path) const { return baseUrl() + path; }

    // Every request the server has received so far, one "METHOD /path?query" per entry, in
    // arrival order. clearRequestLog() forgets them. nginx writes its line just after answering,
    // so a test may need to wait a moment for the last one.
    QStringList requestLog() const;
    void clearRequestLog();

    // A loopback port on which nothing listens at the moment.
    static quint16 freePort();
    // Whether this process may listen on the loopback port now (a port below 1024 needs root).
    static bool canBind(quint16 port);

private:
    void waitUntilAccepting(quint16 port, int ms);

    Mode m_mode;
    quint16 m_port = 0;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QProcess> m_process;
    QString m_logPath;
};

} // namespace orel::test
