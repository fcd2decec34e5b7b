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

// Connects to the loopback port (connecting) or binds it (port 0: any free one); answers the
// port, 0 on failure.
quint16 loopback(quint16 port, bool connecting)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    auto *a = reinterpret_cast<sockaddr *>(&addr);
    const int one = 1;
    const bool ok = fd >= 0
            && (connecting ? ::connect(fd, a, len) == 0
                           : ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) == 0
                                && ::bind(fd, a, len) == 0 && ::getsockname(fd, a, &len) == 0);
    if (fd >= 0)
        ::close(fd);
    return ok ? ntohs(addr.sin_port) : 0;
}

// nginx logs requests in the same "METHOD /path" form as the script.
const char nginxConf[] = R"(daemon off; master_process off; worker_processes 1;
pid %1/nginx.pid; error_log %1/error.log error;
events { worker_connections 4096; }
http {
    log_format fixture '$request_method $request_uri'; access_log %4 fixture;
    client_body_temp_path %1/body; proxy_temp_path %1/proxy; fastcgi_temp_path %1/fastcgi;
    uwsgi_temp_path %1/uwsgi; scgi_temp_path %1/scgi;
    types { text/html html htm; text/css css; text/plain txt; image/png png; }
    default_type application/octet-stream;
    keepalive_requests 1000000; keepalive_timeout 60s;
    server { listen 127.0.0.1:%2; root "%3"; }
}
)";

} // namespace

quint16 FixtureServer::freePort()
{
    return loopback(0, false);
}

bool FixtureServer::canBind(quint16 port)
{
    return loopback(port, false) != 0;
}

FixtureServer::FixtureServer(Mode mode, const QString &root, quint16 port,
                             const QStringList &extraArgs)
    : m_mode(mode),
      m_dir(new QTemporaryDir),
      m_process(new QProcess),
      m_logPath(m_dir->filePath(QStringLiteral("requests.log")))
{
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The server dies with the test, even when the test crashes.
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    if (mode == Nginx) {
        // nginx cannot report the port it bound; take a free one and hand it over at once.
        const quint16 chosen = port != 0 ? port : freePort();
        const QString dir = m_dir->path(), confPath = dir + QStringLiteral("/nginx.conf");
        QFile conf(confPath);
        const QString text = QString::fromLatin1(nginxConf).arg(dir).arg(chosen);
        if (!conf.open(QIODevice::WriteOnly)
            || conf.write(text.arg(QDir(root).absolutePath(), m_logPath).toUtf8()) < 0) {
            qWarning("fixture server: cannot write nginx.conf");
            return;
        }
        conf.close();
        m_process->start(QStringLiteral("nginx"),
                         { QStringLiteral("-p"), dir, QStringLiteral("-c"), confPath,
                           QStringLiteral("-e"), dir + QStringLiteral("/error.log") });
        waitUntilAccepting(chosen, 10000);
        return;
    }
    // Running a test binary by hand (no ORRELWICK_SOURCE_DIR): the script next to this file.
    const QString source = qEnvironmentVariable("ORRELWICK_SOURCE_DIR",
                                                QFileInfo(QStringLiteral(__FILE__)).absolutePath()
                                                        + QStringLiteral("/../.."));
    QStringList args { source + QStringLiteral("/tests/fixtures/fixture_server.py"),
                       QStringLiteral("--log"), m_logPath };
    if (mode == Tls)
        args << QStringLiteral("--tls");
    if (!root.isEmpty())
        args << QStringLiteral("--root") << root;
    if (port != 0)
        args << QStringLiteral("--port") << QString::number(port);
    args << extraArgs;
    m_process->start(QStringLiteral("python3"), args);
    // The script prints "PORT <n>" once it listens (TLS start includes key generation).
    QDeadlineTimer deadline(15000);
    QByteArray out;
    while (!out.contains('\n') && m_process->waitForReadyRead(int(deadline.remainingTime())))
        out += m_process->readAllStandardOutput();
    if (out.startsWith("PORT "))
        waitUntilAccepting(quint16(out.mid(5).trimmed().toUInt()), int(deadline.remainingTime()));
    else
        qWarning("fixture server: no port announced (%s)", out.constData());
}

void FixtureServer::waitUntilAccepting(quint16 port, int ms)
{
    QDeadlineTimer deadline(ms);
    m_process->waitForStarted(5000);
    while (port != 0 && m_process->state() == QProcess::Running) {
        if (loopback(port, true)) {
            m_port = port;
            return;
        }
        if (deadline.hasExpired())
            break;
        QThread::msleep(20);
    }
    qWarning("fixture server: port %u does not accept", unsigned(port));
}

FixtureServer::~FixtureServer()
{
    m_process->kill();
    m_process->waitForFinished(3000);
}

QString FixtureServer::baseUrl() const
{
    return QStringLiteral("%1://127.0.0.1:%2")
            .arg(m_mode == Tls ? QStringLiteral("https") : QStringLiteral("http"))
            .arg(m_port);
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
