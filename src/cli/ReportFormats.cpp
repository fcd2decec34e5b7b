// The forms of the command-line report. Each writes straight from the records into the sink, so
// that a crawl of a million occurrences is written without building its text twice.
#include "Report.h"

#include "common/TextSink.h"
#include "links/LinkCheckerUrl.h"

#include <QDateTime>

namespace orel::cli {

namespace {

// The text and Markdown forms name this many pages of a link, then "and N more".
constexpr qsizetype kPagesShown = 10;

bool listed(const LinkCheckerUrl *record, bool badOnly)
{
    return !badOnly || verdictOf(*record) != Verdict::Good;
}

void writeNumber(TextSink &out, double value)
{
    out << QString::number(value, 'g', 6);
}

void jsonString(TextSink &out, QStringView text)
{
    out << QLatin1Char('"');
    qsizetype from = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c >= 0x20 && c != u'"' && c != u'\\')
            continue;
        out << text.mid(from, i - from);
        from = i + 1;
        switch (c) {
        case u'"':
            out << QLatin1String("\\\"");
            break;
        case u'\\':
            out << QLatin1String("\\\\");
            break;
        case u'\n':
            out << QLatin1String("\\n");
            break;
        case u'\r':
            out << QLatin1String("\\r");
            break;
        case u'\t':
            out << QLatin1String("\\t");
            break;
        default:
            out << QStringLiteral("\\u%1").arg(int(c), 4, 16, QLatin1Char('0'));
        }
    }
    out << text.mid(from) << QLatin1Char('"');
}

// Text content and attribute values of XML; characters XML 1.0 cannot hold are dropped.
void xmlText(TextSink &out, QStringView text)
{
    qsizetype from = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        const bool control = c < 0x20 && c != u'\t' && c != u'\n' && c != u'\r';
        if (!control && c != u'<' && c != u'>' && c != u'&' && c != u'"' && c != 0xFFFE
            && c != 0xFFFF)
            continue;
        out << text.mid(from, i - from);
        from = i + 1;
        if (c == u'<')
            out << QLatin1String("&lt;");
        else if (c == u'>')
            out << QLatin1String("&gt;");
        else if (c == u'&')
            out << QLatin1String("&amp;");
        else if (c == u'"')
            out << QLatin1String("&quot;");
        else if (c == u'\n' || c == u'\r' || c == u'\t')
            out << QStringLiteral("&#%1;").arg(int(c));
    }
    out << text.mid(from);
}

// One field of RFC 4180: quoted when it holds a comma, a quote or a line end.
void csvField(TextSink &out, QStringView text)
{
    bool quote = false;
    for (const QChar c : text)
        quote = quote || c == u',' || c == u'"' || c == u'\n' || c == u'\r';
    if (!quote) {
        out << text;
        return;
    }
    out << QLatin1Char('"');
    qsizetype from = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'"') {
            out << text.mid(from, i + 1 - from) << QLatin1Char('"');
            from = i + 1;
        }
    }
    out << text.mid(from) << QLatin1Char('"');
}

// A Markdown table cell: one line, and "|" would end the cell.
void markdownCell(TextSink &out, QStringView text)
{
    qsizetype from = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c != u'|' && c != u'\n' && c != u'\r' && c != u'\\')
            continue;
        out << text.mid(from, i - from);
        from = i + 1;
        out << (c == u'|'            ? QLatin1String("\\|")
                        : c == u'\\' ? QLatin1String("\\\\")
                                     : QLatin1String(" "));
    }
    out << text.mid(from);
}

void textBlock(TextSink &out, const LinkCheckerUrl &r, Change change)
{
    out << r.getStatus();
    if (change != Change::None)
        out << QLatin1String(" (") << changeName(change) << QLatin1Char(')');
    out << QLatin1Char('\n') << QLatin1String("  ") << r.getLinkUrl() << QLatin1Char('\n');
    if (!r.getRedir().isEmpty())
        out << QLatin1String("  redirects to ") << r.getRedir() << QLatin1Char('\n');
    const qsizetype pages = r.onPageCount();
    for (qsizetype i = 0; i < std::min(pages, kPagesShown); ++i) {
        out << QLatin1String("  on ") << r.onPageUrlView(i) << QLatin1String(" \"")
            << r.onPageLinkTextView(i) << QLatin1String("\"\n");
    }
    if (pages > kPagesShown)
        out << QStringLiteral("  and %1 more\n").arg(pages - kPagesShown);
    out << QLatin1Char('\n');
}

} // namespace

