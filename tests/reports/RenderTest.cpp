// The CSV and HTML renderers of the data source base, compared as whole texts.
#include "ReportsTestSupport.h"

#include <gtest/gtest.h>

using namespace orel;
using namespace orel::reportstest;

namespace {

QList<TableColumn> urlAndStatus()
{
    return { { QStringLiteral("linkurl"), QStringLiteral("URL"), 200 },
        { QStringLiteral("status"), QStringLiteral("Status"), 110 } };
}

// A source that colours some rows and answers outline cells from the items themselves.
class ColouredSource : public bhDataSource
{
public:
    ColouredSource()
        : bhDataSource(false)
    { }
    std::map<int, Colour> colours;
    std::vector<int> rowsAsked;

    std::optional<Colour> labelColorForRow(TableDescription *, int row) override
    {
        rowsAsked.push_back(row);
        const auto it = colours.find(row);
        return it == colours.end() ? std::nullopt : std::optional<Colour>(it->second);
    }
    QString objectValueByItem(
        TableDescription *, const QString &columnId, OutlineItem item) override
    {
        return static_cast<const Item *>(item)->getFieldByName(columnId);
    }
};

// Records every progress step while installed.
class ProgressRecorder : public ScriptedDialogs
{
public:
    ProgressRecorder() { Dialogs::install(this); }
    ~ProgressRecorder() override { Dialogs::install(&test::dialogs()); }
    std::vector<int> steps;
    void setProgress(int value) override
    {
        steps.push_back(value);
        ScriptedDialogs::setProgress(value);
    }
};

} // namespace

TEST(Render, OwnTableAsCSVAndHTML)
{
    Item plain { { "linkurl", "http://a/" }, { "status", "200 no error" } };
    Item quoted { { "linkurl", "say \"hi\"" }, { "status", "" } };
    Item third { { "linkurl", "c" }, { "status", "x" } };
    FakeTable table;
    table.cols = urlAndStatus();

    struct Case
    {
        const char *what;
        std::vector<Item *> items;
        QString csv;
        QString html;
    };
    const Case cases[] = {
        { "empty source: the header alone", {}, QStringLiteral("\"URL\",\"Status\"\r"),
            QStringLiteral("<table cellpadding=2 cellspacing=2 border=0><tr>"
                           "<th style = background:#cccccc>URL</th>"
                           "<th style = background:#cccccc>Status</th></tr></table><br />") },
        { "values unescaped, every second row shaded, no anchors", { &plain, &quoted, &third },
            QStringLiteral("\"URL\",\"Status\"\r"
                           "\"http://a/\",\"200 no error\"\r"
                           "\"say \"hi\"\",\"\"\r"
                           "\"c\",\"x\"\r"),
            QStringLiteral("<table cellpadding=2 cellspacing=2 border=0><tr>"
                           "<th style = background:#cccccc>URL</th>"
                           "<th style = background:#cccccc>Status</th></tr>"
                           "<tr><td >http://a/</td><td >200 no error</td></tr>"
                           "<tr><td style = background:#f0f0ff>say \"hi\"</td>"
                           "<td style = background:#f0f0ff></td></tr>"
                           "<tr><td >c</td><td >x</td></tr>"
                           "</table><br />") },
    };
    for (const Case &tc : cases) {
        bhDataSource source(false);
        source.setTableView(&table);
        for (Item *item : tc.items)
            source.add(item);
        EXPECT_EQ(source.getDataAsCSV(), tc.csv) << tc.what;
        EXPECT_EQ(source.getDataAsHTML(), tc.html) << tc.what;
    }
}

