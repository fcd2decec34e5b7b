// "orrelwick-cli help [COMMAND]" and "COMMAND --help": the usage of one command, or of all.
#include "Commands.h"
#include "Report.h"
#include "ResultExports.h"
#include "SeoOptions.h"
#include "SitemapOptions.h"

#include <QTextStream>

namespace orel::cli {

namespace {

QString crawlHelp()
{
    return QStringLiteral(
                   "usage: orrelwick-cli crawl [URL|FILE|DIR] [--config FILE | --config-name "
                   "NAME]\n"
                   "                     [--set NAME=VALUE]... [--flat-csv FILE [--columns "
                   "ID,...]]\n"
                   "                     [--bad-only] [--recheck-bad] [--quiet | "
                   "--verbose]\n")
            + reportUsage() + exportUsage() + sitemapUsage() + seoUsage()
            + QStringLiteral(
                    "\n"
                    "Crawls the site and prints its bad links, one block each (status, URL, where "
                    "it\n"
                    "redirects, the pages it is on with the link text), then the summary line.\n"
                    "--format picks the report's form: text (the default), json, junit, "
                    "markdown or\n"
                    "csv; --output FILE writes it there instead of standard output; --quiet "
                    "prints\n"
                    "the summary line alone. Blocked links (a server refusing the crawler) are "
                    "listed\n"
                    "apart and count for the exit status only with --fail-on-blocked.\n"
                    "Each crawl is compared with the last one of the same start URL: bad links "
                    "read\n"
                    "new or still bad, links bad before and good now are listed as fixed. "
                    "--baseline\n"
                    "FILE compares with an earlier JSON report instead; --fail-on new fails the "
                    "run\n"
                    "only for newly bad links; --no-history neither reads nor records the "
                    "history.\n"
                    "--set NAME=VALUE sets a control or a configuration key: orrelwick-cli "
                    "settings\n"
                    "lists them all.\n"
                    "\n"
                    "Exit status: 0 no bad link, 1 bad links, 2 usage, configuration or start "
                    "error\n"
                    "(the start page could not be fetched, or answered with an error), a result "
                    "that\n"
                    "could not be written, memory exhausted. SIGINT, SIGTERM and SIGHUP pause the "
                    "crawl,\n"
                    "write every output with what was found and exit 130, 143 or 129.\n");
}

QString helpOf(const QString &command)
{
    if (command == QLatin1String("crawl"))
        return crawlHelp();
    if (command == QLatin1String("recheck"))
        return QStringLiteral("usage: orrelwick-cli recheck FILE.plist [options of crawl but "
                              "--recheck-bad]\n\n"
                              "Fetches the bad links of a saved link list again; reports and "
                              "exits as crawl does.\n");
    if (command == QLatin1String("weight"))
        return QStringLiteral("usage: orrelwick-cli weight URL [--timeout SECONDS] [--verbose]\n\n"
                              "Writes the page's table with everything it loads and the total "
                              "weight as HTML\nto standard output; exits 2 when the page could "
                              "not be read.\n");
    if (command == QLatin1String("config"))
        return QStringLiteral("usage: orrelwick-cli config list\n"
                              "       orrelwick-cli config show NAME\n"
                              "       orrelwick-cli config export NAME FILE.lcsettings\n"
                              "       orrelwick-cli config import FILE.lcsettings\n\n"
                              "Lists, shows, exports and imports saved configurations.\n");
    if (command == QLatin1String("settings"))
        return QStringLiteral("usage: orrelwick-cli settings\n\n"
                              "Lists every name --set takes with its kind, default and meaning.\n");
    if (command == QLatin1String("help"))
        return QStringLiteral("usage: orrelwick-cli help [COMMAND]\n");
    return {};
}

} // namespace

QString commandHelp(const QString &command)
{
    return helpOf(command);
}

int runHelpCommand(const QStringList &args)
{
    if (args.isEmpty()) {
        QTextStream(stdout) << usage();
        return 0;
    }
    const QString text = args.size() == 1 ? helpOf(args.first()) : QString();
    if (text.isNull()) {
        QTextStream(stderr) << "orrelwick-cli: no help for \"" << args.join(QLatin1Char(' '))
                            << "\" (commands: config, crawl, recheck, weight, settings, help)\n";
        return 2;
    }
    QTextStream(stdout) << text;
    return 0;
}

} // namespace orel::cli