void writeTextReport(TextSink &out, const Report &report, bool quiet)
{
    if (!quiet) {
        for (const LinkCheckerUrl *r : report.links) {
            if (verdictOf(*r) == Verdict::Bad)
                textBlock(out, *r, report.changeOf(r));
        }
        if (report.blocked > 0) {
            out << QLatin1String("Blocked (the server refused the crawler):\n\n");
            for (const LinkCheckerUrl *r : report.links) {
                if (verdictOf(*r) == Verdict::Blocked)
                    textBlock(out, *r, report.changeOf(r));
            }
        }
        if (!report.fixed.isEmpty()) {
            out << QLatin1String("Fixed since the earlier run:\n");
            for (const Report::FixedLink &f : report.fixed)
                out << QLatin1String("  ") << f.url << QLatin1String(" (was ") << f.status
                    << QLatin1String(f.linked ? ")\n" : "; no longer linked)\n");
            out << QLatin1Char('\n');
        }
        for (const QString &line : report.limits)
            out << line << QLatin1Char('\n');
    }
    out << report.summary << QLatin1Char('\n');
}

void writeJsonReport(TextSink &out, const Report &report, bool badOnly)
{
    out << QLatin1String("{\n  \"start\": ");
    jsonString(out, report.start);
    out << QLatin1String(",\n  \"summary\": ");
    jsonString(out, report.summary);
    out << QLatin1String(",\n  \"interrupted\": ")
        << QLatin1String(report.interrupted ? "true" : "false")
        << QStringLiteral(",\n  \"found\": %1,\n  \"checked\": %2,\n  \"bad\": %3,\n"
                          "  \"blocked\": %4,\n  \"limits\": [")
                    .arg(report.links.size())
                    .arg(report.checked)
                    .arg(report.bad)
                    .arg(report.blocked);
    for (qsizetype i = 0; i < report.limits.size(); ++i) {
        out << QLatin1String(i ? ", " : "");
        jsonString(out, report.limits.at(i));
    }
    out << QLatin1String("],\n  \"previous\": ");
    if (report.compared)
        jsonString(out, report.previousSource);
    else
        out << QLatin1String("null");
    out << QStringLiteral(",\n  \"new\": %1,\n  \"fixed\": [").arg(report.newBad);
    for (qsizetype i = 0; i < report.fixed.size(); ++i) {
        const Report::FixedLink &f = report.fixed.at(i);
        out << QLatin1String(i ? ",\n    {\"url\": " : "\n    {\"url\": ");
        jsonString(out, f.url);
        out << QLatin1String(", \"status\": ");
        jsonString(out, f.status);
        out << QLatin1String(", \"linked\": ") << QLatin1String(f.linked ? "true}" : "false}");
    }
    out << QLatin1String(report.fixed.isEmpty() ? "]" : "\n  ]")
        << QLatin1String(",\n  \"links\": [");
    bool first = true;
    for (const LinkCheckerUrl *r : report.links) {
        if (!listed(r, badOnly))
            continue;
        out << QLatin1String(first ? "\n    {\"url\": " : ",\n    {\"url\": ");
        first = false;
        jsonString(out, r->getLinkUrl());
        out << QLatin1String(", \"status\": ");
        jsonString(out, r->getStatus());
        out << QLatin1String(", \"verdict\": \"") << verdictName(verdictOf(*r));
        if (const Change change = report.changeOf(r); change != Change::None)
            out << QLatin1String("\", \"change\": \"") << changeName(change);
        out << QLatin1String("\", \"redirect\": ");
        if (r->getRedir().isEmpty())
            out << QLatin1String("null");
        else
            jsonString(out, r->getRedir());
        out << QLatin1String(", \"redirectHistory\": [");
        const QStringList history = r->redirectHistory();
        for (qsizetype i = 0; i < history.size(); ++i) {
            out << QLatin1String(i ? ", " : "");
            jsonString(out, history.at(i));
        }
        out << QLatin1String("], \"responseTime\": ");
        writeNumber(out, r->getResponseTime());
        out << QLatin1String(", \"internal\": ")
            << QLatin1String(r->isInternal() ? "true" : "false") << QLatin1String(", \"pages\": [");
        for (qsizetype i = 0; i < r->onPageCount(); ++i) {
            out << QLatin1String(i ? ", {\"url\": " : "{\"url\": ");
            jsonString(out, r->onPageUrlView(i));
            out << QLatin1String(", \"text\": ");
            jsonString(out, r->onPageLinkTextView(i));
            out << QLatin1Char('}');
        }
        out << QLatin1String("]}");
    }
    out << QLatin1String(first ? "]\n}\n" : "\n  ]\n}\n");
}

