// The commands of orrelwick-cli; main thread. Each answers the process exit status:
// 0 success (crawl: no bad link), 1 crawl found bad links, 2 usage, configuration or start error.
#pragma once

#include <QString>
#include <QStringList>

namespace orel::cli {

QString usage();
// Writes "orrelwick-cli: " and why on stderr; answers 2, the exit status of a usage error.
int fail(const QString &why);
int runConfigCommand(const QStringList &args); // args after "config"
int runCrawlCommand(const QStringList &args); // args after "crawl"
int runRecheckCommand(const QStringList &args); // args after "recheck"
int runWeightCommand(const QStringList &args); // args after "weight"
int runHelpCommand(const QStringList &args); // args after "help"
int runSettingsCommand(const QStringList &args); // args after "settings"
// The help of one command; a null string for a command that does not exist.
QString commandHelp(const QString &command);
QString settingsListText();

} // namespace orel::cli
