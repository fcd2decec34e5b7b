// The data source base: ids, positional and sorted access, the two sorts, queued reloads and the
// CSV/HTML renderers (compared as whole texts).
#include "TestHome.h"

#include "links/OrelDataObject.h"
#include "reports/LinkExports.h"
#include "reports/TableDescription.h"
#include "reports/bhDataSource.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QHash>
#include <QTemporaryDir>

#include <thread>
#include <tuple>

using namespace orel;

namespace {

// A row with the text fields "name" and "status" (null when not given) and the same number in
// every numeric field.
class Item : public OrelDataObject
{
public:
    explicit Item(const QString &nameText = {}, float value = 0, const QString &statusText = {})
        : name(nameText), status(statusText), number(value)
    { }
    QString getFieldByName(const QString &field) const override
    {
        return field == u"name" ? name : field == u"status" ? status : QString();
    }
    float getFieldAsNumberByName(const QString &) const override { return number; }

    QString name, status;
    float number = 0;
};

// A table or outline whose answers are set directly.
class FakeTable : public TableDescription
{
public:
    QString id = QStringLiteral("table");
    QList<TableColumn> cols = { { QStringLiteral("name"), QStringLiteral("URL"), 200 },
                                { QStringLiteral("status"), QStringLiteral("Status"), 110 } };
    QList<const void *> rows, expandable; // outline rows and which of them have children
    std::optional<SortDescriptor> sort;
    bhDataSource *source = nullptr;
    int reloads = 0;
    std::thread::id reloadThread;

    QString identifier() const override { return id; }
    QList<TableColumn> columns() const override { return cols; }
    int numberOfRows() const override { return int(rows.size()); }
    void reloadData() override { ++reloads, reloadThread = std::this_thread::get_id(); }
    std::optional<SortDescriptor> firstSortDescriptor() const override { return sort; }
    bhDataSource *dataSource() const override { return source; }
    OutlineItem itemAtRow(int row) const override { return rows.at(row); }
    bool isExpandable(OutlineItem item) const override { return expandable.contains(item); }
    QString outlineColumnIdentifier() const override { return QStringLiteral("name"); }
};

// Gives a new item to the source to keep and answers it.
template<typename... Args>
Item *addNew(bhDataSource &source, Args &&...args)
{
    auto item = std::make_unique<Item>(std::forward<Args>(args)...);
    Item *added = item.get();
    source.add(std::move(item));
    return added;
}

// A source that colours some rows (recording which rows were asked) and answers
// outline cells from the items themselves.
class ColouredSource : public bhDataSource
{
public:
    QHash<int, Colour> colours;
    std::vector<int> rowsAsked;

    std::optional<Colour> labelColorForRow(TableDescription *, int row) override
    {
        rowsAsked.push_back(row);
        return colours.contains(row) ? std::optional(colours[row]) : std::nullopt;
    }
    QString objectValueByItem(TableDescription *, const QString &columnId,
                              OutlineItem item) override
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
    void setProgress(int v) override { steps.push_back(v), ScriptedDialogs::setProgress(v); }
};

// The names of the sorted copy, blank-separated.
QString sortedNames(const bhDataSource &source)
{
    QStringList out;
    for (int i = 0; source.getnthSortedItem(i); ++i)
        out << source.getnthSortedItem(i)->getFieldByName(QStringLiteral("name"));
    return out.join(u' ');
}

// Pieces of the table-view and outline HTML: two columns, "alt" on alternate rows, an optional
// colour style.
const QString kViewHead =
        QStringLiteral("<table><tr><th class = name>URL</th><th class = status>Status</th></tr>");
QString anchor(const QString &url, const QString &prefix = {})
{
    return "<a href = " + prefix + url + " >" + url + "</a>";
}
QString viewRow(bool alt, const QString &rgb, const QString &url, const QString &status)
{
    const QString style =
            rgb.isEmpty() ? QString() : QStringLiteral("style = \"background:rgb(%1)\"").arg(rgb);
    const auto cell = [&](const QString &id, const QString &value) {
        const QString cls = (alt ? QStringLiteral("\"%1 alt\" ") : QStringLiteral("%1 ")).arg(id);
        return QString("<td class = " + cls + style + ">" + value + "</td>");
    };
    return "<tr>" + cell(QStringLiteral("name"), url) + cell(QStringLiteral("status"), status)
            + "</tr>";
}

} // namespace