void writeJUnitReport(TextSink &out, const Report &report, bool badOnly)
{
    int tests = 0, failures = 0, skipped = 0;
    double time = 0;
    for (const LinkCheckerUrl *r : report.links) {
        if (!listed(r, badOnly))
            continue;
        ++tests;
        time += r->getResponseTime();
        const Verdict v = verdictOf(*r);
        if (v == Verdict::Bad || (v == Verdict::Blocked && report.failOnBlocked))
            ++failures;
        else if (v == Verdict::Blocked)
            ++skipped;
    }
    const QString counts =
            QStringLiteral(" tests=\"%1\" failures=\"%2\" errors=\"0\" skipped=\"%3\" "
                           "time=\"%4\"")
                    .arg(tests)
                    .arg(failures)
                    .arg(skipped)
                    .arg(time, 0, 'f', 3);
    out << QLatin1String(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"orrelwick\"")
        << counts << QLatin1String(">\n  <testsuite name=\"");
    xmlText(out, report.start);
    out << QLatin1Char('"') << counts << QLatin1String(" timestamp=\"")
        << QDateTime::currentDateTimeUtc().toString(Qt::ISODate).chopped(1)
        << QLatin1String("\">\n");
    if (report.compared) {
        out << QLatin1String("    <properties>\n      <property name=\"previous\" value=\"");
        xmlText(out, report.previousSource);
        out << QStringLiteral("\"/>\n      <property name=\"new\" value=\"%1\"/>\n")
                        .arg(report.newBad);
        for (const Report::FixedLink &f : report.fixed) {
            out << QLatin1String(f.linked ? "      <property name=\"fixed\" value=\""
                                          : "      <property name=\"fixed, no longer linked\" "
                                            "value=\"");
            xmlText(out, f.url);
            out << QLatin1String("\"/>\n");
        }
        out << QLatin1String("    </properties>\n");
    }
    for (const LinkCheckerUrl *r : report.links) {
        if (!listed(r, badOnly))
            continue;
        out << QLatin1String("    <testcase classname=\"")
            << QLatin1String(r->isInternal() ? "internal" : "external")
            << QLatin1String("\" name=\"");
        xmlText(out, r->getLinkUrl());
        out << QLatin1String("\" time=\"") << QString::number(r->getResponseTime(), 'f', 3);
        const Verdict v = verdictOf(*r);
        if (v == Verdict::Good) {
            out << QLatin1String("\"/>\n");
            continue;
        }
        const bool failure = v == Verdict::Bad || report.failOnBlocked;
        out << QLatin1String(failure ? "\">\n      <failure type=\""
                                     : "\">\n      <skipped type=\"")
            << verdictName(v) << QLatin1String("\" message=\"");
        xmlText(out, r->getStatus());
        out << QLatin1String("\">");
        if (const Change change = report.changeOf(r); change != Change::None)
            out << changeName(change) << QLatin1String(" since the earlier run\n");
        if (!r->getRedir().isEmpty()) {
            out << QLatin1String("redirects to ");
            xmlText(out, r->getRedir());
            out << QLatin1Char('\n');
        }
        for (qsizetype i = 0; i < r->onPageCount(); ++i) {
            out << QLatin1String("on ");
            xmlText(out, r->onPageUrlView(i));
            out << QLatin1String(" \"");
            xmlText(out, r->onPageLinkTextView(i));
            out << QLatin1String("\"\n");
        }
        out << QLatin1String(failure ? "</failure>\n    </testcase>\n"
                                     : "</skipped>\n    </testcase>\n");
    }
    out << QLatin1String("  </testsuite>\n</testsuites>\n");
}

