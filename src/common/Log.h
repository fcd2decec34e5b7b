// Log lines of the whole program, in the program's own fixed words; any thread.
#pragma once

#include <QLoggingCategory>
#include <QString>

#include <functional>

Q_DECLARE_LOGGING_CATEGORY(lcOrrelwick)

namespace orel {

// Writes one log line through Qt logging (category "orrelwick"), with the user info of every URL
// in it left out.
void log(const QString &text);

// Tests and the command line can watch the log: the sink sees every line before Qt does.
// Pass an empty function to remove it. Not thread-safe against concurrent logging.
using LogSink = std::function<void(const QString &)>;
void setLogSink(LogSink sink);

} // namespace orel
