// The programs tests read written files back with (python3's readers, xmllint); main thread.
#pragma once

#include "TestHome.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QString>
#include <QStringList>

#include <iostream>

namespace orel::test {

// Runs a program over a file; answers its standard output, failing the test when it fails.
inline QString consume(const QString &program, const QStringList &args)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(30000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        ADD_FAILURE() << program.toStdString() << " failed (installed? tools/setup.sh): "
                      << p.readAllStandardError().toStdString();
        return {};
    }
    return QString::fromUtf8(p.readAllStandardOutput());
}

// A python3 script run over a file (its path in sys.argv[1]).
inline QString python(const QString &script, const QString &file)
{
    return consume(QStringLiteral("python3"), { QStringLiteral("-c"), script, file });
}

// Whether xmllint finds the file valid against a schema of tests/fixtures.
inline bool validAgainst(const QString &schema, const QString &file)
{
    QProcess lint;
    lint.start(QStringLiteral("xmllint"),
               { QStringLiteral("--noout"), QStringLiteral("--schema"),
                 sourceDir() + QStringLiteral("/tests/fixtures/") + schema, file });
    if (!lint.waitForFinished(30000)) {
        ADD_FAILURE() << "xmllint could not run (tools/setup.sh installs libxml2-utils)";
        return false;
    }
    if (lint.exitCode() != 0)
        std::cerr << lint.readAllStandardError().toStdString();
    return lint.exitStatus() == QProcess::NormalExit && lint.exitCode() == 0;
}

} // namespace orel::test
