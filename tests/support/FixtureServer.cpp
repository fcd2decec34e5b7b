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
    QStringList args { scriptPath(), QStringLiteral("--log"), m_logPath };
    if (mode == Tls)
        args << QStringLiteral("--tls");
    if (!root.isEmpty())
        args << QStringLiteral("--root") << root;

    m_process = new QProcess;
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
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
    const quint16 port = quint16(line.mid(5).toUInt());
    while (!deadline.hasExpired()) {
        if (accepts(port)) {
            m_port = port;
            return;
        }
        QThread::msleep(20);
    }
    qWarning("fixture server: port %u does not accept", unsigned(port));
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
