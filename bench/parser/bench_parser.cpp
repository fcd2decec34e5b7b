// Throughput of the page scanner: the crawl's link pass and its constructor, side by side with
// libxml2's HTML parser (parse and collect every href and src) and memchr for "<" as the ceiling.
#include "parser/OrelParser.h"

#include <benchmark/benchmark.h>

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstring>
#include <random>

using orel::OrelParser;

namespace {

// A corpus of pages shaped like real sites: a head with meta, stylesheets and inline scripts,
// navigation lists, paragraphs with inline links and images, tables, comments and a footer.
class Corpus
{
public:
    Corpus()
    {
        std::mt19937 rng(20260101);
        for (int i = 0; i < 48; ++i)
            pages.append(makePage(rng, i));
        for (const QByteArray &p : pages)
            totalBytes += p.size();
    }
    QList<QByteArray> pages;
    qint64 totalBytes = 0;

private:
    static QByteArray words(std::mt19937 &rng, int n)
    {
        static const char *const vocabulary[] = {
            "the",         "garden",  "river", "of",      "and",     "season", "a",
            "quietly",     "market",  "stone", "bridge",  "to",      "with",   "morning",
            "council",     "library", "&amp;", "reports", "walking", "north",  "its",
            "caf\xc3\xa9", "history", "in",    "light",   "harbour", "for",    "new"
        };
        std::uniform_int_distribution<int> pick(0, int(std::size(vocabulary)) - 1);
        QByteArray out;
        for (int i = 0; i < n; ++i) {
            if (i)
                out += ' ';
            out += vocabulary[pick(rng)];
        }
        return out;
    }

