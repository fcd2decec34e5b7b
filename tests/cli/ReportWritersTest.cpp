// The report forms written from records made here: the blocked verdict, texts every form must
// escape, --bad-only, and what each consumer reads back.
#include "Consumers.h"
#include "TestHome.h"
#include "cli/Report.h"
#include "common/TextSink.h"
#include "links/LinkCheckerUrl.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <memory>
#include <vector>

using namespace orel;
using namespace orel::cli;
using namespace orel::test;

namespace {

class ReportWritersTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        add("https://example.test/", "200 no error", Verdict::Good, {});
        add("https://example.test/gone", "404 not found", Verdict::Bad,
            { { "https://example.test/", QStringLiteral("tab\there, \"quoted\" <b>&amp;</b>") },
              { "https://example.test/b", QStringLiteral("line\nbreak | pipe \u00e9\u4e2d") } });
        add("https://social.test/p", "999 request denied", Verdict::Blocked,
            { { "https://example.test/", QStringLiteral("bell\u0007 and \\ slash") } });
        records.back()->setRedir(QStringLiteral("https://social.test/login"));
        report.start = QStringLiteral("https://example.test/");
        report.summary = QStringLiteral("3 of 3 links checked, 1 bad, 1 blocked");
        report.checked = 3;
        report.bad = 1;
        report.blocked = 1;
        for (const auto &r : records)
            report.links.append(r.get());
    }

    void add(const QString &url, const QString &status, Verdict verdict,
             const QList<std::pair<QString, QString>> &pages)
    {
        auto r = std::make_unique<LinkCheckerUrl>();
        r->setLinkUrl(url, false);
        r->setStatus(status);
        r->setIsInBadCollection(verdict != Verdict::Good);
        r->setBlocked(verdict == Verdict::Blocked);
        r->setResponseTime(0.25);
        for (const auto &[page, text] : pages) {
            r->addOnPageUrl(page);
            r->addOnPageName(QString());
            r->addOnPageLinkText(text);
        }
        records.push_back(std::move(r));
    }

    QString written(const std::function<void(TextSink &)> &write, const char *name)
    {
        const QString text = TextSink::gather(write);
        writeFile(dir.filePath(QString::fromLatin1(name)), text.toUtf8());
        return dir.filePath(QString::fromLatin1(name));
    }

    std::vector<std::unique_ptr<LinkCheckerUrl>> records;
    Report report;
    QTemporaryDir dir;
};

} // namespace

TEST_F(ReportWritersTest, BlockedLinksAreApartFromBadOnesAndFailOnlyWhenAsked)
{
    EXPECT_EQ(verdictOf(*records[0]), Verdict::Good);
    EXPECT_EQ(verdictOf(*records[1]), Verdict::Bad);
    EXPECT_EQ(verdictOf(*records[2]), Verdict::Blocked);
    EXPECT_EQ(report.exitStatus(), 1);
    report.bad = 0;
    EXPECT_EQ(report.exitStatus(), 0);
    report.failOnBlocked = true;
    EXPECT_EQ(report.exitStatus(), 1);
    report.bad = 1;
    report.failOnBlocked = false;

    const QString text =
            TextSink::gather([&](TextSink &out) { writeTextReport(out, report, false); });
    const qsizetype blockedHeading = text.indexOf("Blocked (the server refused the crawler):\n");
    ASSERT_GT(blockedHeading, text.indexOf("404 not found\n  https://example.test/gone\n"));
    EXPECT_GT(text.indexOf("999 request denied\n  https://social.test/p\n  redirects to "
                           "https://social.test/login\n"),
              blockedHeading);
    EXPECT_TRUE(text.endsWith("\n3 of 3 links checked, 1 bad, 1 blocked\n"));
    EXPECT_EQ(TextSink::gather([&](TextSink &out) { writeTextReport(out, report, true); }),
              report.summary + '\n');

    // JUnit: a blocked link is skipped, or a failure with --fail-on-blocked.
    for (const bool fail : { false, true }) {
        report.failOnBlocked = fail;
        const QString xml =
                TextSink::gather([&](TextSink &out) { writeJUnitReport(out, report, false); });
        EXPECT_EQ(xml.count("<failure "), fail ? 2 : 1);
        EXPECT_EQ(xml.count("<skipped "), fail ? 0 : 1);
        EXPECT_TRUE(xml.contains(fail ? "failures=\"2\" errors=\"0\" skipped=\"0\""
                                      : "failures=\"1\" errors=\"0\" skipped=\"1\""));
    }
}