// An item without an id gets the highest so far + 1; an item with one raises the highest to it
// but never lowers it.
TEST(DataSource, GivesAndRaisesIdsAndClearStartsAgain)
{
    bhDataSource source;
    std::vector<quint32> got;
    for (quint32 id : { 0, 0, 5, 3, 0 }) {
        auto item = std::make_unique<Item>();
        item->setID(id);
        const Item *added = item.get();
        source.add(std::move(item));
        got.push_back(added->getID());
    }
    EXPECT_EQ(got, (std::vector<quint32> { 1, 2, 5, 3, 6 }));
    EXPECT_EQ(source.getHighestId(), 6);
    source.sortByColumn(QStringLiteral("filesize"), true, bhDataSource::SortAsNumber);
    source.clear(); // also drops the sorted copy
    addNew(source);
    EXPECT_EQ(source.getCount(), 1u);
    EXPECT_EQ(source.getnthSortedItem(0), source.getFirstItem());
    EXPECT_EQ(source.getFirstItem()->getID(), 1u);
}

TEST(DataSource, PositionalAndSortedQuestionsAndTheirEdges)
{
    bhDataSource source;
    EXPECT_EQ(source.getFirstItem(), nullptr);
    EXPECT_EQ(source.getnthSortedItem(0), nullptr);
    Item *c = addNew(source, QStringLiteral("cherry")),
         *a = addNew(source, QStringLiteral("apple")),
         *b = addNew(source, QStringLiteral("Banana"));
    EXPECT_EQ(source.getnthItem(-1), nullptr);
    EXPECT_EQ(source.getnthItem(3), nullptr);
    EXPECT_EQ(source.getNextItem(c), a);
    EXPECT_EQ(source.getNextItem(b), nullptr);
    Item stranger;
    EXPECT_EQ(source.getnthSortedItem(0), c); // no sort yet: the collection answers

    // The walk follows the new order even right after a positional answer at the old place.
    EXPECT_EQ(source.getItemById(3), b);
    source.swop(c, b);
    source.swop(c, &stranger); // an absent item changes nothing
    EXPECT_EQ(source.getNextItem(b), a);
    EXPECT_EQ(source.getNextItem(a), c);
    EXPECT_EQ(source.getnthItem(0), b);

    // Every occurrence goes; an item kept and referenced again is deleted once, on clear().
    Item *twice = addNew(source, QStringLiteral("twice"));
    source.add(twice);
    source.deleteItem(twice);
    EXPECT_EQ(source.getCount(), 3u);
    EXPECT_EQ(source.getNextItem(c), nullptr);

    source.sortByColumn(QStringLiteral("name"), true);
    Item *aardvark = addNew(source, QStringLiteral("aardvark")); // unsorted at the end for now
    EXPECT_EQ(sortedNames(source), QStringLiteral("apple Banana cherry aardvark"));
    source.deleteItem(a); // the sorted copy keeps it
    EXPECT_EQ(source.getCount(), 3u);
    EXPECT_EQ(source.getNextItem(b), c);
    EXPECT_EQ(source.getnthSortedItem(0), a);

    b->setVisible(false); // visible items are counted in sorted order
    EXPECT_EQ(source.getnthVisibleItem(0), a);
    EXPECT_EQ(source.getnthVisibleItem(1), c);
    EXPECT_EQ(source.getnthVisibleItem(2), aardvark);
    EXPECT_EQ(source.getnthVisibleItem(3), nullptr);
}

