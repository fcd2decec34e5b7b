// Shared helpers of the tests: the private application-support folder, the scripted dialogs, a
// log capture, files and waiting for the event loop; main thread.
#pragma once

#include "common/Log.h"
#include "common/ScriptedDialogs.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

// Readable QString values in failure messages.
inline void PrintTo(const QString &s, std::ostream *os)
{
    *os << '"' << s.toStdString() << '"';
}

namespace orel::test {

// The temporary folder that ORRELWICK_HOME points to for the whole test run.
QString home();
// Empties home() (keeps the folder itself).
void wipeHome();
// The scripted dialogs installed for the test run; reset() clears answers and calls.
ScriptedDialogs &dialogs();
void resetDialogs();
// The source tree (for fixtures and examples).
QString sourceDir();
// Writes bytes to a file, making its folders as needed; readFile answers "" when it cannot.
void writeFile(const QString &path, const QByteArray &bytes);
QByteArray readFile(const QString &path);
// Runs the event loop (and deleteLater()) until cond holds; false when ms pass first.
bool waitFor(const std::function<bool()> &cond, int ms = 10000);

// While it lives, ORRELWICK_HOME is unset and XDG_DATA_HOME and XDG_CACHE_HOME point into a
// fresh temporary folder ("data" and "cache" below root()), as on a user's machine.
class XdgHome
{
public:
    XdgHome();
    ~XdgHome();
    Q_DISABLE_COPY(XdgHome)
    QString root() const;

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::vector<std::pair<const char *, QByteArray>> m_saved; // variable, value before
};

// Collects every log line written while it lives.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    QStringList lines;
    bool contains(const QString &text) const; // a line containing text
    int count(const QString &line) const; // lines equal to line
};

} // namespace orel::test
