// Shared helpers of the tests: the private application-support folder, the scripted dialogs and
// a log capture; main thread.
#pragma once

#include "common/Log.h"
#include "common/ScriptedDialogs.h"

#include <QString>
#include <QStringList>

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
