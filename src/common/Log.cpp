#include "common/Log.h"

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

void log(const QString &line)
{
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
