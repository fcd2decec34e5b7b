// One row of the flat list: one occurrence of a link on one page, read from the link's record;
// built on the report thread, read on the main thread.
#pragma once

#include "links/OrelDataObject.h"

#include <QString>
#include <QtGlobal>

#include <cstddef>
#include <memory>
#include <vector>

namespace orel {

class LinkCheckerUrl;
class OrelReportDataSource;

// A large crawl has millions of occurrences, so an item is kept to a reference to its record,
// the place of the occurrence in the record's on-page lists and its owner: 40 bytes (the base's
// id and flags included) and no string of its own. Everything it shows is read from the record
// when asked: the link URL, redirect, status, time stamp and distance are the record's, the
// on-page URL, link text and nofollow flag its occurrence's. The record must outlive the item;
// the flat data source drops its items before the crawl lets its records go.
class OrelReportItem : public OrelDataObject
{
public:
    OrelReportItem() = default;
    OrelReportItem(LinkCheckerUrl *record, quint32 occurrence, OrelReportDataSource *owner)
        : m_record(record), m_owner(owner), m_occurrence(occurrence)
    { }

    LinkCheckerUrl *getLinkCheckerUrl() const { return m_record; }
    OrelReportDataSource *getOwner() const { return m_owner; }
    // The place of this occurrence in the record's on-page lists.
    quint32 getOccurrence() const { return m_occurrence; }

    int getDistanceFromHome() const;
    QString getLinkUrl() const;
    QString getRedir() const;
    QString getTimestamp() const;
    QString getStatus() const;
    // The page (its title when the crawl shows titles), as the record's list of pages shows it.
    QString getOnPageUrl() const;
    QString getOnPageName() const;
    QString getLinkText() const;
    bool getNofollow() const;

    // "distancefromhome" and "distance" as "%i", "nofollow" as "Yes"/"No", "onpageurlhtml",
    // "linkurlhtml" and "linkredirhtml" the record's HTML forms; "" for any other key.
    QString getFieldByName(const QString &name) const override;
    // The link text, redirect, link URL or status contains text, ignoring case.
    bool contains(const QString &text) const override;
    // The record's colour class; 0 without a record.
    int getColour() const;

private:
    LinkCheckerUrl *m_record = nullptr; // not owned
    OrelReportDataSource *m_owner = nullptr; // not owned
    quint32 m_occurrence = 0;
};

// Keeps report items in blocks of several thousand, so that millions of them cost no allocation
// each; items never move once made.
class OrelReportItemStore
{
public:
    OrelReportItem *add(LinkCheckerUrl *record, quint32 occurrence, OrelReportDataSource *owner);
    std::size_t size() const { return m_size; }

private:
    static constexpr std::size_t kBlockSize = 4096;
    std::vector<std::unique_ptr<OrelReportItem[]>> m_blocks;
    std::size_t m_size = 0;
};

} // namespace orel
