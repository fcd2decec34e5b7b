#include "Commands.h"
#include "Report.h"
#include "ResultExports.h"
#include "SitemapOptions.h"
#include "SeoOptions.h"
#include "ValidateOptions.h"

#include <QTextStream>

namespace orel::cli {

int fail(const QString &why)
{
    QTextStream(stderr) << "orrelwick-cli: " << why << "\n";
    return 2;
}

QString usage()
{
    return QStringLiteral(
                   "usage: orrelwick-cli --version\n"
                   "       orrelwick-cli help [COMMAND]    (or COMMAND --help)\n"
                   "       orrelwick-cli settings          (every NAME that --set takes)\n"
                   "       orrelwick-cli config list\n"
                   "       orrelwick-cli config show NAME\n"
                   "       orrelwick-cli config export NAME FILE.lcsettings\n"
                   "       orrelwick-cli config import FILE.lcsettings\n"
                   "       orrelwick-cli crawl [URL] [--config FILE | --config-name NAME]\n"
                   "                     [--set NAME=VALUE]... [--flat-csv FILE [--columns "
                   "ID,...]]\n"
                   "                     [--bad-only] [--recheck-bad] [--quiet | --verbose]\n")
            + reportUsage() + exportUsage() + sitemapUsage() + seoUsage() + validateUsage()
            + QStringLiteral(
                    "       orrelwick-cli recheck FILE.plist [options of crawl but --recheck-bad]\n"
                    "       orrelwick-cli weight URL [--timeout SECONDS] [--verbose]\n"
                    "\n"
                    "crawl prints the bad links and the summary line (--format picks text, "
                    "json, junit,\n"
                    "markdown or csv; --output FILE writes the report there). SIGINT, SIGTERM and "
                    "SIGHUP\n"
                    "write what was found and exit 130, 143 or 129.\n"
                    "crawl exits 0 when no bad link was found, 1 when bad links were found, 2 on a "
                    "usage,\n"
                    "configuration or start error, when a result could not be written and when "
                    "memory\n"
                    "ran out (what was found is written). recheck fetches the bad links of a "
                    "saved\n"
                    "link list again and exits the same way.\n"
                    "weight writes the page's table with everything it loads and the total "
                    "weight as\n"
                    "HTML to standard output; it exits 2 when the page could not be read.\n"
                    "--view picks what --csv and --html render: the links with their pages (link), "
                    "every\n"
                    "occurrence (flat, the default) or the pages with their links (page).\n"
                    "--set takes a settings key (checkImages=YES) or a\n"
                    "control name (linksLimit=5000, soft404Terms=not found|page missing).\n"
                    "The sitemap takes sitemapChangeFrequency=0-7 (none, always, hourly, daily, "
                    "weekly,\n"
                    "monthly, yearly, never), sitemapPriority=None and "
                    "OrrelwickXmlNoBlacklisted=YES;\n"
                    "--ftp-upload reads the password from ORRELWICK_FTP_PASSWORD.\n"
                    "--columns takes status, linkurl, redir, linktext, onpageurl, timestamp, "
                    "distance,\n"
                    "nofollow (default status,linkurl,redir,linktext,onpageurl).\n"
                    "--seo-report and --seo-csv write the SEO report (an HTML page) and the SEO "
                    "table;\n"
                    "any --seo- option switches SEO on; --seo-phrase keeps only the pages that "
                    "contain\n"
                    "the phrase, most occurrences first (set "
                    "SEOCountKeywordsInContentCheckBox=on to\n"
                    "count it in the page content too).\n");
}

} // namespace orel::cli
