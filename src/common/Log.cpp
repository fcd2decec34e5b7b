#include "common/Log.h"

#include "common/UrlParts.h"

#include <QMutex>

Q_LOGGING_CATEGORY(lcOrrelwick, "orrelwick")

namespace orel {

namespace {
QMutex sinkMutex;
LogSink &sinkRef()
{
    static LogSink sink;
    return sink;
}
} // namespace

void log(const QString &text)
{
    // Lines name URLs as the crawl has them, passwords included; none leaves the process.
    const QString line = UrlParts::withoutUserInfo(text);
    {
        QMutexLocker lock(&sinkMutex);
        if (sinkRef())
            sinkRef()(line);
    }
    qCInfo(lcOrrelwick).noquote() << line;
}

void setLogSink(LogSink sink)
{
    QMutexLocker lock(&sinkMutex);
    sinkRef() = std::move(sink);
}

} // namespace orel
