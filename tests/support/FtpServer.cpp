#include "FtpServer.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <sys/prctl.h>

namespace orel::test {

FtpServer::FtpServer(const QString &user, const QString &password)
    : m_dir(std::make_unique<QTemporaryDir>()), m_process(std::make_unique<QProcess>())
{
    const QString source = qEnvironmentVariable("ORRELWICK_SOURCE_DIR",
                                                QFileInfo(QStringLiteral(__FILE__)).absolutePath()
                                                        + QStringLiteral("/../.."));
    m_process->setProcessChannelMode(QProcess::SeparateChannels);
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // Debian's python3 holds the pyftpdlib package, whatever python3 comes first on the PATH.
    m_process->start(QStringLiteral("/usr/bin/python3"),
                     { source + QStringLiteral("/tests/fixtures/ftp_server.py"),
                       QStringLiteral("--root"), root(), QStringLiteral("--user"), user });
    if (!m_process->waitForStarted(5000)) {
        m_why = QStringLiteral("cannot run /usr/bin/python3: ") + m_process->errorString();
        return;
    }
    m_process->write((password + QLatin1Char('\n')).toUtf8());
    QDeadlineTimer deadline(15000);
    QByteArray out;
    while (!out.contains('\n') && m_process->waitForReadyRead(int(deadline.remainingTime())))
        out += m_process->readAllStandardOutput();
    if (out.startsWith("PORT ")) {
        m_port = quint16(out.mid(5).trimmed().toUInt());
        return;
    }
    m_process->waitForFinished(2000);
    m_why = QStringLiteral("the FTP fixture server did not start: ")
            + QString::fromUtf8(out + m_process->readAllStandardError()).trimmed();
}

FtpServer::~FtpServer()
{
    if (m_process->state() != QProcess::NotRunning) {
        m_process->closeWriteChannel(); // the server ends when its input closes
        if (!m_process->waitForFinished(3000)) {
            m_process->kill();
            m_process->waitForFinished(3000);
        }
    }
}

QString FtpServer::root() const
{
    return m_dir->path();
}

QString FtpServer::url() const
{
    return QStringLiteral("ftp://127.0.0.1:%1").arg(m_port);
}

} // namespace orel::test
