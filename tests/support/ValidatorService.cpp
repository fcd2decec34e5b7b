#include "ValidatorService.h"

#include "TestHome.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <signal.h>
#include <sys/prctl.h>

namespace orel::test {

LocalValidator::LocalValidator()
{
    const QString port = qEnvironmentVariable("ORRELWICK_VALIDATOR_PORT", QStringLiteral("8398"));
    m_baseUrl = QStringLiteral("http://127.0.0.1:%1/w3c-validator").arg(port);
    QProcess script;
    script.setProcessChannelMode(QProcess::MergedChannels);
    script.start(QStringLiteral("bash"),
                 { sourceDir() + QStringLiteral("/tools/validator.sh"), QStringLiteral("start") });
    // A first start may install the HTML5 checker and wait for Java to come up.
    if (!script.waitForFinished(300000)) {
        script.kill();
        m_error = QStringLiteral("tools/validator.sh start did not end within 5 minutes");
        return;
    }
    if (script.exitStatus() != QProcess::NormalExit || script.exitCode() != 0)
        m_error = QStringLiteral("tools/validator.sh start failed: %1")
                          .arg(QString::fromUtf8(script.readAll()).trimmed());
}

ValidatorStub::ValidatorStub()
    : m_dir(new QTemporaryDir),
      m_process(new QProcess),
      m_logPath(m_dir->filePath(QStringLiteral("requests.log")))
{
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process->start(QStringLiteral("python3"),
                     { sourceDir() + QStringLiteral("/tests/fixtures/validator_stub.py"),
                       QStringLiteral("--log"), m_logPath });
    QDeadlineTimer deadline(15000);
    QByteArray out;
    while (!out.contains('\n') && m_process->waitForReadyRead(int(deadline.remainingTime())))
        out += m_process->readAllStandardOutput();
    if (out.startsWith("PORT "))
        m_port = quint16(out.mid(5).trimmed().toUInt());
    else
        qWarning("validator stub: no port announced (%s)", out.constData());
}

ValidatorStub::~ValidatorStub()
{
    m_process->closeWriteChannel();
    if (!m_process->waitForFinished(3000))
        m_process->kill();
    m_process->waitForFinished(3000);
}

QString ValidatorStub::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1/stub").arg(m_port);
}

QStringList ValidatorStub::requestLog() const
{
    QFile f(m_logPath);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(f.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace orel::test
