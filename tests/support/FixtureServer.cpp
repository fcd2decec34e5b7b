#include "FixtureServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace orel::test {

namespace {

// A plain TCP connect proves the server accepts before any test traffic starts.
bool accepts(quint16 port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    sockaddr_in addr {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
    ::close(fd);
    return ok;
}

} // namespace

QString FixtureServer::scriptPath()
{
    const QByteArray source = qgetenv("ORRELWICK_SOURCE_DIR");
    if (!source.isEmpty())
        return QString::fromLocal8Bit(source) + QStringLiteral("/tests/fixtures/fixture_server.py");
    // Running a test binary by hand: find the script next to this source file.
    return QFileInfo(QStringLiteral(__FILE__))
        .absoluteDir()
        .filePath(QStringLiteral("../fixtures/fixture_server.py"));
}

FixtureServer::FixtureServer(Mode mode, const QString &root)
    : m_mode(mode)
{
    m_dir = new QTemporaryDir;
    m_logPath = m_dir->filePath(QStringLiteral("requests.log"));
    m_process = new QProcess;
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The server dies with the test, even when the test crashes.
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    if (mode == Nginx)
        startNginx(root);
    else
        startScript(root);
}

void FixtureServer::startScript(const QString &root)
{
    QStringList args { scriptPath(), QStringLiteral("--log"), m_logPath };
    if (m_mode == Tls)
        args << QStringLiteral("--tls");
    if (!root.isEmpty())
        args << QStringLiteral("--root") << root;
    m_process->start(QStringLiteral("python3"), args);
    if (!m_process->waitForStarted(5000)) {
        qWarning("fixture server: python3 did not start");
        return;
    }
    // The script prints "PORT <n>" once it listens (TLS start includes key generation).
    QDeadlineTimer deadline(15000);
    QByteArray out;
    while (!out.contains('\n') && !deadline.hasExpired()) {
        if (!m_process->waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime()))))
            break;
        out += m_process->readAllStandardOutput();
    }
    const QByteArray line = out.left(out.indexOf('\n')).trimmed();
    if (!line.startsWith("PORT ")) {
        qWarning("fixture server: no port announced (%s)", line.constData());
        return;
    }
    waitUntilAccepting(
        quint16(line.mid(5).toUInt()), int(qMax<qint64>(1, deadline.remainingTime())));
}

void FixtureServer::startNginx(const QString &root)
{
    // nginx cannot report the port it bound; take a free one and hand it over at once.
    quint16 port = 0;
    {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr {};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0
            && ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len) == 0)
            port = ntohs(addr.sin_port);
        if (fd >= 0)
            ::close(fd);
    }
    const QString dir = m_dir->path();
    // Requests are logged in the same "METHOD /path" form as the script's log.
    const QString conf = QStringLiteral(R"(daemon off;
master_process off;
worker_processes 1;
pid %1/nginx.pid;
error_log %1/error.log error;
events { worker_connections 4096; }
http {
    log_format fixture '$request_method $request_uri';
    access_log %4 fixture;
    client_body_temp_path %1/body;
    proxy_temp_path %1/proxy;
    fastcgi_temp_path %1/fastcgi;
    uwsgi_temp_path %1/uwsgi;
    scgi_temp_path %1/scgi;
    types {
        text/html html htm; text/css css; application/javascript js; text/plain txt;
        application/xml xml; application/pdf pdf; image/png png; image/jpeg jpg jpeg;
        image/gif gif; image/svg+xml svg;
    }
    default_type application/octet-stream;
    keepalive_requests 1000000;
    keepalive_timeout 60s;
    server {
        listen 127.0.0.1:%2;
        root "%3";
    }
}
)")
                             .arg(dir)
                             .arg(port)
                             .arg(QDir(root).absolutePath())
                             .arg(m_logPath);
    QFile f(m_dir->filePath(QStringLiteral("nginx.conf")));
    if (!f.open(QIODevice::WriteOnly) || f.write(conf.toUtf8()) < 0) {
        qWarning("fixture server: cannot write nginx.conf");
        return;
    }
    f.close();
    m_process->start(QStringLiteral("nginx"),
        { QStringLiteral("-p"), dir, QStringLiteral("-c"), f.fileName(), QStringLiteral("-e"),
            dir + QStringLiteral("/error.log") });
    if (!m_process->waitForStarted(5000)) {
        qWarning("fixture server: nginx did not start");
        return;
    }
    waitUntilAccepting(port, 10000);
}

bool FixtureServer::waitUntilAccepting(quint16 port, int ms)
{
    QDeadlineTimer deadline(ms);
    while (port != 0 && m_process->state() == QProcess::Running) {
        if (accepts(port)) {
            m_port = port;
            return true;
        }
        if (deadline.hasExpired())
            break;
        QThread::msleep(20);
    }
    qWarning("fixture server: port %u does not accept", unsigned(port));
    return false;
}

FixtureServer::~FixtureServer()
{
    if (m_process) {
        m_process->kill();
        m_process->waitForFinished(3000);
        delete m_process;
    }
    delete m_dir;
}

QString FixtureServer::baseUrl() const
{
    return QStringLiteral("%1://127.0.0.1:%2")
        .arg(m_mode == Tls ? QStringLiteral("https") : QStringLiteral("http"))
        .arg(m_port);
}

QString FixtureServer::url(const QString &path) const
{
    return baseUrl() + path;
}

QStringList FixtureServer::requestLog() const
{
    QFile f(m_logPath);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void FixtureServer::clearRequestLog()
{
    QFile::resize(m_logPath, 0);
}

} // namespace orel::test
