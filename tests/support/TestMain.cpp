#include "TestHome.h"

#include "common/Dialogs.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <memory>

namespace orel::test {

namespace {
QTemporaryDir *homeDir = nullptr;
ScriptedDialogs *scripted = nullptr;
} // namespace

QString home()
{
    return homeDir->path();
}

void wipeHome()
{
    QDir dir(home());
    for (const QFileInfo &fi :
         dir.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        if (fi.isDir())
            QDir(fi.filePath()).removeRecursively();
        else
            QFile::remove(fi.filePath());
    }
}

ScriptedDialogs &dialogs()
{
    return *scripted;
}

void resetDialogs()
{
    *scripted = ScriptedDialogs();
}

QString sourceDir()
{
    const QByteArray dir = qgetenv("ORRELWICK_SOURCE_DIR");
    return dir.isEmpty() ? QStringLiteral(".") : QString::fromLocal8Bit(dir);
}

XdgHome::XdgHome()
    : m_dir(std::make_unique<QTemporaryDir>()),
      m_savedHome(qgetenv("ORRELWICK_HOME")),
      m_savedData(qgetenv("XDG_DATA_HOME")),
      m_savedCache(qgetenv("XDG_CACHE_HOME"))
{
    qunsetenv("ORRELWICK_HOME");
    qputenv("XDG_DATA_HOME", (root() + QStringLiteral("/data")).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", (root() + QStringLiteral("/cache")).toLocal8Bit());
}

XdgHome::~XdgHome()
{
    const std::pair<const char *, const QByteArray *> saved[] = {
        { "ORRELWICK_HOME", &m_savedHome },
        { "XDG_DATA_HOME", &m_savedData },
        { "XDG_CACHE_HOME", &m_savedCache },
    };
    for (const auto &[name, value] : saved) {
        if (value->isEmpty())
            qunsetenv(name);
        else
            qputenv(name, *value);
    }
}

QString XdgHome::root() const
{
    return m_dir->path();
}

LogCapture::LogCapture()
{
    setLogSink([this](const QString &line) { lines.append(line); });
}

LogCapture::~LogCapture()
{
    setLogSink({});
}

bool LogCapture::contains(const QString &text) const
{
    for (const QString &l : lines) {
        if (l.contains(text))
            return true;
    }
    return false;
}

int LogCapture::count(const QString &line) const
{
    return int(lines.count(line));
}

} // namespace orel::test

int main(int argc, char **argv)
{
    // No test may touch the real home folder: every run gets its own application-support folder.
    QTemporaryDir dir;
    orel::test::homeDir = &dir;
    qputenv("ORRELWICK_HOME", dir.path().toLocal8Bit());
    qputenv("QT_LOGGING_RULES", "orrelwick.info=false");
    QCoreApplication app(argc, argv);
    auto scripted = std::make_unique<orel::ScriptedDialogs>();
    orel::test::scripted = scripted.get();
    orel::Dialogs::install(scripted.get());
    ::testing::InitGoogleTest(&argc, argv);
    const int rc = RUN_ALL_TESTS();
    orel::Dialogs::install(nullptr);
    return rc;
}
