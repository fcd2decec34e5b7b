// Placeholder until the network layer lands: every transfer fails at once.
#include "links/myNSURLConnection.h"

#include "common/Log.h"

#include <QTimer>

namespace orel {

struct myNSURLConnection::Private
{
};

myNSURLConnection::myNSURLConnection(const UrlRequest &request, ConnectionDelegate *delegate,
                                     int identifier)
    : d(new Private), m_identifier(identifier)
{
    Q_UNUSED(request);
    QTimer::singleShot(0, this, [this, delegate] {
        if (!m_cancelled)
            delegate->didFailWithError(this, UrlError{1, QStringLiteral("not implemented")});
        deleteLater();
    });
}

myNSURLConnection::~myNSURLConnection()
{
    delete d;
}

void myNSURLConnection::cancel()
{
    m_cancelled = true;
    deleteLater();
}

bool myNSURLConnection::canAuthenticateAgainstProtectionSpace(AuthMethod)
{
    log(QStringLiteral("myNSURLConnection refusing authentication"));
    return false;
}

int myNSURLConnection::activeCount()
{
    return 0;
}

} // namespace orel