TEST(Render, TableViewHTMLForReportsAndTheValidator)
{
    Item first { { "linkurl", "http://a/" }, { "status", "ok" } };
    Item hidden { { "linkurl", "http://hidden/" }, { "status", "x" } };
    Item coloured { { "linkurl", "https://c/x" }, { "status", "404 not found" } };
    Item last { { "linkurl", "plain" }, { "status", "x" } };
    hidden.setVisible(false);

    const QString head = QStringLiteral("<table><tr><th class = linkurl>URL</th>"
                                        "<th class = status>Status</th></tr>");
    const QString rows = QStringLiteral(
        "<tr><td class = linkurl >%1</td><td class = status >ok</td></tr>"
        "<tr><td class = \"linkurl alt\" style = \"background:rgb(255,127,63)\">%2</td>"
        "<td class = \"status alt\" style = \"background:rgb(255,127,63)\">404 not found</td>"
        "</tr>"
        "<tr><td class = linkurl >plain</td><td class = status >x</td></tr>"
        "</table><br />");
    struct Case
    {
        const char *identifier;
        QString expected;
    };
    const Case cases[] = {
        { "seo",
            head
                + rows.arg(QStringLiteral("<a href = http://a/ >http://a/</a>"),
                    QStringLiteral("<a href = https://c/x >https://c/x</a>")) },
        { "validator",
            head
                + rows.arg(QStringLiteral("<a href = https://validator.w3.org/check?uri=http://a/"
                                          " >http://a/</a>"),
                    QStringLiteral("<a href = https://validator.w3.org/check"
                                   "?uri=https://c/x >https://c/x</a>")) },
    };
    for (const Case &tc : cases) {
        ColouredSource source;
        for (Item *item : { &first, &hidden, &coloured, &last })
            source.add(item);
        // The colour is asked by the place in the collection (2), not the visible row (1).
        source.colours[2] = Colour { 1.0, 0.5, 0.25, 1.0 };
        FakeTable table;
        table.id = QString::fromLatin1(tc.identifier);
        table.cols = urlAndStatus();
        EXPECT_EQ(source.getDataAsHTMLusingTableView(&table), tc.expected) << tc.identifier;
        EXPECT_EQ(source.rowsAsked, (std::vector<int> { 0, 2, 3 })) << tc.identifier;
    }
}

TEST(Render, OutlineAsCSVAndHTMLWithIndentedChildrenAndProgress)
{
    Item parent { { "linkurl", "http://p/" }, { "status", "200 no error" } };
    Item child { { "linkurl", "page one" }, { "status", "x" } };
    Item linkedChild { { "linkurl", "http://q/" } }; // no status: none becomes ""
    ColouredSource answers;
    answers.colours[1] = Colour { 0.0, 0.0, 1.0, 1.0 };
    FakeTable outline;
    outline.cols = urlAndStatus();
    outline.outlineColumn = QStringLiteral("linkurl");
    outline.rows = { &parent, &child, &linkedChild };
    outline.expandable = { &parent };
    outline.source = &answers; // the outline's own data source answers, not the renderer

    struct Case
    {
        const char *what;
        QString (bhDataSource::*render)(TableDescription *);
        QString expected;
    };
    const Case cases[] = {
        { "csv", &bhDataSource::getDataAsCSVusingOutlineView,
            QStringLiteral("\"URL\",\"Status\"\r"
                           "\"http://p/\",\"200 no error\"\r"
                           "\"\tpage one\",\"x\"\r"
                           "\"\thttp://q/\",\"\"\r") },
        { "html", &bhDataSource::getDataAsHTMLusingOutlineView,
            QStringLiteral(
                "<table><tr><th class = linkurl>URL</th><th class = status>Status</th></tr>"
                "<tr><td class = linkurl ><a href = http://p/ >http://p/</a></td>"
                "<td class = status >200 no error</td></tr>"
                "<tr><td class = \"linkurl alt\" style = \"background:rgb(0,0,255)\">"
                "&nbsp;&nbsp;page one</td>"
                "<td class = \"status alt\" style = \"background:rgb(0,0,255)\">x</td></tr>"
                "<tr><td class = linkurl >&nbsp;&nbsp;<a href = http://q/ >http://q/</a>"
                "</td><td class = status ></td></tr>"
                "</table><br />") },
    };
    for (const Case &tc : cases) {
        bhDataSource renderer(false);
        ProgressRecorder progress;
        EXPECT_EQ((renderer.*tc.render)(&outline), tc.expected) << tc.what;
        ASSERT_EQ(progress.countCalls(QStringLiteral("progress")), 1) << tc.what;
        EXPECT_EQ(progress.calls.front().title, QStringLiteral("Exporting"));
        EXPECT_EQ(progress.progressMaximum, 100);
        EXPECT_EQ(progress.steps, (std::vector<int> { 33, 66 })) << tc.what;
        EXPECT_FALSE(progress.progressShown) << tc.what;
    }
}
