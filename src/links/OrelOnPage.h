// One occurrence of a link on one page: a link record and an index into its on-page lists; the
// child row of the by-link and by-page outlines; main thread.
#pragma once

#include "links/OrelDataObject.h"

namespace orel {

class LinkCheckerUrl;

class OrelOnPage : public OrelDataObject
{
public:
    OrelOnPage() = default;
    OrelOnPage(LinkCheckerUrl *record, int index) : m_lcurl(record), m_index(index) { }

    LinkCheckerUrl *getLcurl() const { return m_lcurl; }
    void setLcurl(LinkCheckerUrl *record) { m_lcurl = record; }
    int getIndex() const { return m_index; }
    void setIndex(int index) { m_index = index; }

    // "onpageurl", "linktext", "onpagename" and "nofollow" ("Yes"/"No") come from this
    // occurrence ("" when the index is out of range); every other key is the record's.
    QString getFieldByName(const QString &name) const override;
    float getFieldAsNumberByName(const QString &name) const override;
    bool contains(const QString &text) const override;
    // The record's colour class; 0 without a record.
    int getColour() const;

private:
    LinkCheckerUrl *m_lcurl = nullptr; // not owned
    int m_index = 0;
};

} // namespace orel
