// "orrelwick-cli weight URL": the weight of one page with everything it loads. The table and
// the total line go to standard output as HTML, errors to standard error.
#include "Commands.h"

#include "links/LinkCheckerUrl.h"
#include "seo/PageWeightGatherer.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTextStream>
#include <QUrl>

namespace orel::cli {

namespace {

struct WeightOptions
{
    QString url;
    double timeout = 30;
    bool verbose = false;
};

// Answers an error text, or a null string when the arguments are understood.
QString parse(const QStringList &args, WeightOptions &o)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        if (a == QLatin1String("--timeout")) {
            if (i + 1 >= args.size())
                return QStringLiteral("--timeout needs a value");
            bool ok = false;
            o.timeout = args.at(++i).toDouble(&ok);
            if (!ok || !(o.timeout > 0) || o.timeout > 3600)
                return QStringLiteral("--timeout takes seconds, more than 0 and at most 3600");
        } else if (a == QLatin1String("--verbose")) {
            o.verbose = true;
        } else if (a.startsWith(QLatin1String("--"))) {
            return QStringLiteral("unknown option %1 for weight").arg(a);
        } else if (!o.url.isNull()) {
            return QStringLiteral("weight takes one URL");
        } else {
            o.url = a.trimmed();
        }
    }
    if (o.url.isEmpty())
        return QStringLiteral("weight needs a URL");
    // A local path may be given relative to the working folder.
    if (!o.url.contains(QLatin1String("://")) && QFileInfo::exists(o.url))
        o.url = QFileInfo(o.url).absoluteFilePath();
    const QUrl url(PageWeightGatherer::normaliseUrl(o.url));
    const QString scheme = url.scheme();
    if (!url.isValid()
        || (scheme != QLatin1String("http") && scheme != QLatin1String("https")
            && scheme != QLatin1String("file"))
        || (scheme != QLatin1String("file") && url.host().isEmpty()))
        return QStringLiteral("cannot weigh \"%1\": not an http, https or file URL").arg(o.url);
    return {};
}

} // namespace

int runWeightCommand(const QStringList &args)
{
    WeightOptions o;
    if (const QString err = parse(args, o); !err.isNull())
        return fail(err);
    if (!o.verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("orrelwick.info=false"));

    PageWeightGatherer gatherer;
    gatherer.setUrlField(o.url);
    gatherer.setTimeOut(o.timeout);
    gatherer.setOutput(true);
    QEventLoop loop;
    QObject::connect(&gatherer, &PageWeightGatherer::finished, &loop, &QEventLoop::quit);
    gatherer.go();
    if (!gatherer.isCrawlFinished())
        loop.exec();

    // The page was read when its own fetch ended in a 2xx answer (after any redirects).
    const LinkCheckerUrl *page = gatherer.startRecord();
    const QString status = page ? page->getStatus() : QString();
    if (!status.startsWith(QLatin1Char('2')))
        return fail(QStringLiteral("%1 could not be read: %2")
                            .arg(page ? page->getLinkUrl() : o.url,
                                 status.isEmpty() ? QStringLiteral("no answer") : status));
    return 0;
}

} // namespace orel::cli