// A click sorts numeric columns as numbers, others as text ignoring case, and reloads; "5#2" is
// the second item of value 5. Numeric sort: with 7 or more items placed the search starts at the
// middle when the middle item precedes the new one, and at the three-quarter place only when that
// one precedes too; a value that is not a number stays where it was put, which makes the starting
// place visible. Infinity logs "overflow" and counts as equal.
TEST(DataSource, SortsByTheClickedColumn)
{
    using Case = std::tuple<const char *, bool, QString, QString>;
    const Case cases[] = {
        { "name", true, "b A a B", "A a b B" },
        { "name", false, "b A a B", "b B A a" },
        { "name", true, "10 9 100", "10 100 9" },
        { "filesize", true, "10 9 100", "9 10 100" },
        { "filesize", true, "100 101 102 103 nan 1 2 150", "1 2 nan 100 101 102 103 150" },
        { "filesize", true, "20 8 nan 17 10 6 12 3 19", "3 6 10 12 17 nan 8 19 20" },
        { "filesize", true, "1 2 3 4 5 6 7 8 5.5 nan", "nan 1 2 3 4 5 5.5 6 7 8" },
        { "filesize", true, "3 inf 1", "1 inf 3" },
        { "filesize", true, "5#1 3 5#2", "3 5#2 5#1" }, // ties end in reverse collection order
        { "filesize", false, "5#1 3 5#2", "5#2 5#1 3" },
        { "filesize", true, "nan 4#1 1 2 3 5 6 7 4#2", "1 2 3 4#2 4#1 5 6 7 nan" },
    };
    for (const auto &[key, ascending, values, expected] : cases) {
        bhDataSource source;
        for (const QString &v : values.split(u' '))
            addNew(source, v, v.section(u'#', 0, 0).toFloat());
        FakeTable table;
        table.sort = SortDescriptor { QString::fromLatin1(key), ascending };
        source.setTableView(&table);
        test::LogCapture log;
        source.didClickTableColumn(&table);
        QCoreApplication::sendPostedEvents();
        EXPECT_EQ(sortedNames(source), expected) << key << " " << values.toStdString();
        EXPECT_EQ(log.count(QStringLiteral("overflow")) > 0, values.contains(u"inf")) << key;
        EXPECT_EQ(table.reloads, 1);
    }
}

TEST(DataSource, ReloadIsQueuedToTheMainThreadAndDroppedWithTheSource)
{
    FakeTable table;
    auto *source = new bhDataSource;
    source->setTableView(&table);
    std::thread([source] { source->reloadData(); }).join();
    EXPECT_EQ(table.reloads, 0);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(table.reloads, 1);
    EXPECT_EQ(table.reloadThread, std::this_thread::get_id());
    source->reloadData();
    delete source; // a reload still queued dies with its source
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(table.reloads, 1);
}

