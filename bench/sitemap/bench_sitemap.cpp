// Crawls a site (the crawl benchmark's nginx site) as orrelwick-cli does, then times the sitemap:
// the collection, the XML, CSV and HTML files written, and the XML again after a column sort,
// each step with the process's peak resident size over it.
// Usage: bench_sitemap URL [--threads N] [--out DIR]
#include "ProcessMemory.h"

#include "common/Dialogs.h"
#include "common/ScriptedDialogs.h"
#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"
#include "engine/LinkCheckerHub.h"
#include "seo/SEOManager.h"
#include "seo/SitemapTable.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTextStream>

#include <functional>

using namespace orel;
using orel::bench::ProcessMemory;

namespace {

QTextStream out(stdout);

// Runs step once, printing its wall time and the peak resident size during it.
void measure(const char *name, const std::function<QString()> &step)
{
    ProcessMemory::resetPeak();
    const double before = ProcessMemory::now().rssMb;
    QElapsedTimer clock;
    clock.start();
    const QString note = step();
    const double ms = double(clock.nsecsElapsed()) / 1e6;
    const ProcessMemory after = ProcessMemory::now();
    out << "| " << name << " | " << QString::number(ms, 'f', 1) << " | "
        << QString::number(before, 'f', 1) << " | " << QString::number(after.peakMb, 'f', 1)
        << " | " << note << " |\n"
        << Qt::flush;
}

QString sizeOf(const QString &path)
{
    return QStringLiteral("%1 KB").arg(QFileInfo(path).size() / 1024);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.isEmpty() || args.first().startsWith(QLatin1String("-"))) {
        QTextStream(stderr) << "usage: bench_sitemap URL [--threads N] [--out DIR]\n";
        return 2;
    }
    const QString url = args.takeFirst();
    int threads = 16;
    QTemporaryDir scratch;
    QString dir = scratch.path();
    for (int i = 0; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--threads"))
            threads = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--out"))
            dir = args[i + 1];
    }
    qputenv("ORRELWICK_HOME", QFile::encodeName(scratch.path() + QStringLiteral("/home")));
    QLoggingCategory::setFilterRules(QStringLiteral("orrelwick.info=false"));
    ScriptedDialogs dialogs;
    Dialogs::install(&dialogs);

    SettingsControls controls;
    OrelConfigManager manager(&controls);
    controls.urlField = url;
    controls.numberOfThreads = threads;
    controls.sitemapChangeFrequency = 4;
    LinkCheckerHub hub(&controls, &manager);
    SEOManager &seo = *hub.seoManager();

    out << "| Step | ms | RSS before MB | peak MB | |\n|---|---|---|---|---|\n";
    measure("crawl", [&] {
        QEventLoop loop;
        QObject::connect(&hub, &LinkCheckerHub::crawlFinishedSignal, &loop, &QEventLoop::quit);
        hub.go();
        if (!hub.isCrawlFinished())
            loop.exec();
        return QStringLiteral("%1 links, %2 pages admitted")
                .arg(hub.recordCount())
                .arg(seo.getCount());
    });
    measure("sitemap collection",
            [&] { return QStringLiteral("%1 pages").arg(seo.getSitemapCollectionCount()); });
    const QString xml = dir + QStringLiteral("/sitemap.xml");
    measure("XML file", [&] { return seo.writeXML(xml) ? sizeOf(xml) : QStringLiteral("failed"); });
    const QString csv = dir + QStringLiteral("/sitemap.csv");
    measure("CSV file",
            [&] { return seo.writeSitemapCSV(csv) ? sizeOf(csv) : QStringLiteral("failed"); });
    const QString html = dir + QStringLiteral("/sitemap.html");
    measure("HTML file",
            [&] { return seo.writeSitemapHTML(html) ? sizeOf(html) : QStringLiteral("failed"); });
    measure("sort by URL, XML again", [&] {
        seo.builtInSitemapTable().setSortDescriptor(
                SortDescriptor { QStringLiteral("actualurl"), true });
        return seo.writeXML(xml) ? sizeOf(xml) : QStringLiteral("failed");
    });
    return 0;
}
