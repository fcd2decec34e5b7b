// The SEO outputs of a crawl run on the command line: the SEO report, the SEO table as CSV and
// the keyword phrase that filters it; main thread.
#pragma once

#include <QString>
#include <QStringList>

namespace orel {
class LinkCheckerHub;
class SettingsControls;
} // namespace orel

namespace orel::cli {

struct SeoOptions
{
    QString report; // --seo-report FILE
    QString csv; // --seo-csv FILE
    QString phrase; // --seo-phrase TEXT
    bool phraseGiven = false;

    bool any() const { return !report.isEmpty() || !csv.isEmpty() || phraseGiven; }
};

// Takes args[i] (and its value) when it is an SEO option; answers whether it did. An error text
// goes to error.
bool parseSeoOption(const QStringList &args, int &i, SeoOptions &o, QString &error);

// A file whose folder does not exist, or that is a folder. Answers an error text or a null
// string.
QString checkSeoOutputs(const SeoOptions &o);

// The SEO table has rows only while SEO is on: any SEO option switches it on for the run, so
// that the outputs show the crawled pages whatever the configuration says.
void prepareSeo(const SeoOptions &o, SettingsControls &controls);

// After the run: the phrase (when given) goes into the SEO search box and filters the table,
// then the report (an HTML page) and the CSV are written. Answers an error text for the first
// file that could not be written, or a null string.
QString writeSeoOutputs(LinkCheckerHub &hub, const SeoOptions &o);

// The usage lines of the options above.
QString seoUsage();

} // namespace orel::cli
