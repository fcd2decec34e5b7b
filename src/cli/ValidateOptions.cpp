// HTML validation on the command line.
#include "ValidateOptions.h"

#include "OutputPaths.h"
#include "StopSignals.h"

#include "common/AtomicFile.h"
#include "common/SettingsControls.h"
#include "engine/LinkCheckerHub.h"
#include "seo/SEOManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

#include <memory>

namespace orel::cli {

bool parseValidateOption(const QStringList &args, int &i, ValidateOptions &o, QString &error)
{
    const QString &a = args.at(i);
    const auto value = [&](QString &out) {
        if (i + 1 >= args.size())
            error = QStringLiteral("%1 needs a value").arg(a);
        else
            out = args.at(++i);
        return true;
    };
    if (a == QLatin1String("--validate"))
        return value(o.serviceUrl);
    if (a == QLatin1String("--validation-report"))
        return value(o.report);
    if (a == QLatin1String("--validation-csv"))
        return value(o.csv);
    if (a == QLatin1String("--validate-all")) {
        o.all = true;
        return true;
    }
    return false;
}

QString checkValidateOptions(const ValidateOptions &o)
{
    if (!o.enabled()) {
        if (o.all || !o.report.isEmpty() || !o.csv.isEmpty())
            return QStringLiteral("--validate-all, --validation-report and --validation-csv need "
                                  "--validate SERVICE_URL");
        return {};
    }
    const QUrl service(o.serviceUrl);
    if (!service.isValid() || service.host().isEmpty()
        || (service.scheme() != QLatin1String("http")
            && service.scheme() != QLatin1String("https")))
        return QStringLiteral("--validate needs the validator's http or https address, not "
                              "\"%1\"")
                .arg(o.serviceUrl);
    return checkOutputPaths({ o.report, o.csv });
}

void applyValidateOptions(const ValidateOptions &o, SettingsControls &controls)
{
    if (!o.enabled())
        return;
    QString base = o.serviceUrl;
    // Requests go to "<base>/check".
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    controls.validationURL = base;
    controls.ValidationEnabledCheckBox = CheckState::On;
    if (o.all)
        controls.validateAllButton = CheckState::On;
    Q_EMIT controls.changed();
}

void waitForValidation(LinkCheckerHub &hub, const ValidateOptions &o)
{
    SEOManager *seo = hub.seoManager();
    if (!o.enabled() || !seo->isValidating())
        return;
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (!seo->isValidating())
            loop.quit();
    });
    poll.start(50);
    // A stop signal while waiting ends the validation: the runner asks for no more pages and
    // what was answered is written.
    std::unique_ptr<QSocketNotifier> stop;
    if (const int fd = stopSignalFd(); fd >= 0) {
        stop = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
        QObject::connect(stop.get(), &QSocketNotifier::activated, &loop, [&] {
            if (takeStopSignal() != 0) {
                seo->setStopPressed(true);
                loop.quit();
            }
        });
    }
    loop.exec();
    // A finished transfer counts its answer in a call posted for later: let those run before the
    // counts are read.
    QCoreApplication::processEvents();
}

QString writeValidationOutputs(LinkCheckerHub &hub, const ValidateOptions &o, bool stdoutTaken)
{
    if (!o.enabled())
        return {};
    SEOManager *seo = hub.seoManager();
    QTextStream(stdoutTaken ? stderr : stdout)
            << "HTML validation: " << seo->getNumberValidated() << " page(s) validated, "
            << seo->getNumberValidationErrors() << " with errors, "
            << seo->getNumberValidationWarnings() << " with warnings\n";
    QString error;
    if (!o.report.isEmpty()
        && !writeFileAtomically(o.report, seo->getValidationReport().toUtf8(), &error))
        return QStringLiteral("cannot write %1: %2").arg(o.report, error);
    if (!o.csv.isEmpty() && !seo->writeValidatorCSV(o.csv, &error))
        return QStringLiteral("cannot write %1: %2").arg(o.csv, error);
    return {};
}

QString validateUsage()
{
    return QStringLiteral("                     [--validate SERVICE_URL [--validate-all]\n"
                          "                     [--validation-report FILE] [--validation-csv "
                          "FILE]]\n");
}

} // namespace orel::cli