// The own table: every item, values as they stand (a quote too), every second row shaded, lines
// ending in a bare "\r". The table view: visible items only, with classes and anchors for URLs;
// the colour is asked by the place in the collection (2), not the visible row (1); the validator
// links to its checker.
TEST(Render, TablesAsCSVAndHTML)
{
    Item first("http://a/", 0, "ok"), hidden("http://hidden/", 0, "x"),
            coloured("say \"hi\"", 0, "404 not found");
    hidden.setVisible(false);
    for (const char *identifier : { "seo", "validator" }) {
        ColouredSource source;
        for (Item *item : { &first, &hidden, &coloured })
            source.add(item);
        source.colours[2] = Colour { 1.0, 0.5, 0.25, 1.0 };
        FakeTable table;
        table.id = QString::fromLatin1(identifier);
        source.setTableView(&table);
        EXPECT_EQ(source.getDataAsCSV(),
                  "\"URL\",\"Status\"\r\"http://a/\",\"ok\"\r\"http://hidden/\",\"x\"\r"
                  "\"say \"hi\"\",\"404 not found\"\r");
        EXPECT_EQ(source.getDataAsHTML(),
                  "<table cellpadding=2 cellspacing=2 border=0><tr><th style = background:#cccccc>"
                  "URL</th><th style = background:#cccccc>Status</th></tr><tr><td >http://a/</td>"
                  "<td >ok</td></tr><tr><td style = background:#f0f0ff>http://hidden/</td><td "
                  "style = background:#f0f0ff>x</td></tr><tr><td >say \"hi\"</td><td >404 not "
                  "found</td></tr></table><br />");

        const QString check = QByteArray(identifier) == "validator"
                ? QStringLiteral("https://validator.w3.org/check?uri=")
                : QString();
        EXPECT_EQ(source.getDataAsHTMLusingTableView(&table),
                  QString(kViewHead + viewRow(false, {}, anchor("http://a/", check), "ok")
                          + viewRow(true, "255,127,63", "say \"hi\"", "404 not found")
                          + "</table><br />"))
                << identifier;
        EXPECT_EQ(source.rowsAsked, (std::vector<int> { 0, 2 })) << identifier;
    }
}

// The outline's own data source answers, not the renderer; children are indented, a missing
// value is empty, and the progress window counts the rows.
TEST(Render, OutlineAsCSVAndHTMLWithIndentedChildrenAndProgress)
{
    Item parent("http://p/", 0, "200 no error"), child("page one", 0, "x"), linked("http://q/");
    ColouredSource answers;
    answers.colours[1] = Colour { 0.0, 0.0, 1.0, 1.0 };
    FakeTable outline;
    outline.rows = { &parent, &child, &linked };
    outline.expandable = { &parent };
    outline.source = &answers;

    using Case = std::tuple<const char *, QString (bhDataSource::*)(TableDescription *), QString>;
    const Case cases[] = {
        { "csv", &bhDataSource::getDataAsCSVusingOutlineView,
          "\"URL\",\"Status\"\r\"http://p/\",\"200 no error\"\r\"\tpage one\",\"x\"\r"
          "\"\thttp://q/\",\"\"\r" },
        { "html", &bhDataSource::getDataAsHTMLusingOutlineView,
          QString(kViewHead + viewRow(false, {}, anchor("http://p/"), "200 no error")
                  + viewRow(true, "0,0,255", "&nbsp;&nbsp;page one", "x")
                  + viewRow(false, {}, "&nbsp;&nbsp;" + anchor("http://q/"), {})
                  + "</table><br />") },
    };
    for (const auto &[what, render, expected] : cases) {
        bhDataSource renderer;
        ProgressRecorder progress;
        EXPECT_EQ((renderer.*render)(&outline), expected) << what;
        ASSERT_EQ(progress.countCalls(QStringLiteral("progress")), 1) << what;
        EXPECT_EQ(progress.calls.front().title, QStringLiteral("Exporting"));
        EXPECT_EQ(progress.progressMaximum, 100);
        EXPECT_EQ(progress.steps, (std::vector<int> { 0, 33, 66 })) << what;
        EXPECT_FALSE(progress.progressShown) << what;
    }
}

// Appending creates the file, keeps what is there, writes the encoding asked for, and answers
// false where no file can be opened.
TEST(LinkExportsAppend, CreatesAppendsAndEncodes)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("log.txt");
    EXPECT_TRUE(LinkExports::append(QStringLiteral("caf\u00e9\r"), path));
    EXPECT_TRUE(LinkExports::append(QStringLiteral("caf\u00e9"), path, QStringConverter::Latin1));
    EXPECT_EQ(orel::test::readFile(path), QByteArray("caf\xc3\xa9\rcaf\xe9"));
    EXPECT_FALSE(LinkExports::append(QStringLiteral("x"), dir.path()));
}
