// Runs the built orrelwick-cli (ORRELWICK_CLI_PATH, defined by the test targets that use it) as a
// child process; main thread.
#pragma once

#include <gtest/gtest.h>

#include <QProcess>
#include <QString>
#include <QStringList>

namespace orel::test {

struct CliRun
{
    int exitCode = -1; // -1 when it crashed or did not end
    QString out, err;
};

// Runs orrelwick-cli with the arguments (the command first), in cwd when given, with the
// environment's variables changed by env ("NAME=value").
inline CliRun runCli(const QStringList &args, const QString &cwd = {}, const QStringList &env = {})
{
    QProcess p;
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    for (const QString &entry : env)
        e.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
    p.setProcessEnvironment(e);
    p.setWorkingDirectory(cwd);
    p.start(QStringLiteral(ORRELWICK_CLI_PATH), args);
    EXPECT_TRUE(p.waitForFinished(60000)) << "orrelwick-cli did not end";
    return { p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
             QString::fromUtf8(p.readAllStandardOutput()),
             QString::fromUtf8(p.readAllStandardError()) };
}

} // namespace orel::test