TEST_F(ReportWritersTest, EveryConsumerReadsBackTheTextsAsTheyWere)
{
    const QString json =
            written([&](TextSink &out) { writeJsonReport(out, report, false); }, "r.json");
    EXPECT_EQ(consume("python3",
                      { "-c",
                        "import json, sys\n"
                        "d = json.load(open(sys.argv[1], encoding='utf-8'))\n"
                        "for l in d['links']:\n"
                        "    print(repr((l['verdict'], l['redirect'], l['responseTime'],\n"
                        "                [(p['url'], p['text']) for p in l['pages']])))",
                        json }),
              "('good', None, 0.25, [])\n"
              "('bad', None, 0.25, [('https://example.test/', 'tab\\there, \"quoted\" "
              "<b>&amp;</b>'), ('https://example.test/b', 'line\\nbreak | pipe \u00e9\u4e2d')])\n"
              "('blocked', 'https://social.test/login', 0.25, [('https://example.test/', "
              "'bell\\x07 and \\\\ slash')])\n");
    // --bad-only keeps the bad and the blocked links.
    const QString badOnly =
            written([&](TextSink &out) { writeJsonReport(out, report, true); }, "b.json");
    EXPECT_EQ(consume("python3",
                      { "-c",
                        "import json, sys\n"
                        "print(len(json.load(open(sys.argv[1]))['links']))",
                        badOnly }),
              "2\n");

    const QString csv =
            written([&](TextSink &out) { writeCsvReport(out, report, false); }, "r.csv");
    EXPECT_EQ(consume("python3",
                      { "-c",
                        "import csv, sys\n"
                        "for r in csv.reader(open(sys.argv[1], newline='', "
                        "encoding='utf-8')): print(repr(r[0::6]))",
                        csv }),
              "['verdict', 'link_text']\n['good', '']\n"
              "['bad', 'tab\\there, \"quoted\" <b>&amp;</b>']\n"
              "['bad', 'line\\nbreak | pipe \u00e9\u4e2d']\n"
              "['blocked', 'bell\\x07 and \\\\ slash']\n");

    // XML cannot hold the bell character: it is left out, the rest is read back.
    const QString xml =
            written([&](TextSink &out) { writeJUnitReport(out, report, false); }, "r.xml");
    consume("xmllint", { "--noout", "--schema", sourceDir() + "/tests/fixtures/junit.xsd", xml });
    EXPECT_EQ(consume("xmllint", { "--xpath", "string(//testcase[2]/failure)", xml }),
              "on https://example.test/ \"tab\there, \"quoted\" <b>&amp;</b>\"\n"
              "on https://example.test/b \"line\nbreak | pipe \u00e9\u4e2d\"\n\n"); // xmllint's own
                                                                                    // line end
    EXPECT_EQ(consume("xmllint", { "--xpath", "string(//testcase[3]/skipped/@message)", xml }),
              "999 request denied\n");

    // Markdown: each link one row, the pipe escaped, the line break a space.
    const QString md = TextSink::gather([&](TextSink &out) { writeMarkdownReport(out, report); });
    const QStringList rows = md.split('\n').filter(QRegularExpression("^\\| (bad|blocked) "));
    ASSERT_EQ(rows.size(), 2) << md.toStdString();
    EXPECT_TRUE(rows.at(0).contains("(\"line break \\| pipe \u00e9\u4e2d\")"));
    EXPECT_TRUE(rows.at(1).contains("(\"bell\u0007 and \\\\ slash\")"));
}