    static QByteArray makePage(std::mt19937 &rng, int index)
    {
        std::uniform_int_distribution<int> small(3, 12);
        std::uniform_int_distribution<int> coin(0, 3);
        const QByteArray n = QByteArray::number(index);
        QByteArray p;
        p += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
        p += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
        p += "<title>" + words(rng, 6) + " | Page " + n + "</title>\n";
        p += "<meta name=\"description\" content=\"" + words(rng, 20) + "\">\n";
        p += "<meta property=\"og:title\" content=\"" + words(rng, 5) + "\">\n";
        for (int i = 0; i < 4; ++i)
            p += "<link rel=\"stylesheet\" href=\"/static/css/site-" + QByteArray::number(i)
                    + ".css?v=3\">\n";
        p += "<link rel=\"canonical\" href=\"https://www.example.org/section/page-" + n + "\">\n";
        p += "<script>\nwindow.dataLayer = window.dataLayer || [];\nfunction gtag(){"
             "dataLayer.push(arguments);}\nfor (var i = 0; i < 10; i++) { if (i<3 && i>0) "
             "document.write('<span class=\"x\">' + i + '</span>'); }\n</script>\n";
        p += "<script src=\"/static/js/app.js\" defer></script>\n</head>\n";
        p += "<body class=\"page page-" + n + "\">\n<!-- header -->\n<header id=\"top\">\n";
        p += "<a href=\"/\" class=\"logo\"><img src=\"/static/img/logo.svg\" alt=\"Home\" "
             "width=\"120\" height=\"40\"></a>\n<nav>\n<ul class=\"menu\">\n";
        for (int i = 0; i < 30; ++i)
            p += "<li class=\"menu-item\"><a href=\"/section/" + QByteArray::number(i)
                    + "/\" title=\"" + words(rng, 2) + "\">" + words(rng, 2) + "</a></li>\n";
        p += "</ul>\n</nav>\n</header>\n<main>\n";
        for (int s = 0; s < 40; ++s) {
            p += "<section class=\"block\">\n<h2 id=\"s" + QByteArray::number(s) + "\">"
                    + words(rng, 4) + "</h2>\n";
            for (int para = 0; para < 3; ++para) {
                p += "<p>" + words(rng, small(rng) * 3);
                if (coin(rng) == 0)
                    p += " <a href=\"https://other.example.com/articles/" + QByteArray::number(s)
                            + "-" + QByteArray::number(para) + ".html\" rel=\"nofollow\">"
                            + words(rng, 3) + "</a>";
                p += " <em>" + words(rng, 2) + "</em> <strong>" + words(rng, 2) + "</strong> "
                        + words(rng, small(rng) * 2) + ".</p>\n";
            }
            if (coin(rng) == 1)
                p += "<figure><img src=\"/media/photo-" + QByteArray::number(s) + ".jpg\" alt=\""
                        + words(rng, 3) + "\" loading=\"lazy\"><figcaption>" + words(rng, 5)
                        + "</figcaption></figure>\n";
            if (coin(rng) == 2) {
                p += "<table class=\"data\">\n<tr><th>Name</th><th>Value</th></tr>\n";
                for (int r = 0; r < 6; ++r)
                    p += "<tr><td>" + words(rng, 2) + "</td><td>" + QByteArray::number(r * 17 + s)
                            + "</td></tr>\n";
                p += "</table>\n";
            }
            p += "</section>\n";
        }
        p += "</main>\n<!-- footer -->\n<footer>\n<div class=\"cols\">\n";
        for (int i = 0; i < 24; ++i)
            p += "<a href=\"/about/" + words(rng, 1) + "-" + QByteArray::number(i) + ".html\">"
                    + words(rng, 2) + "</a> |\n";
        p += "</div>\n<p>&copy; 2026 " + words(rng, 3) + "</p>\n</footer>\n</body>\n</html>\n";
        return p;
    }
};

const Corpus &corpus()
{
    static const Corpus c;
    return c;
}

void BM_ScannerLinkPass(benchmark::State &state)
{
    const Corpus &c = corpus();
    std::vector<std::unique_ptr<OrelParser>> parsers;
    for (const QByteArray &page : c.pages)
        parsers.push_back(OrelParser::initWithData(page, QString(), false, false, true, true));
    qint64 links = 0;
    for (auto _ : state) {
        for (auto &p : parsers) {
            p->reset();
            while (auto href = p->getNextHref(true, true)) {
                benchmark::DoNotOptimize(href->size());
                ++links;
            }
        }
    }
    state.SetBytesProcessed(state.iterations() * c.totalBytes);
    state.counters["links/page"] =
            double(links) / double(state.iterations()) / double(c.pages.size());
}
BENCHMARK(BM_ScannerLinkPass)->Unit(benchmark::kMillisecond);

void BM_ScannerConstructor(benchmark::State &state)
{
    const Corpus &c = corpus();
    for (auto _ : state) {
        for (const QByteArray &page : c.pages) {
            auto p = OrelParser::initWithData(page, QString(), false, false, true, true);
            benchmark::DoNotOptimize(p->getTitle().size());
        }
    }
    state.SetBytesProcessed(state.iterations() * c.totalBytes);
}
BENCHMARK(BM_ScannerConstructor)->Unit(benchmark::kMillisecond);

void collectLinks(xmlNode *node, qint64 &links)
{
    for (xmlNode *n = node; n; n = n->next) {
        if (n->type == XML_ELEMENT_NODE) {
            for (const char *name : { "href", "src" }) {
                if (xmlChar *value = xmlGetProp(n, reinterpret_cast<const xmlChar *>(name))) {
                    ++links;
                    xmlFree(value);
                }
            }
        }
        collectLinks(n->children, links);
    }
}

void BM_Libxml2HtmlLinks(benchmark::State &state)
{
    const Corpus &c = corpus();
    qint64 links = 0;
    for (auto _ : state) {
        for (const QByteArray &page : c.pages) {
            htmlDocPtr doc = htmlReadMemory(page.constData(), int(page.size()), nullptr, "utf-8",
                                            HTML_PARSE_RECOVER | HTML_PARSE_NOERROR
                                                    | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
            collectLinks(xmlDocGetRootElement(doc), links);
            xmlFreeDoc(doc);
        }
    }
    state.SetBytesProcessed(state.iterations() * c.totalBytes);
    state.counters["links/page"] =
            double(links) / double(state.iterations()) / double(c.pages.size());
}
BENCHMARK(BM_Libxml2HtmlLinks)->Unit(benchmark::kMillisecond);

void BM_MemchrCeiling(benchmark::State &state)
{
    const Corpus &c = corpus();
    for (auto _ : state) {
        qint64 tags = 0;
        for (const QByteArray &page : c.pages) {
            const char *at = page.constData();
            const char *end = at + page.size();
            while ((at = static_cast<const char *>(std::memchr(at, '<', size_t(end - at))))) {
                ++tags;
                ++at;
            }
        }
        benchmark::DoNotOptimize(tags);
    }
    state.SetBytesProcessed(state.iterations() * c.totalBytes);
}
BENCHMARK(BM_MemchrCeiling)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