void writeMarkdownReport(TextSink &out, const Report &report)
{
    // The change since the earlier run is a column of its own only when there was one.
    out << QLatin1String(report.compared
                                 ? "| Verdict | Change | Status | Link | Redirects to | Pages |\n"
                                   "| --- | --- | --- | --- | --- | --- |\n"
                                 : "| Verdict | Status | Link | Redirects to | Pages |\n"
                                   "| --- | --- | --- | --- | --- |\n");
    for (const Verdict wanted : { Verdict::Bad, Verdict::Blocked }) {
        for (const LinkCheckerUrl *r : report.links) {
            if (verdictOf(*r) != wanted)
                continue;
            out << QLatin1String("| ") << verdictName(wanted) << QLatin1String(" | ");
            if (report.compared)
                out << changeName(report.changeOf(r)) << QLatin1String(" | ");
            markdownCell(out, r->getStatus());
            out << QLatin1String(" | ");
            markdownCell(out, r->getLinkUrl());
            out << QLatin1String(" | ");
            markdownCell(out, r->getRedir());
            out << QLatin1String(" | ");
            const qsizetype pages = r->onPageCount();
            for (qsizetype i = 0; i < std::min(pages, kPagesShown); ++i) {
                out << QLatin1String(i ? "<br>" : "");
                markdownCell(out, r->onPageUrlView(i));
                out << QLatin1String(" (\"");
                markdownCell(out, r->onPageLinkTextView(i));
                out << QLatin1String("\")");
            }
            if (pages > kPagesShown)
                out << QStringLiteral("<br>and %1 more").arg(pages - kPagesShown);
            out << QLatin1String(" |\n");
        }
    }
    out << QLatin1Char('\n');
    if (!report.fixed.isEmpty()) {
        out << QLatin1String("Fixed since the earlier run:\n\n");
        for (const Report::FixedLink &f : report.fixed) {
            out << QLatin1String("- ");
            markdownCell(out, f.url);
            out << QLatin1String(" (was ");
            markdownCell(out, f.status);
            out << QLatin1String(f.linked ? ")\n" : "; no longer linked)\n");
        }
        out << QLatin1Char('\n');
    }
    for (const QString &line : report.limits)
        out << line << QLatin1String("\n\n");
    out << QLatin1String("**") << report.summary << QLatin1String("**\n");
}

void writeCsvReport(TextSink &out, const Report &report, bool badOnly)
{
    // One row per occurrence; a link on no page (the start page) has one row of its own.
    // "change": new, still bad, still blocked or fixed since the earlier run; a link fixed by no
    // longer being linked has one row with no verdict.
    out << QLatin1String("verdict,status,url,redirect,response_time,page,link_text,change\r\n");
    for (const LinkCheckerUrl *r : report.links) {
        if (!listed(r, badOnly))
            continue;
        const QString verdict = verdictName(verdictOf(*r));
        const QString time = QString::number(r->getResponseTime(), 'g', 6);
        const QString change = changeName(report.changeOf(r));
        const qsizetype pages = std::max<qsizetype>(1, r->onPageCount());
        for (qsizetype i = 0; i < pages; ++i) {
            out << verdict << QLatin1Char(',');
            csvField(out, r->getStatus());
            out << QLatin1Char(',');
            csvField(out, r->getLinkUrl());
            out << QLatin1Char(',');
            csvField(out, r->getRedir());
            out << QLatin1Char(',') << time << QLatin1Char(',');
            if (r->onPageCount() > 0) {
                csvField(out, r->onPageUrlView(i));
                out << QLatin1Char(',');
                csvField(out, r->onPageLinkTextView(i));
            } else {
                out << QLatin1Char(',');
            }
            out << QLatin1Char(',') << change << QLatin1String("\r\n");
        }
    }
    for (const Report::FixedLink &f : report.fixed) {
        if (f.linked)
            continue;
        out << QLatin1Char(',');
        csvField(out, f.status);
        out << QLatin1Char(',');
        csvField(out, f.url);
        out << QLatin1String(",,,,,fixed (no longer linked)\r\n");
    }
}

} // namespace orel::cli
