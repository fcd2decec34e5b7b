// The sitemap files of a command-line crawl and their upload by FTP; main thread.
#pragma once

#include <QString>

namespace orel {
class LinkCheckerHub;
}

namespace orel::cli {

struct SitemapOptions
{
    QString xml, csv, html; // files to write
    QString ftpServer, ftpDir, ftpUser; // the password comes from ORRELWICK_FTP_PASSWORD
};

// Takes args[i] (and its value) when it is a sitemap option; answers whether it did. An error
// text goes to error.
bool parseSitemapOption(const QStringList &args, int &i, SitemapOptions &o, QString &error);

// What can be known to fail before the run: an output folder that does not exist. Answers an
// error text or a null string.
QString checkSitemapOptions(const SitemapOptions &o);

// Writes the sitemap files asked for, then uploads the XML file (the one written, or one in the
// temporary folder). Answers an error text for the first thing that failed, or a null string.
QString writeSitemapOutputs(LinkCheckerHub &hub, const SitemapOptions &o);

// The usage lines of the options above.
QString sitemapUsage();

} // namespace orel::cli
