// The result files and reports of a command-line run.
#include "ResultExports.h"
#include "OutputPaths.h"

#include "engine/CrawlScope.h"
#include "engine/LinkCheckerHub.h"
#include "links/LinkCheckerUrl.h"
#include "reports/ByLinkModel.h"
#include "reports/ByPageModel.h"
#include "reports/LinkExports.h"
#include "reports/ModelOutline.h"
#include "reports/OrelReportDataSource.h"

#include <QDir>
#include <QFileInfo>
#include <QTextStream>

namespace orel::cli {

namespace {

const char kNoTreeTdl[] = "It's currently not possible to export tree view to TDL. Suggest "
                          "switching to flat view before exporting.";

// The outline of the link or page view, with every row expanded.
QString outlineText(LinkCheckerHub &hub, const QString &view, bool html)
{
    hub.views().flush();
    auto render = [html](OutlineModel &model) {
        ModelOutline outline(model, model.columns());
        return html ? LinkExports::outlineHtmlText(outline) : LinkExports::outlineCsvText(outline);
    };
    if (view == QLatin1String("page")) {
        ByPageModel model(hub.views());
        return render(model);
    }
    ByLinkModel model(hub.views());
    return render(model);
}

} // namespace

QStringList ExportOptions::files() const
{
    QStringList out;
    for (const QString *f : { &csv, &tdl, &flatTdl, &text, &html, &flatHtml, &dot }) {
        if (!f->isEmpty())
            out.append(*f);
    }
    return out;
}

bool parseExportOption(const QStringList &args, int &i, ExportOptions &o, QString &error)
{
    const QString &a = args.at(i);
    const auto value = [&](QString &out) {
        if (i + 1 >= args.size())
            error = QStringLiteral("%1 needs a value").arg(a);
        else
            out = args.at(++i);
        return true;
    };
    const std::pair<const char *, QString *> files[] = {
        { "--csv", &o.csv },       { "--tdl", &o.tdl },   { "--flat-tdl", &o.flatTdl },
        { "--text", &o.text },     { "--html", &o.html }, { "--flat-html", &o.flatHtml },
        { "--dot", &o.dot },       { "--view", &o.view }, { "--archive", &o.archiveDir },
        { "--locate", &o.locate },
    };
    for (const auto &[name, target] : files) {
        if (a == QLatin1String(name))
            return value(*target);
    }
    if (a == QLatin1String("--dot-levels")) {
        QString levels;
        value(levels);
        bool ok = false;
        o.dotLevels = levels.toInt(&ok);
        if (error.isNull() && (!ok || o.dotLevels < 0))
            error = QStringLiteral("--dot-levels needs a number of levels, not \"%1\"").arg(levels);
        return true;
    }
    bool *flag = a == QLatin1String("--dot-clean") ? &o.dotClean
            : a == QLatin1String("--dot-colour")   ? &o.dotColour
            : a == QLatin1String("--recheck-bad")  ? &o.recheckBad
                                                   : nullptr;
    if (flag)
        *flag = true;
    return flag != nullptr;
}

QString checkExports(const ExportOptions &o)
{
    if (o.view != QLatin1String("link") && o.view != QLatin1String("flat")
        && o.view != QLatin1String("page"))
        return QStringLiteral("--view takes link, flat or page, not \"%1\"").arg(o.view);
    if (!o.tdl.isEmpty() && o.view == QLatin1String("page"))
        return QLatin1String(kNoTreeTdl);
    if (QString err = checkOutputPaths(o.files()); !err.isNull())
        return err;
    if (!o.archiveDir.isEmpty() && !QFileInfo(o.archiveDir).isDir())
        return QStringLiteral("cannot archive into %1: no such folder").arg(o.archiveDir);
    return {};
}

QString writeExports(LinkCheckerHub &hub, const ExportOptions &o, bool badOnly)
{
    hub.setBadLinksOnly(badOnly);
    const bool flat = o.view == QLatin1String("flat");
    if (flat || !o.flatHtml.isEmpty())
        hub.report().doReport(hub);
    QString error;
    // Each export is written as it is built.
    const auto put = [&](const QString &path, const std::function<void(TextSink &)> &build) {
        if (error.isNull() && !path.isEmpty() && !LinkExports::writeExport(path, build))
            error = QStringLiteral("cannot write %1").arg(path);
    };
    LinkExports &exports = hub.exports();
    put(o.csv, [&](TextSink &out) {
        if (flat)
            hub.report().writeFlatText(out, QLatin1Char(','));
        else
            out << outlineText(hub, o.view, false);
    });
    put(o.tdl, [&](TextSink &out) {
        if (flat)
            hub.report().writeFlatText(out, QLatin1Char('\t'));
        else
            exports.writeTable(out, exports.tableColumns(), QLatin1Char('\t'));
    });
    put(o.html, [&](TextSink &out) {
        if (flat)
            hub.report().writeHtml(out);
        else
            out << outlineText(hub, o.view, true);
    });
    put(o.flatTdl,
        [&](TextSink &out) { exports.writeFlat(out, exports.tableColumns(), QLatin1Char('\t')); });
    put(o.text, [&](TextSink &out) { exports.writePlainText(out); });
    put(o.flatHtml, [&](TextSink &out) { hub.report().writeHtml(out); });
    put(o.dot, [&](TextSink &out) { exports.writeDot(out, o.dotLevels, o.dotClean, o.dotColour); });
    if (!error.isNull() || o.locate.isEmpty())
        return error;
    // Given as a start URL would be: a local path, relative to the working folder or not,
    // stands for its file URL.
    QString url = o.locate.trimmed();
    if (!url.contains(QLatin1String("://")) && QFileInfo::exists(url))
        url = QFileInfo(url).absoluteFilePath();
    url = CrawlScope::normaliseStartUrl(url);
    const LinkCheckerUrl *record = hub.weHaveThisOneAlready(url, nullptr);
    if (!record)
        record = hub.getLinkCheckerUrlWithUrl(url);
    if (!record || record->onPageCount() == 0)
        return QStringLiteral("no link to %1 on any page").arg(o.locate);
    QTextStream(stdout) << hub.locate(record, 0) << "\n";
    return {};
}

QString exportUsage()
{
    return QStringLiteral(
            "                     [--view link|flat|page] [--csv FILE] [--tdl FILE]\n"
            "                     [--html FILE] [--flat-tdl FILE] [--flat-html FILE]\n"
            "                     [--text FILE] [--dot FILE [--dot-levels N] [--dot-clean]\n"
            "                     [--dot-colour]] [--archive DIR] [--locate LINKURL]\n");
}

} // namespace orel::cli
