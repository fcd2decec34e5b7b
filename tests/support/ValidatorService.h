// HTML validator services for the tests: the local validator that tools/validator.sh runs
// (Debian's w3c-markup-validator with an HTML5 checker), and a tiny stub that answers in the
// older header spelling only; main thread.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class QProcess;
class QTemporaryDir;

namespace orel::test {

// Starts the local validator when it does not answer yet (the first start installs and warms up
// the HTML5 checker and may take a minute) and leaves it running for later tests. When it cannot
// be started, isRunning() is false and error() says why: a test using it must fail with that.
class LocalValidator
{
public:
    LocalValidator();
    bool isRunning() const { return m_error.isNull(); }
    QString error() const { return m_error; }
    // The base address, "http://127.0.0.1:<port>/w3c-validator".
    QString baseUrl() const { return m_baseUrl; }

private:
    QString m_baseUrl;
    QString m_error;
};

// tests/fixtures/validator_stub.py on a free port for one test; the destructor stops it.
class ValidatorStub
{
public:
    ValidatorStub();
    ~ValidatorStub();
    Q_DISABLE_COPY(ValidatorStub)

    bool isRunning() const { return m_port != 0; }
    // "http://127.0.0.1:<port>/stub"; requests go to baseUrl() + "/check".
    QString baseUrl() const;
    // One "METHOD /path <raw body>" per request received so far.
    QStringList requestLog() const;

private:
    quint16 m_port = 0;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QProcess> m_process;
    QString m_logPath;
};

} // namespace orel::test
