// Test doubles of the reports tests: a data object with fixed fields and a scripted view.
#pragma once

#include "TestHome.h"

#include "links/OrelDataObject.h"
#include "reports/TableDescription.h"
#include "reports/bhDataSource.h"

#include <QHash>

#include <set>
#include <thread>

namespace orel::reportstest {

// A row whose text fields are given and whose every numeric field is `number`. The field
// "name" is the text given to the constructor.
class Item : public OrelDataObject
{
public:
    explicit Item(const QString &name = QString(), float number = 0, quint32 id = 0)
        : number(number)
    {
        fields.insert(QStringLiteral("name"), name);
        setID(id);
    }
    Item(std::initializer_list<std::pair<const char *, const char *>> values)
    {
        for (const auto &[key, value] : values)
            fields.insert(QString::fromLatin1(key), QString::fromUtf8(value));
    }

    QString getFieldByName(const QString &name) const override { return fields.value(name); }
    float getFieldAsNumberByName(const QString &) const override { return number; }

    QHash<QString, QString> fields;
    float number = 0;
};

// A table or outline whose answers are set directly.
class FakeTable : public TableDescription
{
public:
    QString id = QStringLiteral("table");
    QList<TableColumn> cols;
    std::vector<const Item *> rows; // outline rows
    std::set<const void *> expandable;
    QString outlineColumn;
    std::optional<SortDescriptor> sort;
    bhDataSource *source = nullptr;
    int reloads = 0;
    std::thread::id reloadThread;

    QString identifier() const override { return id; }
    QList<TableColumn> columns() const override { return cols; }
    int numberOfRows() const override { return int(rows.size()); }
    void reloadData() override
    {
        ++reloads;
        reloadThread = std::this_thread::get_id();
    }
    std::optional<SortDescriptor> firstSortDescriptor() const override { return sort; }
    bhDataSource *dataSource() const override { return source; }
    OutlineItem itemAtRow(int row) const override { return rows.at(std::size_t(row)); }
    bool isExpandable(OutlineItem item) const override { return expandable.count(item) > 0; }
    QString outlineColumnIdentifier() const override { return outlineColumn; }
};

} // namespace orel::reportstest
