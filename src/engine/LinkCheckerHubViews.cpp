// The crawl controller as the data source of its link views: visibility, rows, and the flat CSV
// export used by the command line.
#include "engine/LinkCheckerHub.h"

#include "common/Log.h"
#include "links/LinkCheckerUrl.h"
#include "reports/ExportProgress.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cstdio>
#include <vector>

namespace orel {

namespace {

struct FlatColumn
{
    const char *identifier;
    const char *title;
};

// The columns of the flat list, in their default order.
constexpr FlatColumn kFlatColumns[] = {
    { "status", "Status" },      { "linkurl", "URL" },       { "redir", "Redirected To" },
    { "linktext", "Link Text" }, { "onpageurl", "On Page" }, { "timestamp", "Time Stamp" },
    { "distance", "Distance" },  { "nofollow", "Nofollow" },
};

} // namespace

void LinkCheckerHub::setBadLinksOnly(bool on)
{
    m_badLinksOnly = on;
    reloadData();
}

void LinkCheckerHub::reloadData()
{
    if (!getTableView() || m_reloadPending)
        return;
    m_reloadPending = true;
    postToMainThread([this] {
        m_reloadPending = false;
        if (TableDescription *view = getTableView())
            view->reloadData();
    });
}

void LinkCheckerHub::filter()
{
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        bool visible = m_searchText.isEmpty() || record->contains(m_searchText);
        if (m_linksFilterTag == 2 && !record->isInternal())
            visible = false;
        else if (m_linksFilterTag == 4 && record->isInternal())
            visible = false;
        else if (m_linksFilterTag == 3 && !record->getIsImage())
            visible = false;
        record->setVisible(visible);
    }
    reloadData();
}

bool LinkCheckerHub::isShown(const LinkCheckerUrl *record) const
{
    return record->getVisible() && (!m_badLinksOnly || record->isInBadCollection());
}

OrelDataObject *LinkCheckerHub::getnthItem(int index)
{
    if (m_badLinksOnly) {
        if (m_badCollectionCount == 0)
            return nullptr;
        int seen = 0;
        for (OrelDataObject *item : items()) {
            if (static_cast<LinkCheckerUrl *>(item)->isInBadCollection() && seen++ == index)
                return item;
        }
        // Fewer bad records than asked for: the plain answer below.
    }
    return recordAt(index);
}

OrelDataObject *LinkCheckerHub::getnthVisibleItem(int n)
{
    if (m_badLinksOnly && m_badCollectionCount == 0)
        return nullptr;
    const int count = recordCount();
    int seen = 0;
    for (int i = 0; i < count; ++i) {
        auto *record = static_cast<LinkCheckerUrl *>(getnthSortedItem(i));
        if (!record || !isShown(record))
            continue;
        if (seen++ == n)
            return record;
    }
    return nullptr;
}

int LinkCheckerHub::countVisible(const std::vector<OrelDataObject *> *collection) const
{
    int n = 0;
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record->getVisible() && (collection || record->isInBadCollection()))
            ++n;
    }
    return n;
}

int LinkCheckerHub::numberOfRowsInTableView(TableDescription *)
{
    if (m_searchText.isEmpty() && m_linksFilterTag == 0)
        return m_badLinksOnly ? m_badCollectionCount : recordCount();
    return m_badLinksOnly ? countVisible(nullptr) : countVisible(&items());
}

QString LinkCheckerHub::objectValueForTableColumn(TableDescription *, const QString &columnId,
                                                  int row)
{
    OrelDataObject *item = getnthVisibleItem(row);
    return item ? item->getFieldByName(columnId) : QString(QLatin1String(""));
}

QString LinkCheckerHub::flatColumnTitle(const QString &identifier)
{
    for (const FlatColumn &c : kFlatColumns) {
        if (identifier == QLatin1String(c.identifier))
            return QLatin1String(c.title);
    }
    return {};
}

QStringList LinkCheckerHub::flatColumnIdentifiers()
{
    QStringList out;
    for (const FlatColumn &c : kFlatColumns)
        out.append(QLatin1String(c.identifier));
    return out;
}

