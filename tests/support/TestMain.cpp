#include "TestHome.h"

#include "common/Dialogs.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <memory>

namespace orel::test {

namespace {
QTemporaryDir *homeDir = nullptr;
ScriptedDialogs *scripted = nullptr;
} // namespace

QString sourceDir()
{
    const QByteArray dir = qgetenv("ORRELWICK_SOURCE_DIR");
    return dir.isEmpty() ? QStringLiteral(".") : QString::fromLocal8Bit(dir);
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size())
            << path.toStdString();
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool waitFor(const std::function<bool()> &cond, int ms)
{
    QDeadlineTimer deadline(ms);
    while (!cond()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
        // deleteLater() from outside any event loop is only honoured this way.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

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

XdgHome::XdgHome() : m_dir(std::make_unique<QTemporaryDir>())
{
    for (const char *name : { "ORRELWICK_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME" })
        m_saved.emplace_back(name, qgetenv(name));
    qunsetenv("ORRELWICK_HOME");
    qputenv("XDG_DATA_HOME", (root() + QStringLiteral("/data")).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", (root() + QStringLiteral("/cache")).toLocal8Bit());
}

XdgHome::~XdgHome()
{
    for (const auto &[name, value] : m_saved) {
        if (value.isEmpty())
            qunsetenv(name);
        else
            qputenv(name, value);
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
    return !lines.filter(text).isEmpty();
}

int LogCapture::count(const QString &line) const
{
    return int(lines.count(line));
}

} // namespace orel::test

namespace {

// Crawls keep a history per start URL; a fixture server may be given a port an earlier test's
// had, so every test starts without any.
class ForgetHistory : public ::testing::EmptyTestEventListener
{
    void OnTestStart(const ::testing::TestInfo &) override
    {
        const QString home = QString::fromLocal8Bit(qgetenv("ORRELWICK_HOME"));
        if (!home.isEmpty())
            QDir(home + QStringLiteral("/history")).removeRecursively();
    }
};

} // namespace

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
    ::testing::UnitTest::GetInstance()->listeners().Append(new ForgetHistory);
    const int rc = RUN_ALL_TESTS();
    orel::Dialogs::install(nullptr);
    return rc;
}
