// Starts the python fixture HTTP(S) server on 127.0.0.1 for one test and stops it again; main
// thread (the thread that owns the object).
#pragma once

#include <QString>
#include <QStringList>

class QProcess;
class QTemporaryDir;

namespace orel::test {

// The server's routes are listed at the top of tests/fixtures/fixture_server.py. Constructing
// blocks until the server accepts connections (or fails: isRunning() is false and every test
// using it should fail). The destructor kills the server.
class FixtureServer
{
public:
    // Plain and Tls run the python script with all its routes; Nginx serves only the static
    // files below root, fast (for throughput tests), with keep-alive.
    enum Mode { Plain, Tls, Nginx };

    // root: a folder whose files are served as a static site (files win over fixed routes).
    explicit FixtureServer(Mode mode = Plain, const QString &root = QString());
    explicit FixtureServer(const QString &root)
        : FixtureServer(Plain, root)
    { }
    ~FixtureServer();

    FixtureServer(const FixtureServer &) = delete;
    FixtureServer &operator=(const FixtureServer &) = delete;

    bool isRunning() const { return m_port != 0; }
    quint16 port() const { return m_port; }
    // "http://127.0.0.1:<port>" (https for Tls), no trailing slash.
    QString baseUrl() const;
    // baseUrl() + path; path should start with "/".
    QString url(const QString &path) const;

    // Every request the server has received so far, one "METHOD /path?query" per entry, in
    // arrival order. clearRequestLog() forgets them. nginx writes its line just after answering,
    // so a test may need to wait a moment for the last one.
    QStringList requestLog() const;
    void clearRequestLog();

    // The script that implements the server.
    static QString scriptPath();

private:
    void startScript(const QString &root);
    void startNginx(const QString &root);
    bool waitUntilAccepting(quint16 port, int ms);

    Mode m_mode;
    quint16 m_port = 0;
    QProcess *m_process = nullptr;
    QTemporaryDir *m_dir = nullptr;
    QString m_logPath;
};

} // namespace orel::test