std::vector<LinkCheckerUrl *> LinkCheckerHub::visibleRows() const
{
    // The rows getnthVisibleItem() answers one by one, walked once.
    std::vector<LinkCheckerUrl *> rows;
    if (m_badLinksOnly && m_badCollectionCount == 0)
        return rows;
    const int count = recordCount();
    rows.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i) {
        auto *record = static_cast<LinkCheckerUrl *>(getnthSortedItem(i));
        if (record && isShown(record))
            rows.push_back(record);
    }
    return rows;
}

QString LinkCheckerHub::headerLine(const QList<TableColumn> &columns, QChar separator)
{
    QString out;
    for (int i = 0; i < columns.size(); ++i) {
        if (i)
            out += separator;
        out += QLatin1Char('"') + columns.at(i).title + QLatin1Char('"');
    }
    return out + QLatin1Char('\r');
}

QString LinkCheckerHub::tableText(const QList<TableColumn> &columns, QChar separator)
{
    QString out = headerLine(columns, separator);
    const std::vector<LinkCheckerUrl *> rows = visibleRows();
    ExportProgress progress(int(rows.size()));
    for (std::size_t r = 0; r < rows.size(); ++r) {
        progress.step(int(r));
        for (int c = 0; c < columns.size(); ++c) {
            if (c)
                out += separator;
            const QString &id = columns.at(c).identifier;
            out += QLatin1Char('"')
                    + exportValue(id,
                                  rows[r]->getFieldByName(id == QLatin1String("onpageurl")
                                                                  ? QStringLiteral("onpageurlcsv")
                                                                  : id))
                    + QLatin1Char('"');
        }
        out += QLatin1Char('\r');
    }
    return out;
}

QString LinkCheckerHub::flatText(const QList<TableColumn> &columns, QChar separator)
{
    QString out = headerLine(columns, separator);
    const std::vector<LinkCheckerUrl *> rows = visibleRows();
    ExportProgress progress(int(rows.size()));
    QStringList values(columns.size());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        progress.step(int(r));
        LinkCheckerUrl *record = rows[r];
        const QStringList pages = record->getOnPagesArray();
        if (pages.isEmpty())
            continue; // a record on no page writes no line
        int pageColumn = -1;
        for (int c = 0; c < columns.size(); ++c) {
            if (columns.at(c).identifier == QLatin1String("onpageurl"))
                pageColumn = c;
            else
                values[c] = exportValue(columns.at(c).identifier,
                                        record->getFieldByName(columns.at(c).identifier));
        }
        for (const QString &page : pages) {
            if (pageColumn >= 0)
                values[pageColumn] = exportValue(QStringLiteral("onpageurl"), page);
            for (int c = 0; c < columns.size(); ++c) {
                if (c)
                    out += separator;
                out += QLatin1Char('"') + values.at(c) + QLatin1Char('"');
            }
            out += QLatin1Char('\r');
        }
    }
    return out;
}

QString LinkCheckerHub::flatCSV(const QStringList &columns, bool badOnly)
{
    const bool savedBadOnly = m_badLinksOnly;
    m_badLinksOnly = badOnly;
    if (badOnly)
        countBadCollection();
    QList<TableColumn> described;
    for (const QString &id : columns)
        described.append(TableColumn { id, flatColumnTitle(id), 200 });
    const QString out = flatText(described, QLatin1Char(','));
    m_badLinksOnly = savedBadOnly;
    return out;
}

bool LinkCheckerHub::exportAsFlatCSVForCLI(const QString &path, const QStringList &columns,
                                           bool badOnly, QString *error)
{
    QByteArray bytes = flatCSV(columns, badOnly).toUtf8();
    if (path == QLatin1String("-") || path == QLatin1String("/dev/stdout")) {
        // Bare "\r" line ends make one overwritten line of a terminal or a log; standard output
        // gets "\r\n", which every reader splits into lines.
        bytes.replace("\r", "\r\n");
        std::fflush(stdout);
        const bool ok = std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stdout)
                        == std::size_t(bytes.size())
                && std::fflush(stdout) == 0;
        if (!ok && error)
            *error = QStringLiteral("cannot write to standard output");
        return ok;
    }
    // A device or a pipe (such as /dev/stderr) cannot be replaced atomically: write into it.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile() && !info.isDir()) {
        QFile device(path);
        if (device.open(QIODevice::WriteOnly) && device.write(bytes) == bytes.size())
            return true;
        if (error)
            *error = QStringLiteral("cannot write %1: %2").arg(path, device.errorString());
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(path));
        if (error)
            *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

} // namespace orel
