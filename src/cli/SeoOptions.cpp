// The SEO outputs of a command-line run.
#include "SeoOptions.h"
#include "OutputPaths.h"

#include "common/SettingsControls.h"
#include "common/TextSink.h"
#include "engine/LinkCheckerHub.h"
#include "reports/HtmlExport.h"
#include "reports/LinkExports.h"
#include "seo/SEOManager.h"

#include <QDir>
#include <QFileInfo>

namespace orel::cli {

bool parseSeoOption(const QStringList &args, int &i, SeoOptions &o, QString &error)
{
    const QString &a = args.at(i);
    QString *target = a == QLatin1String("--seo-report") ? &o.report
            : a == QLatin1String("--seo-csv")            ? &o.csv
            : a == QLatin1String("--seo-phrase")         ? &o.phrase
                                                         : nullptr;
    if (!target)
        return false;
    if (i + 1 >= args.size()) {
        error = QStringLiteral("%1 needs a value").arg(a);
        return true;
    }
    *target = args.at(++i);
    if (target == &o.phrase)
        o.phraseGiven = true;
    return true;
}

QString checkSeoOutputs(const SeoOptions &o)
{
    return checkOutputPaths({ o.report, o.csv });
}

void prepareSeo(const SeoOptions &o, SettingsControls &controls)
{
    if (o.any())
        controls.SEOEnabledCheckBox = CheckState::On;
}

QString writeSeoOutputs(LinkCheckerHub &hub, const SeoOptions &o)
{
    if (!o.any())
        return {};
    SEOManager &seo = *hub.seoManager();
    // A crawl empties the search box when it starts, so the phrase is applied once it is done.
    if (o.phraseGiven)
        hub.controls()->SEOSearchBox = o.phrase;
    seo.SEOfilter();
    if (!o.report.isEmpty() && !LinkExports::writeExport(o.report, [&seo](TextSink &out) {
            html::writePageHead(out);
            out << html::styleBlock() << seo.getSEOReport();
            html::writePageTail(out);
        }))
        return QStringLiteral("cannot write %1").arg(o.report);
    if (!o.csv.isEmpty()
        && !LinkExports::writeExport(o.csv, [&seo](TextSink &out) { seo.writeSEOCSV(out); }))
        return QStringLiteral("cannot write %1").arg(o.csv);
    return {};
}

QString seoUsage()
{
    return QStringLiteral(
            "                     [--seo-report FILE] [--seo-csv FILE] [--seo-phrase TEXT]\n");
}

} // namespace orel::cli
